#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"
#include "storage/cxjournal.h"
#include "storage/cxsalvage.h"
#include "storage/cxlayout.h"
#include "tools/demodata.h"
#include "vault/keyplan.h"
#include "vault/vault.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

// The session finds what an interrupted change left beside the data file.
class TestJournal : public QObject
{
    Q_OBJECT

    static QByteArray bytesOf(const QString& path)
    {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    static bool writeFile(const QString& path, const QByteArray& bytes)
    {
        QFile f(path);
        return f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size();
    }

    // A journal as a change cut short would leave it: the whole file as it
    // was, written for the file as it is now.
    static void writeJournal(const QString& path, const QByteArray& before, bool torn)
    {
        CxPosixIo data;
        QCOMPARE(data.open(QFile::encodeName(path).constData(), CxIo::Mode::ReadOnly), 0);
        CxJournalId id;
        id.fileId = data.fileId();
        id.name = CxJournal::nameOf(QFile::encodeName(path).toStdString());
        id.signature = KeyPlan::Signature;
        const QByteArray now = bytesOf(path);
        QVERIFY(now.size() >= before.size());
        CxJournal journal;
        journal.clear(before.size());
        journal.setFinalLength(now.size());
        journal.add(0, reinterpret_cast<const unsigned char*>(before.constData()),
                    reinterpret_cast<const unsigned char*>(now.constData()), now.size());
        std::vector<unsigned char> raw = journal.encode(id);
        if (torn)
            raw.pop_back();
        QFile out(path + "-journal");
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(reinterpret_cast<const char*>(raw.data()), qint64(raw.size()));
    }

    // A change that went to the file without a journal, as if cut short
    // after its first writes.
    static void changeBehindTheJournal(const QString& path, bool deleteOne)
    {
        CxFile file(KeyPlan::Signature);
        QCOMPARE(file.Open(QFile::encodeName(path).constData()), 0);
        if (deleteOne)
            QVERIFY(file.FindRecord(1005) && file.DeleteRecord());
        QVERIFY(file.AddRecord(5000, "extra", 5));
        file.Close();
    }

private slots:
    // The checksum is CRC-32 (the zlib polynomial) of all that follows it,
    // whichever way it is computed: journals outlive the program that
    // wrote them. Lengths around the 64-byte steps of the fast path.
    // A journal longer than one write's buffer (a password change on a
    // large file) reads back whole and puts back what it holds.
    void longJournalPlaysBack()
    {
        QTemporaryDir dir;
        const std::string path = QFile::encodeName(dir.filePath("data-journal")).toStdString();
        const int64_t length = 3000000;
        std::vector<unsigned char> before(static_cast<size_t>(length)), after(before.size());
        for (size_t i = 0; i < before.size(); ++i) {
            before[i] = static_cast<unsigned char>(i * 13);
            after[i] = static_cast<unsigned char>(i * 7 + 1);
        }
        std::vector<CxJournal::Piece> pieces;
        for (int64_t at = 0; at < length; at += 128)
            pieces.push_back({at, std::min<int64_t>(128, length - at), before.data() + at, after.data() + at});
        CxJournalId id;
        id.name = "data";
        CxPosixIo io(true);
        QCOMPARE(io.open(path.c_str(), CxIo::Mode::CreateNew), 0);
        QVERIFY(CxJournal::write(io, id, length, length, pieces) && io.sync());
        io.close();
        CxJournal journal;
        const auto read = [&](int64_t offset, unsigned char* buffer, int64_t n) {
            std::copy(after.begin() + offset, after.begin() + offset + n, buffer);
            return true;
        };
        QCOMPARE(journal.load(io, path, id, length, read), CxJournal::Hot);
        std::vector<unsigned char> file = after;
        journal.applyTo(file);
        QVERIFY(file == before);
    }

    void checksumIsCrc32()
    {
        for (const int length : {1, 15, 48, 63, 64, 65, 200, 4099}) {
            QByteArray before(length, 'b'), after(length, 'a');
            for (int i = 0; i < length; ++i)
                after[i] = char(i * 7 + 3);
            CxJournal journal;
            journal.clear(length);
            journal.add(0, reinterpret_cast<const unsigned char*>(before.constData()),
                        reinterpret_cast<const unsigned char*>(after.constData()), length);
            CxJournalId id;
            id.name = "data";
            const std::vector<unsigned char> raw = journal.encode(id);
            quint32 c = 0xFFFFFFFFu;
            for (size_t i = 20; i < raw.size(); ++i) {
                c ^= raw[i];
                for (int k = 0; k < 8; ++k)
                    c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            }
            QCOMPARE(qFromLittleEndian<quint32>(raw.data() + 16), ~c);
        }
    }

    // What lies at the journal's path: a whole journal, one cut short, one
    // written for other contents than the file holds, or something that
    // Vaultix could not have made there. Only the first is played back;
    // the last kind is never read nor written through, and refuses changes.
    void found_data()
    {
        QTest::addColumn<QString>("journal");
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<QString>("report");
        QTest::addColumn<bool>("writable");
        QTest::newRow("whole") << "whole" << false << "it has been undone" << true;
        QTest::newRow("whole, read-only use") << "whole" << true << "it is shown as before that change" << false;
        QTest::newRow("torn") << "torn" << false << "is incomplete and was not used" << true;
        QTest::newRow("for other contents") << "stale" << false << "It was moved to" << true;
        QTest::newRow("link") << "link" << false << "is a link" << false;
        QTest::newRow("fifo") << "fifo" << false << "not a regular file" << false;
        QTest::newRow("folder") << "folder" << false << "not a regular file" << false;
        QTest::newRow("another user's") << "owned" << false << "another user's file" << false;
    }

    void found()
    {
        QFETCH(QString, journal);
        QFETCH(bool, readOnly);
        QFETCH(QString, report);
        QFETCH(bool, writable);
        const bool rolledBack = journal == "whole" && !readOnly;
        if (journal == "owned" && ::geteuid() != 0)
            QSKIP("only root can make a file another user's");
        QTemporaryDir dir;
        const QString path = dir.filePath("Vaultix.Dat");
        const QString journalPath = path + "-journal";
        QVERIFY(WriteDemoData(path, 30, QString()));
        const QByteArray before = bytesOf(path);
        int count = 0;
        {
            CVault vault(path);
            QVERIFY(vault.open());
            count = vault.records().count;
        }
        changeBehindTheJournal(path, true);
        if (journal == "whole" || journal == "torn" || journal == "stale")
            writeJournal(path, before, journal == "torn");
        if (journal == "stale") // another file put in place, by cp
            QVERIFY(writeFile(path, bytesOf(path).replace(CxLayout::HdVersionMinor, 1, "\7")));
        const QString victim = dir.filePath("victim.txt");
        QVERIFY(writeFile(victim, "precious"));
        if (journal == "link")
            QVERIFY(QFile::link(victim, journalPath));
        if (journal == "fifo")
            QCOMPARE(::mkfifo(QFile::encodeName(journalPath).constData(), 0600), 0);
        if (journal == "folder")
            QVERIFY(QDir().mkdir(journalPath));
        if (journal == "owned") {
            QVERIFY(writeFile(journalPath, "someone else's"));
            QCOMPARE(::chown(QFile::encodeName(journalPath).constData(), 65534, 65534), 0);
        }
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
        const QByteArray half = bytesOf(path);

        // Checked and salvaged as the next open will read it: nothing of
        // the interrupted change is kept.
        CxFileCheck check(QByteArray(), KeyPlan::Signature);
        QVERIFY(check.load(path) && check.run());
        QCOMPARE(check.journalState() == CxJournal::Hot, journal == "whole");
        CxSalvage salvage(QByteArray(), KeyPlan::Signature);
        QVERIFY(salvage.load(path) && salvage.run());
        QCOMPARE(salvage.records().count(5000) + salvage.records().count(1005), size_t(1));
        QCOMPARE(salvage.records().count(5000) == 0, journal == "whole");

        CVault vault(path);
        vault.session().setReadOnly(readOnly);
        QCOMPARE(vault.session().probe(), CSession::Sound);
        QString error;
        QVERIFY2(vault.open(false, &error), qPrintable(error));
        const QString found = vault.session().journalReport();
        QVERIFY2(found.contains(report), qPrintable(found));
        QCOMPARE(vault.records().count, count);
        CxFile* file = vault.session().file();
        QCOMPARE(file->FindRecord(5000), journal != "whole");
        // A change goes through only beside a journal path Vaultix may use.
        QCOMPARE(file->AddRecord(6000, "next", 4), writable);
        if (!writable && !readOnly)
            QVERIFY2(QString::fromStdString(file->lastErrorText()).contains(journalPath), file->lastErrorText().c_str());
        vault.close();
        if (!writable)
            QCOMPARE(bytesOf(path), rolledBack ? before : half);
        QCOMPARE(bytesOf(victim), QByteArray("precious"));
        QCOMPARE(QFileInfo::exists(journalPath) || QFileInfo(journalPath).isSymLink(), !writable && !rolledBack);
        QCOMPARE(QDir(dir.path()).entryList({"Vaultix.Dat-journal.stale-*"}).size(),
                 journal == "stale" || journal == "torn" ? 1 : 0);
        // Opened for writing, the data file is kept from others' eyes.
        QCOMPARE(bool(QFile::permissions(path) & QFile::ReadOther), readOnly);
    }

    // Undoing needs writing: a file that cannot be written is refused.
    void hotJournalOnReadOnlyFile()
    {
        if (::geteuid() == 0)
            QSKIP("root writes to any file");
        QTemporaryDir dir;
        const QString path = dir.filePath("Vaultix.Dat");
        QVERIFY(WriteDemoData(path, 10, QString()));
        const QByteArray before = bytesOf(path);
        changeBehindTheJournal(path, false);
        writeJournal(path, before, false);
        const QByteArray half = bytesOf(path);
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner));
        CSession session(path);
        QString error;
        QVERIFY(!session.open(false, &error));
        QVERIFY2(error.contains("cannot be undone because the file cannot be written"), qPrintable(error));
        QCOMPARE(bytesOf(path), half);
        QVERIFY(QFile::exists(path + "-journal"));
        QVERIFY(QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner));
    }
};

QTEST_GUILESS_MAIN(TestJournal)
#include "tst_journal.moc"
