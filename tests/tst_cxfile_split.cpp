#include "storage/cxfile.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <climits>

namespace {

class QuietFile : public CxFile
{
public:
    QuietFile() : CxFile("Vaultix0001") {}
    void FlushToDisk() override {}
};

struct IndexBlock
{
    qint32 offset, lowest, highest;
    QList<qint32> keys;
};

// The index chain as it lies on disk, first block first.
QList<IndexBlock> indexChain(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QByteArray b = file.readAll();
    auto le32 = [&](qint64 at) {
        return at >= 0 && at + 4 <= b.size() ? qFromLittleEndian<qint32>(b.constData() + at) : -1;
    };
    QList<IndexBlock> chain;
    for (qint32 off = le32(28); off > 0 && chain.size() < 1000; off = le32(off + 12)) {
        IndexBlock block{off, le32(off), le32(off + 4), {}};
        for (int i = 0; i < le32(off + 20) && i < 40; ++i)
            block.keys << le32(off + 24 + 12 * i);
        chain << block;
    }
    return chain;
}

QList<qint32> keysOf(const QList<IndexBlock>& chain, int index)
{
    return index < chain.size() ? chain[index].keys : QList<qint32>();
}

} // namespace

class TestCxFileSplit : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_path;

    void create(QuietFile& file, unsigned blockSize = 128)
    {
        m_path = m_dir.filePath(QString("%1.dat").arg(QTest::currentTestFunction()));
        QFile::remove(m_path);
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), blockSize, 1, 0), 0);
    }

    // The new key is current and the cursor runs on through the chain in
    // key order, so the block left in the buffer is the one that got it.
    static void checkCursorFrom(CxFile& file, int32_t key, const QList<qint32>& following)
    {
        int32_t current = INT_MIN;
        QVERIFY(file.ReadRecordKey(current));
        QCOMPARE(current, key);
        for (qint32 next : following) {
            QVERIFY(file.FindNextRecord());
            QVERIFY(file.ReadRecordKey(current));
            QCOMPARE(current, next);
        }
        QVERIFY(!file.FindNextRecord());
    }

private slots:
    // Ascending keys: the new block goes after the full one, takes its
    // last half and then the new key.
    void ascending_data()
    {
        QTest::addColumn<unsigned>("blockSize");
        QTest::addColumn<int>("capacity");
        QTest::newRow("64") << 64u << 3;
        QTest::newRow("128") << 128u << 8;
        QTest::newRow("256") << 256u << 19;
        QTest::newRow("512") << 512u << 40;
    }
    void ascending()
    {
        QFETCH(unsigned, blockSize);
        QFETCH(int, capacity);
        QuietFile file;
        create(file, blockSize);
        for (int key = 1001; key <= 1001 + capacity; ++key)
            QVERIFY(file.AddRecord(key, "r", 1));
        checkCursorFrom(file, 1001 + capacity, {});

        const QList<IndexBlock> chain = indexChain(m_path);
        QCOMPARE(chain.size(), 2);
        const int kept = capacity - capacity / 2;
        QCOMPARE(chain[0].offset, 36);
        QCOMPARE(chain[0].keys.size(), kept);
        QCOMPARE(chain[0].highest, 1000 + kept);
        QCOMPARE(chain[1].keys.size(), capacity / 2 + 1);
        QCOMPARE(chain[1].lowest, 1001 + kept);
        QCOMPARE(chain[1].highest, 1001 + capacity);
    }

    // Descending keys: the new block goes before the full one, becomes the
    // first block and takes the first half plus the new key.
    void descending()
    {
        QuietFile file;
        create(file);
        for (int key = 1009; key >= 1001; --key)
            QVERIFY(file.AddRecord(key, "r", 1));
        checkCursorFrom(file, 1001, {1002, 1003, 1004, 1005, 1006, 1007, 1008, 1009});

        const QList<IndexBlock> chain = indexChain(m_path);
        QCOMPARE(chain.size(), 2);
        QCOMPARE(chain[1].offset, 36);
        QCOMPARE(keysOf(chain, 0), (QList<qint32>{1001, 1002, 1003, 1004, 1005}));
        QCOMPARE(chain[0].lowest, 1001);
        QCOMPARE(chain[0].highest, 1005);
        QCOMPARE(keysOf(chain, 1), (QList<qint32>{1006, 1007, 1008, 1009}));
        QCOMPARE(chain[1].lowest, 1006);
    }

    // (A key inside the bounds is covered by tst_cxfile's known layout.)
    // Deletion leaves the bounds wider than the entries. A key in that slack
    // below every entry, or above every entry, splits the block in halves
    // on its own side instead of moving none or all of them.
    void slackInBounds_data()
    {
        QTest::addColumn<QList<qint32>>("keys");
        QTest::addColumn<qint32>("removed");
        QTest::addColumn<qint32>("added");
        QTest::addColumn<QList<qint32>>("first");
        QTest::addColumn<QList<qint32>>("second");
        QTest::addColumn<QList<qint32>>("bounds");
        QTest::newRow("below every entry")
            << QList<qint32>{5, 10, 20, 30, 40, 50, 60, 70, 80} << 5 << 7 << QList<qint32>{7, 10, 20, 30, 40}
            << QList<qint32>{50, 60, 70, 80} << QList<qint32>{5, 40, 50, 80};
        QTest::newRow("above every entry")
            << QList<qint32>{10, 20, 30, 40, 50, 60, 70, 95, 80} << 95 << 90 << QList<qint32>{10, 20, 30, 40}
            << QList<qint32>{50, 60, 70, 80, 90} << QList<qint32>{10, 40, 50, 95};
    }
    void slackInBounds()
    {
        QFETCH(QList<qint32>, keys);
        QFETCH(qint32, removed);
        QFETCH(qint32, added);
        QFETCH(QList<qint32>, first);
        QFETCH(QList<qint32>, second);
        QFETCH(QList<qint32>, bounds);
        QuietFile file;
        create(file);
        // Add all but the last key, remove one, add the last: a full block
        // whose bounds still include the removed key.
        for (int i = 0; i + 1 < keys.size(); ++i)
            QVERIFY(file.AddRecord(keys[i], "r", 1));
        QVERIFY(file.FindRecord(removed));
        QVERIFY(file.DeleteRecord());
        QVERIFY(file.AddRecord(keys.last(), "r", 1));
        QCOMPARE(indexChain(m_path).size(), 1);

        QVERIFY(file.AddRecord(added, "new", 3));
        QList<qint32> after = (first + second);
        checkCursorFrom(file, added, after.mid(after.indexOf(added) + 1));

        const QList<IndexBlock> chain = indexChain(m_path);
        QCOMPARE(chain.size(), 2);
        QCOMPARE(keysOf(chain, 0), first);
        QCOMPARE(keysOf(chain, 1), second);
        QCOMPARE((QList<qint32>{chain[0].lowest, chain[0].highest, chain[1].lowest, chain[1].highest}), bounds);

        // Every key stays findable from either block.
        for (qint32 key : after) {
            QVERIFY2(file.FindRecord(key), qPrintable(QString::number(key)));
            QVERIFY(file.FindRecord(after.first()));
        }
        QVERIFY(!file.FindRecord(removed));
    }
};

QTEST_GUILESS_MAIN(TestCxFileSplit)
#include "tst_cxfile_split.moc"
