#include "config/appglobals.h"
#include "model/records.h"
#include "model/session.h"
#include "storage/cxfile.h"
#include "storage/cxjournal.h"
#include "tools/demodata.h"

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
        id.signature = _AppSignature;
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
            CSession session(path);
            QVERIFY(session.open());
            session.loadCollections();
            count = session.records()->count;
            QVERIFY(_AppFile->FindRecord(1005) && _AppFile->DeleteRecord());
            QVERIFY(_AppFile->AddRecord(5000, "extra", 5));
            session.setSaveOnClose(false);
        }
        const QByteArray half = bytesOf(path);
        QVERIFY(half != before);
        writeJournal(path, before, torn);

        CSession session(path);
        session.setReadOnly(readOnly);
        session.setSaveOnClose(false);
        QCOMPARE(session.probe(), CSession::Sound);
        QString error;
        QVERIFY2(session.open(false, &error), qPrintable(error));
        QVERIFY2(session.journalReport().contains(report), qPrintable(session.journalReport()));
        session.loadCollections();
        QCOMPARE(session.records()->count, count);
        QCOMPARE(_AppFile->FindRecord(5000), torn);
        session.close();
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
        {
            CSession session(path);
            QVERIFY(session.open());
            QVERIFY(_AppFile->AddRecord(5000, "extra", 5));
            session.setSaveOnClose(false);
        }
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
