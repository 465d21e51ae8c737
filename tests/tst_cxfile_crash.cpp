#include "cxfiletest.h"

#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <map>
#include <set>

// A writer kills itself at a chosen flush; whatever it finished must read
// back exactly, and the file must stay usable.
class TestCxFileCrash : public QObject
{
    Q_OBJECT

private slots:
    void killedWriter_data()
    {
        QTest::addColumn<int>("seed");
        for (int seed = 1; seed <= 400; ++seed)
            QTest::addRow("%d", seed) << seed;
    }

    void killedWriter()
    {
        QFETCH(int, seed);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath("crash.dat");
        QRandomGenerator rng{quint32(seed)};
        QProcess writer;
        writer.start(VX_TEST_BINARY_DIR "/crashwriter",
                     {QString::number(seed), path, QString::number(1 + rng.bounded(1000))});
        QVERIFY(writer.waitForFinished(10000));
        QCOMPARE(writer.exitStatus(), QProcess::CrashExit);

        // Every announced operation finished but the last, which was cut
        // short: its key holds what it held before, or what it was to hold.
        std::map<int32_t, QByteArray> model;
        std::vector<int32_t> keys;
        int32_t inFlight = INT_MIN;
        bool hadKey = false;
        QByteArray was;
        std::map<int32_t, QByteArray> after;
        for (const QByteArray& line : writer.readAllStandardOutput().split('\n')) {
            const QList<QByteArray> f = line.split(' ');
            if (f.size() < 2)
                continue;
            model = after;
            keys.push_back(inFlight = f.value(1).toInt());
            hadKey = model.count(inFlight) != 0;
            was = hadKey ? model[inFlight] : QByteArray();
            if (f[0] == "s")
                after[inFlight] = pattern(f.value(2).toInt(), f.value(3).toUInt());
            else
                after.erase(inFlight);
        }

        // Reopened as the next run would, through the journal.
        QuietFile file;
        QCOMPARE(file.Open(path.toLocal8Bit().constData()), 0);
        // Killed while writing the journal, before the file was touched,
        // leaves a torn one, which is left alone.
        QVERIFY(file.journalState() != CxJournal::Foreign);
        QCOMPARE(QFile::exists(path + "-journal"), file.journalState() == CxJournal::Torn);
        QCOMPARE(structureProblem(fileBytes(path)), QString());
        const bool found = file.FindRecord(inFlight);
        if (found && !(hadKey && readCurrent(file) == was)) {
            QVERIFY2(after.count(inFlight) && readCurrent(file) == after[inFlight], "the cut change left a third state");
            model = after;
        } else if (!found && hadKey) {
            QVERIFY2(!after.count(inFlight), "the cut change left a third state");
            model = after;
        }
        // Random order, so lookups walk the chain both ways.
        std::shuffle(keys.begin(), keys.end(), rng);
        for (int32_t key : keys) {
            QVERIFY2(file.FindRecord(key) == (model.count(key) != 0), qPrintable(QString("key %1").arg(key)));
            if (model.count(key) != 0)
                QCOMPARE(readCurrent(file), model[key]);
        }

        // The walk meets exactly the keys held.
        std::set<int32_t> walked;
        int steps = 0;
        for (bool more = file.FindFirstRecord(); more && ++steps < 1000000; more = file.FindNextRecord())
            walked.insert(currentKey(file));
        QVERIFY(steps < 1000000);
        QVERIFY(std::equal(walked.begin(), walked.end(), model.begin(), model.end(),
                           [](int32_t key, const auto& entry) { return key == entry.first; }));
    }

    // Killed anywhere inside a password change, a protection switch, an
    // update or a delete of the application's records, the reopened file is
    // byte for byte what it was before that flow.
    void killedFlow_data()
    {
        QTest::addColumn<int>("dieAt");
        for (int i = 0; i < 40; ++i)
            QTest::addRow("%d", 1 + i * 97 % 700) << 1 + i * 97 % 700;
    }

    void killedFlow()
    {
        QFETCH(int, dieAt);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath("Vaultix.Dat");
        QProcess writer;
        writer.start(VX_TEST_BINARY_DIR "/flowwriter", {path, QString::number(dieAt)});
        QVERIFY(writer.waitForFinished(60000));
        QCOMPARE(writer.exitStatus(), QProcess::CrashExit);
        const QList<QByteArray> flows = writer.readAllStandardOutput().trimmed().split('\n');
        QVERIFY(!flows.value(0).isEmpty());

        QuietFile file;
        QCOMPARE(file.Open(path.toLocal8Bit().constData()), 0);
        QVERIFY(file.journalState() != CxJournal::Foreign);
        file.Close();
        QVERIFY2(fileBytes(path) == fileBytes(path + ".before"),
                 qPrintable("killed inside the flow " + flows.last() + ", the file is not as before it"));
    }
};

QTEST_GUILESS_MAIN(TestCxFileCrash)
#include "tst_cxfile_crash.moc"
