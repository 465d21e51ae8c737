#include "cxfiletest.h"

#include "storage/cxsalvage.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

namespace {

const char* const Sig = TestSignature;

// A file image with helpers to find and patch its structures.
struct Image
{
    QByteArray bytes;

    qint32 word(qint64 at) const { return qFromLittleEndian<qint32>(bytes.constData() + at); }
    void setWord(qint64 at, qint32 v) { qToLittleEndian<qint32>(v, bytes.data() + at); }
    QVector<qint32> indexBlocks() const
    {
        QVector<qint32> out;
        for (qint32 at = word(HdFirstIndex); at >= 1 && out.size() < 1000; at = word(at + IxNext))
            out << at;
        return out;
    }
    static qint64 entry(qint32 block, int i) { return block + entryAt(i); }
    // Keys whose index entry, index block count or data blocks hold a byte
    // in [from, to): what damage there may cost.
    QList<qint32> keysTouching(qint64 from, qint64 to) const
    {
        QList<qint32> keys;
        auto hits = [&](qint64 at, qint64 length) { return at < to && from < at + length; };
        for (qint32 block : indexBlocks()) {
            for (int i = 0; i < word(block + IxCount); ++i) {
                const qint64 e = entry(block, i);
                bool hit = hits(e, IndexEntrySize) || hits(block + IxCount, 4);
                for (qint32 d = word(e + EnFirst); d > 0 && !hit; d = word(d + DbNext))
                    hit = hits(d, 128);
                if (hit)
                    keys << word(e + EnKey);
            }
        }
        return keys;
    }
    qint64 entryOf(qint32 key) const
    {
        for (qint32 block : indexBlocks())
            for (int i = 0; i < word(block + IxCount); ++i)
                if (word(entry(block, i) + EnKey) == key)
                    return entry(block, i);
        return -1;
    }
};

} // namespace

class TestCxFileCheck : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    Image m_valid;
    std::map<qint32, QByteArray> m_records; // what m_valid holds

    // Enough ascending keys to split the index several times, records of zero
    // to several blocks, a rewrite that fills the free list and a delete.
    Image build(const QString& name, const QByteArray& oldBytes = QByteArray())
    {
        const QString path = m_dir.filePath(name);
        QFile f(path);
        if (!oldBytes.isEmpty() && f.open(QIODevice::WriteOnly)) {
            f.write(oldBytes);
            f.close();
        }
        {
            CxFile file(Sig);
            if (file.Create(QFile::encodeName(path).constData(), 128, 1, 0) != 0)
                return Image();
            const QByteArray big(300, 'x');
            for (int k = 0; k < 30; ++k)
                file.AddRecord(1000 + k, big.constData(), (k * 37) % 301);
            file.AddRecord(5, big.constData(), 116);
            file.FindRecord(1007);
            file.UpdateRecord(big.constData(), 10); // frees surplus blocks
            file.FindRecord(1012);
            file.DeleteRecord();
        }
        return Image{f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray()};
    }

