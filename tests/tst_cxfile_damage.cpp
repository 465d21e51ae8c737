#include "storage/cxfile.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <functional>

namespace {

class QuietFile : public CxFile
{
public:
    QuietFile() : CxFile("Vaultix0001") {}
    void FlushToDisk() override {}
};

using Patch = std::function<void(QByteArray&)>;

qint32 le32(const QByteArray& b, qint64 at)
{
    return at >= 0 && at + 4 <= b.size() ? qFromLittleEndian<qint32>(b.constData() + at) : -1;
}

void put32(QByteArray& b, qint64 at, qint32 value)
{
    if (at >= 0 && at + 4 <= b.size())
        qToLittleEndian<qint32>(value, b.data() + at);
}

} // namespace

class TestCxFileDamage : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_path;
    QByteArray m_valid;
    qint32 m_firstIndex = 0, m_secondIndex = 0, m_firstData = 0;

    void write(const QByteArray& bytes)
    {
        QFile file(m_path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QCOMPARE(file.write(bytes), bytes.size());
    }

    // Reads the current entry the way callers do: size first, then a buffer
    // of exactly that size, so any overrun shows under AddressSanitizer.
    static void readEntry(CxFile& file)
    {
        int32_t key = 0, size = -1, got = -1;
        file.ReadRecordKey(key);
        if (!file.ReadRecordSize(size) || size < 0 || size > (1 << 20))
            return;
        QByteArray buffer(size, '\0');
        QVERIFY(file.ReadRecord(buffer.data(), got));
        QVERIFY(got >= 0 && got <= size);
    }

    // Every operation on the damaged file: results may be wrong, but each
    // call must end and stay inside its buffers.
    void exercise(const QByteArray& bytes, quint32 seed)
    {
        write(bytes);
        QuietFile file;
        if (file.Open(m_path.toLocal8Bit().constData()) != 0)
            return;
        QRandomGenerator rng(seed);
        for (int pass = 0; pass < 2; ++pass) {
            int steps = 0;
            for (bool more = file.FindFirstRecord(); more && steps < 100000; more = file.FindNextRecord(), ++steps)
                readEntry(file);
            QVERIFY2(steps < 100000, "walk did not end");
            file.FindNextRecord();
            readEntry(file);
            if (file.FindLastRecord())
                readEntry(file);
            for (int i = 0; i < 12; ++i) {
                if (file.FindRecord(int32_t(rng.bounded(60)) - 5))
                    readEntry(file);
            }
            if (pass == 0) {
                const QByteArray data(int(rng.bounded(200)), 'w');
                for (int i = 0; i < 6; ++i) {
                    const int32_t key = int32_t(rng.bounded(60)) - 5;
                    if (!file.AddRecord(key, data.constData(), int32_t(data.size())))
                        file.UpdateRecord(data.constData(), int32_t(data.size()) / 2);
                    if (file.FindRecord(int32_t(rng.bounded(60))))
                        file.DeleteRecord();
                }
            }
        }
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_path = m_dir.filePath("damaged.dat");
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 64, 1, 0), 0);
        for (int key = 0; key < 40; ++key) {
            const QByteArray data((key * 37) % 150, char('a' + key % 26));
            QVERIFY(file.AddRecord(key, data.constData(), int32_t(data.size())));
        }
        for (int key = 0; key < 40; key += 5) {
            QVERIFY(file.FindRecord(key));
            QVERIFY(file.DeleteRecord());
        }
        file.Close();
        QFile raw(m_path);
        QVERIFY(raw.open(QIODevice::ReadOnly));
        m_valid = raw.readAll();
        m_firstIndex = le32(m_valid, 28);
        m_secondIndex = le32(m_valid, m_firstIndex + 12);
        m_firstData = le32(m_valid, m_firstIndex + 24 + 4);
        QVERIFY(m_secondIndex > 0 && m_firstData > 0 && le32(m_valid, 32) > 0);
    }

    // Truncation at many lengths, then random bytes, mostly in the header
    // and the first index block where damage bites.
    void truncatedAndFlipped()
    {
        QRandomGenerator rng(11);
        for (int length = 0; length < m_valid.size() && !QTest::currentTestFailed(); length += 1 + int(rng.bounded(20)))
            exercise(m_valid.left(length), quint32(length));
        for (int round = 0; round < 300 && !QTest::currentTestFailed(); ++round) {
            QByteArray bytes = m_valid;
            for (int flips = 1 + int(rng.bounded(12)); flips > 0; --flips) {
                const int at = rng.bounded(3) ? int(rng.bounded(36)) + (rng.bounded(2) ? 0 : m_firstIndex)
                                              : int(rng.bounded(m_valid.size()));
                bytes[at] = char(rng.bounded(256));
            }
            exercise(bytes, quint32(round));
        }
    }

    void crafted_data()
    {
        QTest::addColumn<Patch>("patch");
        const qint32 first = m_firstIndex, second = m_secondIndex, data = m_firstData;
        const qint32 entry0 = first + 24;
        const qint32 freeHead = le32(m_valid, 32);
        auto set = [](qint64 at, qint32 value) { return Patch([=](QByteArray& b) { put32(b, at, value); }); };

        QTest::newRow("index chain loops on itself") << set(first + 12, first);
        QTest::newRow("index chain loops back") << set(second + 12, first);
        QTest::newRow("previous links loop") << Patch([=](QByteArray& b) {
            put32(b, first + 16, second);
            put32(b, first, 1000); // lowest above every key: walks go back
        });
        QTest::newRow("data chain loops") << Patch([=](QByteArray& b) {
            put32(b, data + 4, data);
            put32(b, entry0 + 8, 100000);
        });
        QTest::newRow("free list loops") << set(freeHead, freeHead);
        QTest::newRow("count above capacity") << set(first + 20, 1000);
        QTest::newRow("negative count") << set(first + 20, -5);
        QTest::newRow("first index huge") << set(28, 0x7fffff00);
        QTest::newRow("first index negative") << set(28, -7);
        QTest::newRow("first index misaligned") << set(28, 37);
        QTest::newRow("first index in header") << set(28, 20);
        QTest::newRow("first index past end") << set(28, m_valid.size() - 10);
        QTest::newRow("next index huge") << set(first + 12, 0x7ffffff0);
        QTest::newRow("next index zero") << set(first + 12, 0);
        QTest::newRow("data offset huge") << set(entry0 + 4, 0x7ffffff0);
        QTest::newRow("data offset misaligned") << set(entry0 + 4, 37);
        QTest::newRow("length negative") << set(entry0 + 8, -5);
        QTest::newRow("length huge") << set(entry0 + 8, 0x7fffffff);
        QTest::newRow("length beyond chain") << set(entry0 + 8, 5000);
        QTest::newRow("used huge") << set(data + 8, 0x7fffffff);
        QTest::newRow("used negative") << set(data + 8, -100);
        QTest::newRow("free head huge") << set(32, 0x7ffffff0);
        QTest::newRow("free head misaligned") << set(32, 39);
        QTest::newRow("block size zero") << set(24, 0);
        QTest::newRow("block size huge") << set(24, 1 << 30);
        QTest::newRow("block size odd") << set(24, 100);
    }
    void crafted()
    {
        QFETCH(Patch, patch);
        QByteArray bytes = m_valid;
        patch(bytes);
        for (quint32 seed = 0; seed < 8 && !QTest::currentTestFailed(); ++seed)
            exercise(bytes, seed);
    }
};

QTEST_GUILESS_MAIN(TestCxFileDamage)
#include "tst_cxfile_damage.moc"
