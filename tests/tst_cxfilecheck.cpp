#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <functional>

namespace {

const char* const Sig = "Vaultix0001";

// A file image with helpers to find and patch its structures.
struct Image
{
    QByteArray bytes;

    qint32 word(qint64 at) const { return qFromLittleEndian<qint32>(bytes.constData() + at); }
    void setWord(qint64 at, qint32 v) { qToLittleEndian<qint32>(v, bytes.data() + at); }
    qint32 blockSize() const { return word(24); }
    qint32 firstIndex() const { return word(28); }
    qint32 freeHead() const { return word(32); }

    QVector<qint32> indexBlocks() const
    {
        QVector<qint32> out;
        for (qint32 at = firstIndex(); at >= 1 && out.size() < 1000; at = word(at + 12))
            out << at;
        return out;
    }
    // Offset of entry i of the index block at `block`.
    static qint64 entry(qint32 block, int i) { return block + 24 + 12 * i; }
    // The entry (index block offset, slot) holding `key`.
    qint64 entryOf(qint32 key) const
    {
        for (qint32 block : indexBlocks())
            for (int i = 0; i < word(block + 20); ++i)
                if (word(entry(block, i)) == key)
                    return entry(block, i);
        return -1;
    }
};

QStringList check(const QByteArray& bytes, bool* sound = nullptr)
{
    CxFileCheck c(bytes, Sig);
    const bool ok = c.run();
    if (sound)
        *sound = ok;
    return c.problems();
}

} // namespace

