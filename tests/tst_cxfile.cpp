#include "storage/cxfile.h"

#include <QFile>
#include <QRandomGenerator>
#include <QSet>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <climits>
#include <map>

namespace {

const char* const Signature = "Vaultix0001";

// Skips fsync so long sequences stay fast; counts the calls instead.
class QuietFile : public CxFile
{
public:
    QuietFile() : CxFile(Signature) {}
    void FlushToDisk() override { ++flushes; }
    int flushes = 0;
};

QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

qint32 le32(const QByteArray& bytes, qint64 at)
{
    return at >= 0 && at + 4 <= bytes.size() ? qFromLittleEndian<qint32>(bytes.constData() + at) : INT_MIN;
}

QByteArray pattern(int size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = char((seed * 2654435761u + quint32(i) * 40503u) >> 13);
    return bytes;
}

QByteArray readCurrent(CxFile& file)
{
    int32_t size = -1;
    if (!file.ReadRecordSize(size) || size < 0)
        return "<no size>";
    QByteArray bytes(size, '\0');
    int32_t got = -1;
    if (!file.ReadRecord(bytes.data(), got) || got != size)
        return "<short read>";
    return bytes;
}

QList<qint32> indexKeys(const QByteArray& b, qint64 block)
{
    QList<qint32> keys;
    for (int i = 0; i < le32(b, block + 20); ++i)
        keys << le32(b, block + 24 + 12 * i);
    return keys;
}

// Checks the raw bytes of a file written from scratch: index chain order,
// links and bounds; data chains holding exactly the record length; every
// block in exactly one of index chain, data chains and free list.
QString structureProblem(const QByteArray& b)
{
    const qint32 bs = le32(b, 24);
    const int payload = bs - 12;
    QSet<qint64> seen;
    auto claim = [&](qint64 off) {
        if (off < 36 || (off - 36) % bs != 0 || off + bs > b.size() || seen.contains(off))
            return false;
        seen.insert(off);
        return true;
    };
    qint64 prevBlock = -1;
    qint64 lastKey = LLONG_MIN;
    qint64 lastHighest = LLONG_MIN;
    for (qint64 block = le32(b, 28); block != -1; block = le32(b, block + 12)) {
        if (!claim(block) || le32(b, block + 8) != block || le32(b, block + 16) != prevBlock)
            return QString("bad index block or link at %1").arg(block);
        const QList<qint32> keys = indexKeys(b, block);
        if (keys.isEmpty() || keys.size() > (bs - 24) / 12 || le32(b, block) <= lastHighest
            || keys.first() < le32(b, block) || keys.last() > le32(b, block + 4))
            return QString("bad count or bounds in block %1").arg(block);
        lastHighest = le32(b, block + 4);
        for (int i = 0; i < keys.size(); ++i) {
            if (keys[i] <= lastKey)
                return QString("key %1 out of order").arg(keys[i]);
            lastKey = keys[i];
            const qint32 length = le32(b, block + 24 + 12 * i + 8);
            qint64 total = 0, prevData = -1;
            int blocks = 0;
            for (qint64 d = le32(b, block + 24 + 12 * i + 4); d != -1; d = le32(b, d + 4), ++blocks) {
                const qint32 used = le32(b, d + 8);
                if (!claim(d) || le32(b, d) != prevData || used < 0 || used > payload
                    || (le32(b, d + 4) != -1 && used != payload))
                    return QString("bad data chain of key %1").arg(keys[i]);
                total += used;
                prevData = d;
            }
            if (total != length || blocks != qMax(1, (length + payload - 1) / payload))
                return QString("data chain of key %1 holds %2 of %3 bytes").arg(keys[i]).arg(total).arg(length);
        }
        prevBlock = block;
    }
    for (qint64 f = le32(b, 32); f > 0; f = le32(b, f)) {
        if (!claim(f))
            return QString("bad free block %1").arg(f);
    }
    if (seen.size() != (b.size() - 36) / bs)
        return QString("%1 of %2 blocks unaccounted for").arg((b.size() - 36) / bs - seen.size()).arg((b.size() - 36) / bs);
    return QString();
}

} // namespace

