#include "cxfiletest.h"

#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>
#include <QtTest>

#include <algorithm>
#include <cerrno>
#include <functional>
#include <map>
#include <set>

namespace {

// A disk with a write cache: writes reach the platter only at a sync, in
// any order, so a power cut keeps any subset of the writes since the last
// one. A killed process cannot show this: the kernel still has its writes.
class CachedDisk : public CxIo
{
public:
    struct Write
    {
        qint64 offset;
        QByteArray bytes;
    };

    QByteArray platter;
    QList<Write> pending;
    bool exists = false;
    // Called at each sync before the cache is written out.
    std::function<void()> beforeSync;

    explicit CachedDisk(const QByteArray& image = QByteArray(), bool present = false)
        : platter(image), exists(present), m_view(image)
    {
    }

    int open(const char*, Mode mode) override
    {
        if (!exists && mode != Mode::Create)
            return ENOENT;
        exists = m_open = true;
        return 0;
    }
    void close() override { m_open = false; }
    bool isOpen() const override { return m_open; }
    bool read(int64_t offset, void* buffer, int64_t length) override
    {
        if (!m_open || offset < 0 || offset + length > m_view.size())
            return false;
        std::memcpy(buffer, m_view.constData() + offset, size_t(length));
        return true;
    }
    bool write(int64_t offset, const void* buffer, int64_t length) override
    {
        if (!m_open || offset < 0)
            return false;
        const Write w{offset, QByteArray(static_cast<const char*>(buffer), qsizetype(length))};
        apply(m_view, w);
        pending << w;
        return true;
    }
    int64_t size() override { return m_open ? m_view.size() : -1; }
    bool sync() override
    {
        if (beforeSync)
            beforeSync();
        platter = m_view;
        pending.clear();
        return m_open;
    }

    // The platter after a cut that kept the pending writes chosen by `mask`.
    QByteArray afterCut(quint32 mask) const
    {
        QByteArray bytes = platter;
        for (int i = 0; i < pending.size(); ++i) {
            if (mask & (1u << i))
                apply(bytes, pending[i]);
        }
        return bytes;
    }

private:
    static void apply(QByteArray& bytes, const Write& w)
    {
        if (bytes.size() < w.offset + w.bytes.size())
            bytes.resize(w.offset + w.bytes.size(), '\0');
        std::memcpy(bytes.data() + w.offset, w.bytes.constData(), size_t(w.bytes.size()));
    }

    bool m_open = false;
    QByteArray m_view;
};

// Knows when index blocks are being linked or unlinked: a split, or a
// delete that may empty a block.
class WatchedFile : public CxFile
{
public:
    explicit WatchedFile(CxIo* io) : CxFile(TestSignature, io) {}
    void SplitIndexBlock(int32_t key) override
    {
        relinking = true;
        CxFile::SplitIndexBlock(key);
    }
    bool relinking = false;
};

using Model = std::map<int32_t, QByteArray>;

} // namespace

class TestCxFilePowerCut : public QObject
{
    Q_OBJECT

    // What a cut at this moment may leave: the whole pending set when it is
    // small, else each write alone, none, all and all but each one.
    static QList<quint32> cutMasks(int pending)
    {
        QList<quint32> masks;
        if (pending <= 6) {
            for (quint32 m = 0; m < (1u << pending); ++m)
                masks << m;
            return masks;
        }
        const quint32 all = pending >= 32 ? ~0u : (1u << pending) - 1;
        masks << 0 << all;
        for (int i = 0; i < pending && i < 32; ++i)
            masks << (1u << i) << (all & ~(1u << i));
        return masks;
    }

    // Every finished operation reads back; the one under way may have left
    // its key in any state.
    static QString lost(const QByteArray& image, const Model& model, int32_t inFlight)
    {
        CachedDisk disk(image, true);
        CxFile reader(TestSignature, &disk);
        if (image.size() == 0)
            return model.empty() ? QString() : "the file is empty";
        if (reader.Open("cut") != 0)
            return "the file does not open";
        // Lookups in a mixed order walk the chain both ways.
        std::vector<int32_t> keys;
        for (const auto& entry : model)
            keys.push_back(entry.first);
        std::shuffle(keys.begin(), keys.end(), QRandomGenerator(quint32(image.size())));
        for (int32_t key : keys) {
            if (key == inFlight)
                continue;
            if (!reader.FindRecord(key))
                return QString("key %1 is missing").arg(key);
            if (readCurrent(reader) != model.at(key))
                return QString("key %1 reads back wrong").arg(key);
        }
        // The walk may meet a key twice after a split, never miss one.
        std::set<int32_t> walked;
        int steps = 0;
        for (bool more = reader.FindFirstRecord(); more; more = reader.FindNextRecord()) {
            const int32_t key = currentKey(reader);
            if (key != inFlight && model.count(key) == 0)
                return QString("deleted key %1 is still there").arg(key);
            walked.insert(key);
            if (++steps > 100000)
                return "the walk does not end";
        }
        walked.erase(inFlight);
        return walked.size() + model.count(inFlight) == model.size() ? QString() : "the walk misses keys";
    }

