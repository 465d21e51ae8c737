#include "cxfiletest.h"

#include <QFileInfo>
#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

namespace {

// Words to overwrite: offset and new value.
using Edits = QList<QPair<qint32, qint32>>;

// Reads the current entry the way callers do: size first, then a buffer of
// exactly that size, so any overrun shows under AddressSanitizer. No size
// may be longer than the file, whatever its index says.
void readEntry(CxFile& file, const QString& path)
{
    const qint64 fileSize = QFileInfo(path).size();
    int32_t key = 0, size = -1, got = -1;
    file.ReadRecordKey(key);
    if (!file.ReadRecordSize(size))
        return;
    QVERIFY2(size >= 0 && size <= fileSize, qPrintable(QString("size %1").arg(size)));
    QByteArray buffer(size, '\0');
    QVERIFY(file.ReadRecord(buffer.data(), got) && got >= 0 && got <= size);
}

} // namespace

class TestCxFileDamage : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_path;
    QByteArray m_valid;

    // Every operation on the damaged file: results may be wrong, but each
    // call must end and stay inside its buffers.
    void exercise(const QByteArray& bytes, quint32 seed)
    {
        QFile raw(m_path);
        QVERIFY(raw.open(QIODevice::WriteOnly | QIODevice::Truncate) && raw.write(bytes) == bytes.size());
        raw.close();
        QuietFile file;
        if (file.Open(m_path.toLocal8Bit().constData()) != 0)
            return;
        QRandomGenerator rng(seed);
        for (int pass = 0; pass < 2; ++pass) {
            int steps = 0;
            for (bool more = file.FindFirstRecord(); more && steps < 100000; more = file.FindNextRecord(), ++steps)
                readEntry(file, m_path);
            QVERIFY2(steps < 100000, "walk did not end");
            file.FindNextRecord();
            readEntry(file, m_path);
            if (file.FindLastRecord())
                readEntry(file, m_path);
            for (int i = 0; i < 12; ++i) {
                if (file.FindRecord(int32_t(rng.bounded(60)) - 5))
                    readEntry(file, m_path);
            }
            const QByteArray data(int(rng.bounded(200)), 'w');
            for (int i = 0; i < 6 && pass == 0; ++i) {
                if (!file.AddRecord(int32_t(rng.bounded(60)) - 5, data.constData(), int32_t(data.size())))
                    file.UpdateRecord(data.constData(), int32_t(data.size()) / 2);
                if (file.FindRecord(int32_t(rng.bounded(60))))
                    file.DeleteRecord();
            }
        }
    }

private slots:
    // Two index blocks, multi-block records and a free list.
    void initTestCase()
    {
        m_path = m_dir.filePath("damaged.dat");
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 64, 1, 0), 0);
        for (int key = 0; key < 40; ++key) {
            const QByteArray data((key * 37) % 150, char('a' + key % 26));
            QVERIFY(file.AddRecord(key, data.constData(), int32_t(data.size())));
        }
        for (int key = 0; key < 40; key += 5)
            QVERIFY(file.FindRecord(key) && file.DeleteRecord());
        file.Close();
        m_valid = fileBytes(m_path);
    }

    void crafted_data()
    {
        QTest::addColumn<Edits>("edits");
        const qint32 first = le32(m_valid, HdFirstIndex), second = le32(m_valid, first + IxNext);
        const qint32 entry0 = first + entryAt(0);
        const qint32 data = le32(m_valid, entry0 + EnFirst), freeHead = le32(m_valid, HdFreeHead);
        QVERIFY(second > 0 && data > 0 && freeHead > 0);
        const struct { const char* field; qint32 at; QList<qint32> values; } fields[] = {
            {"block size", HdBlockSize, {0, 1 << 30, 100}},
            {"first index", HdFirstIndex, {0x7fffff00, -7, 37, 20, qint32(m_valid.size()) - 10}},
            {"free head", HdFreeHead, {0x7ffffff0, 39}},
            {"next index", first + IxNext, {first, 0x7ffffff0, 0}},
            {"second next index", second + IxNext, {first}},
            {"count", first + IxCount, {1000, -5}},
            {"data offset", entry0 + EnFirst, {0x7ffffff0, 37}},
            {"length", entry0 + EnLength, {-5, 0x7fffffff, qint32(m_valid.size()) - HeaderSize + 1, 5000}},
            {"used", data + DbUsed, {0x7fffffff, -100}},
            {"free link", freeHead + FrNext, {freeHead}},
        };
        for (const auto& f : fields) {
            for (qint32 value : f.values)
                QTest::addRow("%s %d", f.field, value) << Edits{{f.at, value}};
        }
        // A lowest key above every key sends lookups back along the loop.
        QTest::newRow("previous links loop") << Edits{{first + IxPrev, second}, {first + IxLowest, 1000}};
        QTest::newRow("data chain loops") << Edits{{data + DbNext, data}, {entry0 + EnLength, 100000}};
    }
    void crafted()
    {
        QFETCH(Edits, edits);
        QByteArray bytes = m_valid;
        for (const auto& [at, value] : edits)
            qToLittleEndian<qint32>(value, bytes.data() + at);
        for (quint32 seed = 0; seed < 8 && !QTest::currentTestFailed(); ++seed)
            exercise(bytes, seed);
    }
};

QTEST_GUILESS_MAIN(TestCxFileDamage)
#include "tst_cxfile_damage.moc"