private slots:
    void initTestCase()
    {
        m_valid = build("valid.dat");
        QVERIFY2(m_valid.indexBlocks().size() >= 3, "the sample file needs several index blocks");
        QVERIFY2(m_valid.word(HdFreeHead) >= 1, "the sample file needs a free list");
        QCOMPARE(m_valid.word(m_valid.entryOf(1008) + EnLength), 296); // three data blocks
        QuietFile file;
        QCOMPARE(file.Open(QFile::encodeName(m_dir.filePath("valid.dat")).constData()), 0);
        for (bool more = file.FindFirstRecord(); more; more = file.FindNextRecord())
            m_records[currentKey(file)] = readCurrent(file);
    }

    void soundFiles()
    {
        CxFileCheck c(m_valid.bytes, Sig);
        QVERIFY2(c.run(), qPrintable(c.problems().join('\n')));
        QCOMPARE(c.recordCount(), 30);
        QCOMPARE(c.unusedBlockCount(), 0);

        // Created over an older, longer file: its blocks follow the old bytes.
        const Image over = build("over.dat", QByteArray(1000, '\x5a'));
        QVERIFY(over.bytes.size() > 1000);
        CxFileCheck o(over.bytes, Sig);
        QVERIFY2(o.run(), qPrintable(o.problems().join('\n')));

        // Blocks that nothing references are lost space, not damage.
        CxFileCheck lost(m_valid.bytes + QByteArray(256, '\0'), Sig);
        QVERIFY(lost.run());
        QCOMPARE(lost.unusedBlockCount(), 2);
    }

    void damage_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("expected");
        // For salvage: the keys the damage may cost, and INT_MIN; empty when
        // the header is unusable and nothing can be salvaged.
        QTest::addColumn<QList<qint32>>("mayLose");
        const QVector<qint32> idx = m_valid.indexBlocks();
        const qint64 multi = m_valid.entryOf(1008);
        const qint32 multiBlock = m_valid.word(multi + EnFirst);
        const qint32 free = m_valid.word(HdFreeHead);
        auto patch = [&](const char* name, const char* expected, qint64 at, qint32 value) {
            Image m = m_valid;
            m.setWord(at, value);
            const bool header = at < HeaderSize && at != HdFirstIndex && at != HdFreeHead;
            QTest::newRow(name) << m.bytes << QString(expected)
                                << (header ? QList<qint32>() : m_valid.keysTouching(at, at + 4) << INT_MIN);
        };
        const qint64 size = m_valid.bytes.size();
        QTest::newRow("header cut") << m_valid.bytes.left(20) << QString("shorter than its 36-byte header")
                                    << QList<qint32>();
        QTest::newRow("truncated") << m_valid.bytes.chopped(50) << QString("cut-off block")
                                   << m_valid.keysTouching(size - 50, size) + QList<qint32>{INT_MIN};
        QTest::newRow("signature") << QByteArray(m_valid.bytes).replace(10, 1, "2")
                                   << QString("the signature is \"Vaultix0002\"") << QList<qint32>();
        patch("block size", "block size 0 is not", HdBlockSize, 0);
        patch("count above capacity", "count 9 is above the capacity of 8", idx[0] + IxCount, 9);
        patch("index cycle", "loops back to index block", idx.last() + IxNext, idx[0]);
        patch("back link", ", but the block before it is at", idx[1] + IxPrev, idx[2]);
        patch("next is zero", "next link is 0", idx[0] + IxNext, 0);
        patch("keys out of order", "key 5 is not above the previous key 5", Image::entry(idx[0], 1) + EnKey, 5);
        patch("chain shorter", "fewer than its length", multi + EnLength, 297);
        patch("chain longer", "more than its length", multi + EnLength, 295);
        patch("absurd length", "length 2147483647 is longer than the file", multi + EnLength, 0x7fffffff);
        patch("data cycle", "data chain loops back", m_valid.word(multiBlock + DbNext) + DbNext, multiBlock);
        patch("free cycle", "free list loops back", free + FrNext, free);
        patch("used twice", "is used twice", HdFreeHead, idx[0]);
        patch("outside file", "outside the file", multi + EnFirst, m_valid.bytes.size() + 128);
        patch("off boundary", "not on a block boundary", HdFirstIndex, idx[0] + 4);
        // An empty chain over index blocks whose records read back, or a
        // chain start that is no offset, is no empty file.
        patch("chain start -1", "listed only in index blocks that the index chain does not reach", HdFirstIndex, -1);
        patch("chain start negative", "which is no offset", HdFirstIndex, -7);
        patch("chain start outside", "outside the file", HdFirstIndex, qint32(size) + 128);
        patch("bounds overlap", "is not above the highest key", idx[1] + IxLowest, m_valid.word(idx[0] + IxHighest));
        patch("empty index block", "holds no entries", idx[1] + IxCount, 0);
    }

    // Each damage is named, and salvage brings back every record the damage
    // did not touch, exactly, invents nothing, and its records make a sound file.
    void damage()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, expected);
        QFETCH(QList<qint32>, mayLose);
        CxFileCheck c(bytes, Sig);
        QVERIFY(!c.run());
        QVERIFY2(c.problems().join('\n').contains(expected), qPrintable(c.problems().join('\n')));
        CxSalvage s(bytes, Sig);
        QCOMPARE(s.run(), !mayLose.isEmpty());
        if (mayLose.isEmpty())
            return;
        for (const auto& [key, value] : m_records)
            QVERIFY2(mayLose.contains(key) || (s.records().count(key) && s.records().at(key) == value),
                     qPrintable(QString("key %1").arg(key)));
        for (const auto& [key, value] : s.records())
            QVERIFY2(m_records.count(key) && m_records.at(key) == value, qPrintable(QString("key %1").arg(key)));

        const QString out = m_dir.filePath(QString("salvaged-%1.dat").arg(QTest::currentDataTag()));
        QVERIFY(CxSalvage::writeFile(out, Sig, s.records(), 128, 1, 0));
        QCOMPARE(structureProblem(fileBytes(out)), QString());
    }
};

QTEST_GUILESS_MAIN(TestCxFileCheck)
#include "tst_cxfilecheck.moc"