class TestCxFile : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(m_dir.isValid()); m_path = m_dir.filePath("t.dat"); QFile::remove(m_path); }

    void blockSizeIsClamped_data()
    {
        QTest::addColumn<unsigned>("requested");
        QTest::addColumn<int>("expected");
        const unsigned requested[] = {0, 64, 65, 100, 128, 300, 512, 1000};
        const int expected[] = {64, 64, 128, 128, 128, 512, 512, 512};
        for (int i = 0; i < 8; ++i)
            QTest::addRow("%u", requested[i]) << requested[i] << expected[i];
    }
    void blockSizeIsClamped()
    {
        QFETCH(unsigned, requested);
        QFETCH(int, expected);
        {
            CxFile file(Signature);
            QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), requested, 1, 0), 0);
            int major = 0, minor = 7;
            QCOMPARE(file.GetFileVersion(major, minor), 1);
            QCOMPARE(minor, 0);
        }
        const QByteArray b = fileBytes(m_path);
        QCOMPARE(b.size(), 36);
        QCOMPARE(b.left(16), QByteArray("Vaultix0001\0\0\0\0\0", 16));
        QCOMPARE(le32(b, 24), expected);
        QCOMPARE(le32(b, 28), -1);
        QCOMPARE(le32(b, 32), -1);
    }

    void openResults()
    {
        CxFile file(Signature);
        QCOMPARE(file.Open(m_path.toLocal8Bit().constData()), -1);
        QCOMPARE(file.Open(m_dir.path().toLocal8Bit().constData()), -2);
        QFile raw(m_path);
        QVERIFY(raw.open(QIODevice::WriteOnly));
        raw.write(QByteArray("Vaultix0001\0\0\0\0\0", 16) + QByteArray(4, '\0'));
        raw.close();
        QCOMPARE(file.Open(m_path.toLocal8Bit().constData()), -3);
        QVERIFY(!file.isOpen());

        CxFile other("Other0001");
        QCOMPARE(other.Create(m_path.toLocal8Bit().constData(), 128, 1, 0), 0);
        other.Close();
        QCOMPARE(file.Open(m_path.toLocal8Bit().constData()), -3);
        QVERIFY(!file.isOpen());
        QVERIFY(!file.FindFirstRecord());
        QVERIFY(!file.AddRecord(1, "x", 1));

        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 128, 1, 0), 0);
        QVERIFY(!file.FindFirstRecord());
        QVERIFY(!file.FindRecord(0));
        QVERIFY(!file.FindLastRecord());
        file.Close();
        QCOMPARE(file.Open(m_path.toLocal8Bit().constData()), 0);
    }

    // A known sequence must give exactly this layout, byte for byte where
    // it is meaningful.
    void knownLayout()
    {
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 128, 1, 0), 0);
        QVERIFY(file.AddRecord(0, pattern(88, 0).constData(), 88));
        QVERIFY(file.AddRecord(100, "\0", 1));
        QVERIFY(file.AddRecord(1000, "\0", 1));
        for (int key = 101; key <= 112; ++key)
            QVERIFY(file.AddRecord(key, pattern(264, key).constData(), 264));
        file.Close();

        const QByteArray b = fileBytes(m_path);
        QCOMPARE(b.size(), 5284);
        QCOMPARE(le32(b, 28), 2468);
        QCOMPARE(indexKeys(b, 2468), (QList<qint32>{0, 100, 101, 102, 103, 104, 105, 106}));
        QCOMPARE(le32(b, 2468 + 12), 36);
        QCOMPARE(indexKeys(b, 36), (QList<qint32>{107, 108, 109, 110, 111, 112, 1000}));
        QCOMPARE(le32(b, 36), 107);
        QCOMPARE(le32(b, 36 + 4), 1000);
        QCOMPARE(le32(b, 36 + 12), -1);
        QCOMPARE(le32(b, 36 + 16), 2468);
        QCOMPARE(structureProblem(b), QString());
    }

    void dataChains()
    {
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 128, 1, 0), 0);
        QVERIFY(file.AddRecord(5, pattern(300, 5).constData(), 300));
        QVERIFY(file.AddRecord(6, "", 0));
        QCOMPARE(readCurrent(file), QByteArray());
        QVERIFY(file.FindRecord(5));
        QCOMPARE(readCurrent(file), pattern(300, 5));

        QByteArray b = fileBytes(m_path);
        const qint32 first = le32(b, 36 + 24 + 4);
        QList<qint32> used, chain;
        for (qint32 d = first; d != -1; d = le32(b, d + 4)) {
            chain << d;
            used << le32(b, d + 8);
        }
        QCOMPARE(used, (QList<qint32>{116, 116, 68}));

        // Shorter rewrite: the surplus goes on the free list, the next
        // allocation takes the most recently freed block, nothing shrinks.
        const int sizeBefore = b.size();
        QVERIFY(file.FindRecord(5));
        QVERIFY(file.UpdateRecord(pattern(10, 9).constData(), 10));
        b = fileBytes(m_path);
        QCOMPARE(b.size(), sizeBefore);
        QCOMPARE(le32(b, 36 + 24 + 4), chain[2]);
        QCOMPARE(le32(b, 32), chain[1]);
        QCOMPARE(le32(b, chain[1]), chain[0]);
        QVERIFY(file.AddRecord(7, "abc", 3));
        QCOMPARE(le32(fileBytes(m_path), 36 + 24 + 2 * 12 + 4), chain[1]);
        QCOMPARE(structureProblem(fileBytes(m_path)), QString());

        // fsync goes through the overridable slot: two block allocations
        // and the header after writing the index, then the final flush.
        file.flushes = 0;
        QVERIFY(file.AddRecord(8, "abc", 3));
        QCOMPARE(file.flushes, 3);
    }

    void cursor()
    {
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 64, 1, 0), 0);
        for (int key : {30, 10, 20, 40, 50})
            QVERIFY(file.AddRecord(key, pattern(key, key).constData(), key));

        // A failed add leaves the existing record current for the update.
        QVERIFY(!file.AddRecord(20, "new", 3));
        int32_t key = 0;
        QVERIFY(file.ReadRecordKey(key));
        QCOMPARE(key, 20);
        QCOMPARE(readCurrent(file), pattern(20, 20));

        QVERIFY(file.FindRecord(40));
        QVERIFY(file.FindNextRecord());
        QVERIFY(file.ReadRecordKey(key));
        QCOMPARE(key, 50);
        QVERIFY(!file.FindNextRecord());
        QVERIFY(!file.FindNextRecord());
        QVERIFY(!file.ReadRecordKey(key));
        QVERIFY(!file.UpdateRecord("x", 1));
        QVERIFY(!file.DeleteRecord());
        QVERIFY(!file.FindRecord(45));
        QVERIFY(!file.ReadRecordKey(key));

        QVERIFY(file.FindLastRecord());
        QVERIFY(file.ReadRecordKey(key));
        QCOMPARE(key, 50);
        QVERIFY(file.FindFirstRecord());
        QVERIFY(file.ReadRecordKey(key));
        QCOMPARE(key, 10);
    }

    void deletion()
    {
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 64, 1, 0), 0);
        for (int key = 1; key <= 4; ++key) // capacity 3: blocks {1,2} {3,4}
            QVERIFY(file.AddRecord(key, "v", 1));
        QByteArray b = fileBytes(m_path);
        const qint32 firstBlock = le32(b, 28);
        const qint32 secondBlock = le32(b, firstBlock + 12);
        QCOMPARE(indexKeys(b, secondBlock), (QList<qint32>{3, 4}));

        QVERIFY(file.FindRecord(2));
        QVERIFY(file.DeleteRecord());
        int32_t key = 0;
        QVERIFY(file.ReadRecordKey(key));
        QCOMPARE(key, 1);
        QVERIFY(file.FindRecord(1));
        QVERIFY(file.DeleteRecord());
        b = fileBytes(m_path);
        QCOMPARE(le32(b, 28), secondBlock);
        QCOMPARE(le32(b, secondBlock + 16), -1);
        QCOMPARE(le32(b, 32), firstBlock);
        QCOMPARE(structureProblem(b), QString());

        for (int k : {3, 4}) {
            QVERIFY(file.FindRecord(k));
            QVERIFY(file.DeleteRecord());
        }
        QVERIFY(!file.FindFirstRecord());
        b = fileBytes(m_path);
        QCOMPARE(le32(b, 28), -1);
        QCOMPARE(structureProblem(b), QString());
        QVERIFY(file.AddRecord(9, "again", 5));
        QVERIFY(file.FindRecord(9));
        QCOMPARE(readCurrent(file), QByteArray("again"));
    }

    // Random adds, rewrites, deletes and lookups against a map, reopening
    // the file between rounds.
    void randomAgainstMap_data()
    {
        QTest::addColumn<int>("blockSize");
        QTest::addColumn<int>("keyRange");
        QTest::newRow("64 dense") << 64 << 60;
        QTest::newRow("64 sparse") << 64 << 2000;
        QTest::newRow("128") << 128 << 400;
        QTest::newRow("512") << 512 << 3000;
    }
    void randomAgainstMap()
    {
        QFETCH(int, blockSize);
        QFETCH(int, keyRange);
        QRandomGenerator rng(quint32(blockSize * 7919 + keyRange));
        std::map<int32_t, QByteArray> model;
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), unsigned(blockSize), 1, 0), 0);
        for (int round = 0; round < 6; ++round) {
            for (int i = 0; i < 700; ++i) {
                const int32_t key = int32_t(rng.bounded(keyRange)) - keyRange / 4;
                const bool present = model.count(key) != 0;
                const int op = int(rng.bounded(10));
                if (op < 5) {
                    const QByteArray data = pattern(int(rng.bounded(rng.bounded(4) ? 150 : 700)), rng.generate());
                    QCOMPARE(file.AddRecord(key, data.constData(), int32_t(data.size())), !present);
                    if (present)
                        QVERIFY(file.UpdateRecord(data.constData(), int32_t(data.size())));
                    model[key] = data;
                } else if (op < 8) {
                    QCOMPARE(file.FindRecord(key), present);
                    if (present) {
                        QVERIFY(file.DeleteRecord());
                        model.erase(key);
                    }
                } else {
                    QCOMPARE(file.FindRecord(key), present);
                    if (present)
                        QCOMPARE(readCurrent(file), model[key]);
                }
            }
            file.Close();
            QCOMPARE(structureProblem(fileBytes(m_path)), QString());
            QCOMPARE(file.Open(m_path.toLocal8Bit().constData()), 0);

            auto it = model.begin();
            for (bool more = file.FindFirstRecord(); more; more = file.FindNextRecord(), ++it) {
                int32_t key = 0;
                QVERIFY(it != model.end());
                QVERIFY(file.ReadRecordKey(key));
                QCOMPARE(key, it->first);
                QCOMPARE(readCurrent(file), it->second);
            }
            QVERIFY(it == model.end());
            int32_t last = 0;
            QCOMPARE(file.FindLastRecord(), !model.empty());
            if (!model.empty()) {
                QVERIFY(file.ReadRecordKey(last));
                QCOMPARE(last, model.rbegin()->first);
            }
        }
    }

private:
    QTemporaryDir m_dir;
    QString m_path;
};

QTEST_GUILESS_MAIN(TestCxFile)
#include "tst_cxfile.moc"
