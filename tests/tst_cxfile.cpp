#include "cxfiletest.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

#include <map>

class TestCxFile : public QObject
{
    Q_OBJECT

private slots:
    void init() { QVERIFY(m_dir.isValid()); m_path = m_dir.filePath("t.dat"); QFile::remove(m_path); }

    void openResults()
    {
        const QByteArray path = m_path.toLocal8Bit();
        QuietFile file;
        QCOMPARE(file.Open(path.constData()), -1);
        QCOMPARE(file.Open(m_dir.path().toLocal8Bit().constData()), -2);
        QFile raw(m_path);
        QVERIFY(raw.open(QIODevice::WriteOnly));
        raw.write(QByteArray("Vaultix0001\0\0\0\0\0", 16) + QByteArray(4, '\0'));
        raw.close();
        QCOMPARE(file.Open(path.constData()), -3);

        QCOMPARE(CxFile("Other0001").Create(path.constData(), 128, 1, 0), 0);
        QCOMPARE(file.Open(path.constData()), -3);
        QVERIFY(!file.isOpen() && !file.FindFirstRecord() && !file.AddRecord(1, "x", 1));

        QCOMPARE(file.Create(path.constData(), 128, 1, 0), 0);
        QVERIFY(!file.FindFirstRecord() && !file.FindRecord(0) && !file.FindLastRecord());
        file.Close();
        QCOMPARE(file.Open(path.constData()), 0);
    }

    // A known sequence must give exactly this layout.
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
        QCOMPARE(indexKeys(b, 2468), (QList<qint32>{0, 100, 101, 102, 103, 104, 105, 106}));
        QCOMPARE(indexKeys(b, 36), (QList<qint32>{107, 108, 109, 110, 111, 112, 1000}));
        // First index block, its next link; bounds and next link of the second.
        QCOMPARE((QList<qint32>{le32(b, HdFirstIndex), le32(b, 2468 + IxNext), le32(b, 36 + IxLowest),
                                le32(b, 36 + IxHighest), le32(b, 36 + IxNext)}),
                 (QList<qint32>{2468, 36, 107, 1000, -1}));
        QCOMPARE(structureProblem(b), QString());