class TestCxFileCheck : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    Image m_valid;

    // Ascending keys enough to split the index several times, records of
    // zero, one, exactly one block and several blocks, a rewrite that fills
    // the free list and a delete.
    Image build(const QString& name, const QByteArray& oldBytes = QByteArray())
    {
        const QString path = m_dir.filePath(name);
        if (!oldBytes.isEmpty()) {
            QFile f(path);
            f.open(QIODevice::WriteOnly);
            f.write(oldBytes);
        }
        {
            CxFile file(Sig);
            if (file.Create(QFile::encodeName(path).constData(), 128, 1, 0) != 0)
                return Image();
            const QByteArray big(300, 'x');
            for (int k = 0; k < 30; ++k) {
                const int length = (k * 37) % 301;
                file.AddRecord(1000 + k, big.constData(), length);
            }
            file.AddRecord(5, big.constData(), 116);
            file.FindRecord(1007);
            file.UpdateRecord(big.constData(), 10); // frees surplus blocks
            file.FindRecord(1012);
            file.DeleteRecord();
        }
        QFile f(path);
        f.open(QIODevice::ReadOnly);
        return Image{f.readAll()};
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_valid = build("valid.dat");
        QVERIFY(m_valid.bytes.size() > 36);
        QVERIFY2(m_valid.indexBlocks().size() >= 3, "the sample file needs several index blocks");
        QVERIFY2(m_valid.freeHead() >= 1, "the sample file needs a free list");
    }

    void soundFiles()
    {
        CxFileCheck c(m_valid.bytes, Sig);
        QVERIFY2(c.run(), qPrintable(c.problems().join('\n')));
        QCOMPARE(c.recordCount(), 30);
        QCOMPARE(c.unusedBlockCount(), 0);
        QCOMPARE(c.blockCount(), (m_valid.bytes.size() - 36) / 128);

        // Created over an older, longer file of another length: its blocks
        // follow the old bytes.
        Image over = build("over.dat", QByteArray(1000, '\x5a'));
        QVERIFY(over.bytes.size() > 1000);
        bool sound = false;
        const QStringList problems = check(over.bytes, &sound);
        QVERIFY2(sound, qPrintable(problems.join('\n')));

        // A fresh, empty file.
        Image e{m_valid.bytes.left(36)};
        e.setWord(28, -1);
        e.setWord(32, -1);
        QVERIFY(CxFileCheck(e.bytes, Sig).run());

        // Blocks that nothing references are lost space, not damage.
        Image lost = m_valid;
        lost.bytes.append(QByteArray(256, '\0'));
        CxFileCheck l(lost.bytes, Sig);
        QVERIFY(l.run());
        QCOMPARE(l.unusedBlockCount(), 2);
    }

    void damage_data()
    {
        QTest::addColumn<int>("which");
        QTest::addColumn<QString>("expected");
        int i = 0;
        QTest::newRow("header cut") << i++ << "shorter than its 36-byte header";
        QTest::newRow("truncated") << i++ << "cut-off block";
        QTest::newRow("signature") << i++ << "the signature is \"Vaultix0002\"";
        QTest::newRow("unterminated signature") << i++ << "not NUL-terminated";
        QTest::newRow("block size") << i++ << "block size 100";
        QTest::newRow("count above capacity") << i++ << "count 9 is above the capacity of 8";
        QTest::newRow("negative count") << i++ << "count -1 is negative";
        QTest::newRow("index cycle") << i++ << "loops back to index block";
        QTest::newRow("back link") << i++ << ", but the block before it is at";
        QTest::newRow("first previous") << i++ << "it is the first index block but its previous link";
        QTest::newRow("own offset") << i++ << "own-offset field says";
        QTest::newRow("keys out of order") << i++ << "is not above the previous key";
        QTest::newRow("keys across blocks") << i++ << "is not above the previous key";
        QTest::newRow("below lowest") << i++ << "below the block's lowest key";
        QTest::newRow("above highest") << i++ << "above the block's highest key";
        QTest::newRow("chain shorter") << i++ << "fewer than its length";
        QTest::newRow("chain longer") << i++ << "more than its length";
        QTest::newRow("used too big") << i++ << "used count 200 is outside 0 to 116";
        QTest::newRow("data back link") << i++ << "its previous link is 36, not";
        QTest::newRow("data cycle") << i++ << "data chain loops back";
        QTest::newRow("free cycle") << i++ << "free list loops back";
        QTest::newRow("used twice") << i++ << "is used twice";
        QTest::newRow("shared data block") << i++ << "is used twice";
        QTest::newRow("outside file") << i++ << "outside the file";
        QTest::newRow("off boundary") << i++ << "not on a block boundary";
        QTest::newRow("into header") << i++ << "inside the file header";
        QTest::newRow("next is zero") << i++ << "next link is 0";
        QTest::newRow("no data block") << i++ << "has no data block";
    }

    void damage()
    {
        QFETCH(int, which);
        QFETCH(QString, expected);

        Image m = m_valid;
        const QVector<qint32> idx = m.indexBlocks();
        const qint32 first = idx.first();
        const qint64 multi = m.entryOf(1000 + 8); // 296 bytes, three blocks
        const qint32 multiBlock = m.word(multi + 4);
        QCOMPARE(m.word(multi + 8), 296);
        const qint32 size = m.bytes.size();

        const std::function<void()> damages[] = {
            [&] { m.bytes.truncate(20); },
            [&] { m.bytes.chop(50); },
            [&] { m.bytes[10] = '2'; },
            [&] { m.bytes.replace(0, 16, QByteArray(16, 'V')); },
            [&] { m.setWord(24, 100); },
            [&] { m.setWord(first + 20, 9); },
            [&] { m.setWord(first + 20, -1); },
            [&] { m.setWord(idx.last() + 12, first); },
            [&] { m.setWord(idx[1] + 16, idx[2]); },
            [&] { m.setWord(first + 16, idx[1]); },
            [&] { m.setWord(idx[1] + 8, idx[1] + 128); },
            [&] {
                const qint32 a = m.word(Image::entry(first, 0));
                m.setWord(Image::entry(first, 0), m.word(Image::entry(first, 1)));
                m.setWord(Image::entry(first, 1), a);
            },
            [&] { m.setWord(Image::entry(idx[1], 0), m.word(Image::entry(first, 0))); },
            [&] { m.setWord(idx[1], m.word(Image::entry(idx[1], 0)) + 1); },
            [&] { m.setWord(first + 4, m.word(Image::entry(first, m.word(first + 20) - 1)) - 1); },
            [&] { m.setWord(multi + 8, 297); },
            [&] { m.setWord(multi + 8, 295); },
            [&] { m.setWord(multiBlock + 8, 200); },
            [&] { m.setWord(m.word(multiBlock + 4), 36); },
            [&] { m.setWord(m.word(multiBlock + 4) + 4, multiBlock); },
            [&] { m.setWord(m.freeHead(), m.freeHead()); },
            [&] { m.setWord(32, first); },
            [&] { m.setWord(m.entryOf(1001) + 4, multiBlock); },
            [&] { m.setWord(multi + 4, size + 128); },
            [&] { m.setWord(28, first + 4); },
            [&] { m.setWord(multiBlock + 4, 20); },
            [&] { m.setWord(idx.last() + 12, 0); },
            [&] { m.setWord(multi + 4, -1); },
        };
        QVERIFY(which < int(sizeof(damages) / sizeof(damages[0])));
        damages[which]();

        bool sound = true;
        const QStringList problems = check(m.bytes, &sound);
        QVERIFY(!sound);
        QVERIFY(!problems.isEmpty());
        bool found = false;
        for (const QString& p : problems)
            found = found || p.contains(expected);
        QVERIFY2(found, qPrintable(problems.join('\n')));
    }

    void messagesAreCapped()
    {
        Image m = m_valid;
        for (qint32 block : m.indexBlocks())
            for (int i = 0; i < m.word(block + 20); ++i) {
                m.setWord(Image::entry(block, i), 7);                         // out of order
                m.setWord(Image::entry(block, i) + 8, m.word(Image::entry(block, i) + 8) + 1000);
            }
        CxFileCheck c(m.bytes, Sig);
        QVERIFY(!c.run());
        QVERIFY(c.problemCount() > CxFileCheck::MaxMessages);
        QCOMPARE(c.problems().size(), CxFileCheck::MaxMessages + 1);
        QCOMPARE(c.problems().last(),
                 QString("... and %1 more problems").arg(c.problemCount() - CxFileCheck::MaxMessages));
    }

    // Random damage must never crash or hang (run under the sanitizers).
    void randomDamage()
    {
        QRandomGenerator rng(20261123);
        for (int round = 0; round < 300; ++round) {
            QByteArray b = m_valid.bytes;
            const int edits = 1 + rng.bounded(8);
            for (int e = 0; e < edits; ++e) {
                const int at = rng.bounded(b.size() - 4);
                if (rng.bounded(2))
                    qToLittleEndian<qint32>(qint32(36 + 128 * rng.bounded(40)), b.data() + at);
                else
                    b[at] = char(rng.bounded(256));
            }
            if (rng.bounded(4) == 0)
                b.truncate(rng.bounded(b.size()));
            CxFileCheck c(b, Sig);
            c.run();
            QVERIFY(c.problems().size() <= CxFileCheck::MaxMessages + 1);
        }
    }
};

QTEST_GUILESS_MAIN(TestCxFileCheck)
#include "tst_cxfilecheck.moc"
