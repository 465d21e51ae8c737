#include "storage/cxfile.h"
#include "storage/cxjournal.h"
#include "tools/demodata.h"
#include "vault/keyplan.h"
#include "vault/vault.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

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
        CxJournal journal;
        journal.clear(before.size());
        journal.setFinalLength(data.size());
        journal.add(0, reinterpret_cast<const unsigned char*>(before.constData()), before.size());
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
    void found_data()
    {
        QTest::addColumn<bool>("torn");
        QTest::addColumn<bool>("readOnly");
        QTest::addColumn<QString>("report");
        QTest::addColumn<bool>("rolledBack");
        QTest::newRow("whole") << false << false << "it has been undone" << true;
        QTest::newRow("whole, read-only use") << false << true << "it is shown as before that change" << false;
        QTest::newRow("torn") << true << false << "is incomplete and was not used" << false;
    }

    void found()
    {
        QFETCH(bool, torn);
        QFETCH(bool, readOnly);
        QFETCH(QString, report);
        QFETCH(bool, rolledBack);
        QTemporaryDir dir;
        const QString path = dir.filePath("Vaultix.Dat");
        QVERIFY(WriteDemoData(path, 30, QString()));
        const QByteArray before = bytesOf(path);
        int count = 0;
        {
            CVault vault(path);
            QVERIFY(vault.open());
            count = vault.records().count;
        }
        changeBehindTheJournal(path, true);
        const QByteArray half = bytesOf(path);
        QVERIFY(half != before);
        writeJournal(path, before, torn);

        CVault vault(path);
        vault.session().setReadOnly(readOnly);
        QCOMPARE(vault.session().probe(), CSession::Sound);
        QString error;
        QVERIFY2(vault.open(false, &error), qPrintable(error));
        QVERIFY2(vault.session().journalReport().contains(report),
                 qPrintable(vault.session().journalReport()));
        QCOMPARE(vault.records().count, count);
        QCOMPARE(vault.session().file()->FindRecord(5000), torn);
        vault.close();
        QCOMPARE(bytesOf(path), rolledBack ? before : half);
        QCOMPARE(QFile::exists(path + "-journal"), !rolledBack);
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
