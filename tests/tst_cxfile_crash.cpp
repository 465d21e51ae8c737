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
        // short: its key may hold anything.
        std::map<int32_t, QByteArray> model;
        std::vector<int32_t> keys;
        int32_t inFlight = INT_MIN;
        for (const QByteArray& line : writer.readAllStandardOutput().split('\n')) {
            const QList<QByteArray> f = line.split(' ');
            if (f.size() < 2)
                continue;
            keys.push_back(inFlight = f.value(1).toInt());
            if (f[0] == "s")
                model[inFlight] = pattern(f.value(2).toInt(), f.value(3).toUInt());
            else
                model.erase(inFlight);
        }
        model.erase(inFlight);

        QuietFile file;
        QCOMPARE(file.Open(path.toLocal8Bit().constData()), 0);
        // Random order, so lookups walk the chain both ways.
        std::shuffle(keys.begin(), keys.end(), rng);
        for (int32_t key : keys) {
            if (key == inFlight)
                continue;
            QVERIFY2(file.FindRecord(key) == (model.count(key) != 0), qPrintable(QString("key %1").arg(key)));
            if (model.count(key) != 0)
                QCOMPARE(readCurrent(file), model[key]);
        }

        // An interrupted split may list some keys twice, so compare sets.
        std::set<int32_t> walked;
        int steps = 0;
        for (bool more = file.FindFirstRecord(); more && ++steps < 1000000; more = file.FindNextRecord()) {
            if (currentKey(file) != inFlight)
                walked.insert(currentKey(file));
        }
        QVERIFY(steps < 1000000);
        QVERIFY(std::equal(walked.begin(), walked.end(), model.begin(), model.end(),
                           [](int32_t key, const auto& entry) { return key == entry.first; }));
    }
};

QTEST_GUILESS_MAIN(TestCxFileCrash)
#include "tst_cxfile_crash.moc"