        // A delete from the full block moves the later entries down by one
        // and leaves the slot after them, and the padding, as they were.
        QByteArray expected = b.mid(2468, 128);
        expected.replace(entryAt(1), 6 * IndexEntrySize, expected.mid(entryAt(2), 6 * IndexEntrySize));
        qToLittleEndian<qint32>(7, expected.data() + IxCount);
        QCOMPARE(file.Open(m_path.toLocal8Bit().constData()), 0);
        QVERIFY(file.FindRecord(100) && file.DeleteRecord());
        QCOMPARE(fileBytes(m_path).mid(2468, 128).toHex(' '), expected.toHex(' '));
    }

    // 300 bytes take 116 + 116 + 68, 232 bytes two full blocks, an empty
    // record one block.
    void dataChains()
    {
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 128, 1, 0), 0);
        for (int size : {232, 0, 300})
            QVERIFY(file.AddRecord(size, pattern(size, size).constData(), size));
        QByteArray b = fileBytes(m_path);
        QCOMPARE(b.size(), HeaderSize + 7 * 128);
        // The third entry of the one index block, at the file's first block.
        const qint64 third = HeaderSize + entryAt(2);
        QList<qint32> used, chain;
        for (qint32 d = le32(b, third + EnFirst); d > 0; d = le32(b, d + DbNext)) {
            chain << d;
            used << le32(b, d + DbUsed);
        }
        QCOMPARE(used, (QList<qint32>{116, 116, 68}));
        for (int size : {232, 0, 300}) {
            QVERIFY(file.FindRecord(size));
            QCOMPARE(readCurrent(file), pattern(size, size));
        }

        // Shorter rewrite: the surplus goes on the free list, the next
        // allocation takes the most recently freed block, nothing shrinks.
        QVERIFY(file.UpdateRecord(pattern(10, 9).constData(), 10));
        QCOMPARE(readCurrent(file), pattern(10, 9));
        b = fileBytes(m_path);
        QCOMPARE((QList<qint32>{qint32(b.size()), le32(b, third + EnFirst), le32(b, HdFreeHead),
                                le32(b, chain[1] + FrNext)}),
                 (QList<qint32>{HeaderSize + 7 * 128, chain[2], chain[1], chain[0]}));
        QVERIFY(file.AddRecord(400, "abc", 3));
        b = fileBytes(m_path);
        QCOMPARE(le32(b, HeaderSize + entryAt(3) + EnFirst), chain[1]);
        QCOMPARE(structureProblem(b), QString());
    }

    // One past the end, and after a failed lookup, nothing is current.
    void cursor()
    {
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 64, 1, 0), 0);
        for (int key : {30, 10, 20, 40, 50})
            QVERIFY(file.AddRecord(key, "v", 1));
        QVERIFY(file.FindRecord(40) && file.FindNextRecord());
        QCOMPARE(currentKey(file), 50);
        QVERIFY(!file.FindNextRecord() && !file.FindNextRecord());
        QCOMPARE(currentKey(file), INT_MIN);
        QVERIFY(!file.UpdateRecord("x", 1) && !file.DeleteRecord() && !file.FindRecord(45));
        QCOMPARE(currentKey(file), INT_MIN);
    }

    // Emptying a block frees it and unlinks it; emptying the file leaves no
    // index block, and the file takes records again.
    void deletion()
    {
        QuietFile file;
        QCOMPARE(file.Create(m_path.toLocal8Bit().constData(), 64, 1, 0), 0);
        for (int key = 1; key <= 4; ++key) // capacity 3: blocks {1,2} {3,4}
            QVERIFY(file.AddRecord(key, "v", 1));
        QByteArray b = fileBytes(m_path);
        const qint32 firstBlock = le32(b, HdFirstIndex);
        const qint32 secondBlock = le32(b, firstBlock + IxNext);
        QCOMPARE(indexKeys(b, secondBlock), (QList<qint32>{3, 4}));

        QVERIFY(file.FindRecord(2) && file.DeleteRecord());
        QCOMPARE(currentKey(file), 1);
        QVERIFY(file.FindRecord(1) && file.DeleteRecord());
        b = fileBytes(m_path);
        QCOMPARE((QList<qint32>{le32(b, HdFirstIndex), le32(b, secondBlock + IxPrev), le32(b, HdFreeHead)}),
                 (QList<qint32>{secondBlock, -1, firstBlock}));
        QCOMPARE(structureProblem(b), QString());

        QVERIFY(file.FindRecord(3) && file.DeleteRecord() && file.FindRecord(4) && file.DeleteRecord());
        QVERIFY(!file.FindFirstRecord());
        b = fileBytes(m_path);
        QCOMPARE(le32(b, HdFirstIndex), -1);
        QCOMPARE(structureProblem(b), QString());
        QVERIFY(file.AddRecord(9, "again", 5) && file.FindRecord(9));
        QCOMPARE(readCurrent(file), QByteArray("again"));
    }

    // Random adds, rewrites, deletes and lookups against a map, reopening
    // the file between rounds; the bytes the engine reads from must be the
    // file's, byte for byte.
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
        const QByteArray path = m_path.toLocal8Bit();
        QuietFile file;
        QCOMPARE(file.Create(path.constData(), unsigned(blockSize), 1, 0), 0);
        for (int round = 0; round < 6; ++round) {
            for (int i = 0; i < 700; ++i) {
                const int32_t key = int32_t(rng.bounded(keyRange)) - keyRange / 4;
                const bool present = model.count(key) != 0;
                const int op = int(rng.bounded(10));
                if (op < 5) {
                    const QByteArray& data = model[key] = pattern(int(i * 37 % (i % 4 ? 150 : 700)), quint32(i));
                    QCOMPARE(file.AddRecord(key, data.constData(), int32_t(data.size())), !present);
                    if (present)
                        QVERIFY(file.UpdateRecord(data.constData(), int32_t(data.size())));
                } else {
                    QCOMPARE(file.FindRecord(key), present);
                    if (present && op < 8)
                        QVERIFY(file.DeleteRecord());
                    else if (present)
                        QCOMPARE(readCurrent(file), model[key]);
                }
                if (op >= 5 && op < 8)
                    model.erase(key);
            }
            QVERIFY(QByteArray(reinterpret_cast<const char*>(file.bytes()), file.size()) == fileBytes(m_path));
            file.Close();
            QCOMPARE(structureProblem(fileBytes(m_path)), QString());
            QCOMPARE(file.Open(path.constData()), 0);

            auto it = model.begin();
            for (bool more = file.FindFirstRecord(); more; more = file.FindNextRecord(), ++it) {
                QVERIFY(it != model.end());
                QCOMPARE(currentKey(file), it->first);
                QCOMPARE(readCurrent(file), it->second);
            }
            QVERIFY(it == model.end());
            QCOMPARE(file.FindLastRecord(), !model.empty());
            if (!model.empty())
                QCOMPARE(currentKey(file), model.rbegin()->first);
        }
    }

private:
    QTemporaryDir m_dir;
    QString m_path;
};

QTEST_GUILESS_MAIN(TestCxFile)
#include "tst_cxfile.moc"
