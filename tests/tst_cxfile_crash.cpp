#include "storage/cxfile.h"

#include <QElapsedTimer>
#include <QProcess>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <algorithm>
#include <climits>
#include <map>
#include <set>

namespace {

// Must match contentOf() in crashwriter.cpp.
QByteArray contentOf(int32_t key, quint32 tag, int length)
{
    QByteArray bytes(length, '\0');
    for (int i = 0; i < length; ++i)
        bytes[i] = char((tag * 2654435761u + quint32(key) * 40503u + quint32(i) * 2246822519u) >> 24);
    return bytes;
}

} // namespace

// Kills a writer with SIGKILL at random moments; whatever it acknowledged
// must read back exactly, and the file must stay usable.
class TestCxFileCrash : public QObject
{
    Q_OBJECT

private slots:
    // Three ways to die: killed from here at a random moment, with and
    // without real fsync, or killing itself at a chosen flush, which hits
    // each point where the file orders its writes.
    void killedWriter_data()
    {
        QTest::addColumn<int>("seed");
        QTest::addColumn<QString>("mode");
        const char* const modes[] = {"die", "fast", "die", "sync", "die"};
        for (int seed = 1; seed <= 60; ++seed)
            QTest::addRow("%d %s", seed, modes[seed % 5]) << seed << QString(modes[seed % 5]);
    }

    void killedWriter()
    {
        QFETCH(int, seed);
        QFETCH(QString, mode);
        QTemporaryDir dir;
        QVERIFY(dir.isValid());
        const QString path = dir.filePath("crash.dat");
        QRandomGenerator rng{quint32(seed)};
        if (mode == "die")
            mode = QString("die:%1").arg(1 + rng.bounded(4000));

        QProcess writer;
        writer.start(VX_TEST_BINARY_DIR "/crashwriter", {QString::number(seed), path, mode});
        QVERIFY(writer.waitForStarted());
        QByteArray out;
        if (mode.startsWith("die")) {
            QVERIFY(writer.waitForFinished(10000));
        } else {
            const int target = 1 + int(rng.bounded(mode == "fast" ? 1500 : 80));
            int acks = 0;
            qsizetype counted = 0;
            QElapsedTimer timer;
            timer.start();
            while (acks < target && writer.state() == QProcess::Running && timer.elapsed() < 8000) {
                writer.waitForReadyRead(50);
                out += writer.readAllStandardOutput();
                for (qsizetype at; (at = out.indexOf("ok\n", counted)) >= 0; counted = at + 3)
                    ++acks;
            }
            QVERIFY2(writer.state() == QProcess::Running, "writer stopped on its own");
            QVERIFY2(acks >= target, "writer too slow");
            writer.kill();
            QVERIFY(writer.waitForFinished(5000));
        }
        QCOMPARE(writer.exitStatus(), QProcess::CrashExit);
        out += writer.readAllStandardOutput();

        // Replay what was acknowledged; an announced but unacknowledged
        // operation was in flight and its key may hold anything.
        std::map<int32_t, QByteArray> model;
        std::set<int32_t> touched;
        int32_t inFlight = INT_MIN;
        for (const QByteArray& line : out.split('\n')) {
            const QList<QByteArray> f = line.split(' ');
            if (f.size() >= 3 && f[0] == "B") {
                inFlight = f[2].toInt();
                touched.insert(inFlight);
                if (f[1] == "s" && f.size() == 5)
                    model[inFlight] = contentOf(inFlight, f[4].toUInt(), f[3].toInt());
                else
                    model.erase(inFlight);
            } else if (line == "ok") {
                inFlight = INT_MIN;
            }
        }
        model.erase(inFlight);

        CxFile file("Vaultix0001");
        QCOMPARE(file.Open(path.toLocal8Bit().constData()), 0);
        // Random order, so lookups walk the chain both ways.
        std::vector<int32_t> keys(touched.begin(), touched.end());
        std::shuffle(keys.begin(), keys.end(), rng);
        for (int32_t key : keys) {
            if (key == inFlight)
                continue;
            const bool present = model.count(key) != 0;
            QVERIFY2(file.FindRecord(key) == present, qPrintable(QString("key %1").arg(key)));
            if (!present)
                continue;
            int32_t size = -1, got = -1;
            QVERIFY(file.ReadRecordSize(size));
            QByteArray data(qMax(size, 0), '\0');
            QVERIFY(file.ReadRecord(data.data(), got));
            QVERIFY2(data == model[key], qPrintable(QString("key %1").arg(key)));
        }

        // An interrupted split may list some keys twice, so compare sets.
        std::set<int32_t> walked;
        int steps = 0;
        for (bool more = file.FindFirstRecord(); more && steps < 1000000; more = file.FindNextRecord(), ++steps) {
            int32_t key = 0;
            QVERIFY(file.ReadRecordKey(key));
            if (key != inFlight)
                walked.insert(key);
        }
        QVERIFY(steps < 1000000);
        std::set<int32_t> expected;
        for (const auto& entry : model)
            expected.insert(entry.first);
        QVERIFY(walked == expected);
    }
};

QTEST_GUILESS_MAIN(TestCxFileCrash)
#include "tst_cxfile_crash.moc"