    // A cut in the middle of a change may leave the changed record's own
    // data inconsistent: its index entry is written before its data, and
    // its old blocks are freed before the entry lets go of them. While index
    // blocks are linked or unlinked, the chain may list keys twice (a split
    // copies before it removes) or have one stale back link. Nothing else.
    static QString unexpectedProblems(const QByteArray& image, int32_t key, bool relinking)
    {
        static const QRegularExpression chain("^index block at \\d+: .*(is not above the|previous link is)");
        const QRegularExpression own(QString("record %1\\b").arg(key));
        CxFileCheck check(image, TestSignature);
        check.run();
        QStringList left;
        for (const QString& problem : check.problems()) {
            if (!own.match(problem).hasMatch() && !(relinking && chain.match(problem).hasMatch()))
                left << problem;
        }
        return left.join('\n');
    }

private slots:
    void cutEverywhere_data()
    {
        QTest::addColumn<unsigned>("blockSize");
        QTest::addColumn<int>("keyRange");
        QTest::addColumn<bool>("rising");
        QTest::newRow("64 random") << 64u << 40 << false;
        QTest::newRow("64 rising") << 64u << 0 << true;
        QTest::newRow("128 random") << 128u << 200 << false;
        QTest::newRow("128 rising") << 128u << 0 << true;
    }

    void cutEverywhere()
    {
        QFETCH(unsigned, blockSize);
        QFETCH(int, keyRange);
        QFETCH(bool, rising);
        QRandomGenerator rng(blockSize * 31 + quint32(keyRange));
        CachedDisk disk;
        WatchedFile file(&disk);
        Model model;
        int32_t inFlight = INT_MIN;
        QStringList failures;

        disk.beforeSync = [&]() {
            if (!failures.isEmpty())
                return;
            QSet<QByteArray> tried;
            for (quint32 mask : cutMasks(int(disk.pending.size()))) {
                const QByteArray image = disk.afterCut(mask);
                if (tried.contains(image))
                    continue;
                tried.insert(image);
                QString why = lost(image, model, inFlight);
                if (why.isEmpty() && !image.isEmpty())
                    why = unexpectedProblems(image, inFlight, file.relinking);
                if (!why.isEmpty()) {
                    failures << QString("cut while changing key %1: %2").arg(inFlight).arg(why);
                    return;
                }
            }
        };

        QCOMPARE(file.Create("disk", blockSize, 1, 0), 0);
        for (int op = 0; op < 300 && failures.isEmpty(); ++op) {
            const int32_t key = rising ? int32_t(op / 2 + rng.bounded(4)) : int32_t(rng.bounded(keyRange));
            const bool store = model.count(key) == 0 || rng.bounded(10) < 6;
            const QByteArray data = pattern(int(rng.bounded(rng.bounded(5) ? 60 : 300)), rng.generate());
            inFlight = key;
            file.relinking = !store;
            if (store && !file.AddRecord(key, data.constData(), int32_t(data.size())))
                QVERIFY(file.UpdateRecord(data.constData(), int32_t(data.size())));
            if (!store)
                QVERIFY(file.FindRecord(key) && file.DeleteRecord());
            // Each change ends with everything on the platter.
            QVERIFY2(disk.pending.isEmpty(), qPrintable(QString("unsynced writes after changing key %1").arg(key)));
            if (store)
                model[key] = data;
            else
                model.erase(key);
            QCOMPARE(structureProblem(disk.platter), QString());
        }
        QVERIFY2(failures.isEmpty(), qPrintable(failures.join('\n')));
    }
};

QTEST_GUILESS_MAIN(TestCxFilePowerCut)
#include "tst_cxfile_powercut.moc"
