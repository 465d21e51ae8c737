#include "cxfiletest.h"

#include <QTemporaryDir>
#include <QtTest>

using Keys = QList<qint32>;

class TestCxFileSplit : public QObject
{
    Q_OBJECT

private slots:
    // ops: positive keys are added, negative ones deleted; the last one
    // splits the only index block (at 36). Expected: the keys of the two
    // blocks in chain order, their bounds, and whether the old block is first.
    void split_data()
    {
        QTest::addColumn<unsigned>("blockSize");
        QTest::addColumn<Keys>("ops");
        QTest::addColumn<Keys>("first");
        QTest::addColumn<Keys>("second");
        QTest::addColumn<Keys>("bounds");
        QTest::addColumn<bool>("oldFirst");
        // Ascending: the new block goes after the full one and takes its
        // last half plus the new key (4 + 5 at 128 bytes).
        for (unsigned blockSize : {64u, 128u, 256u, 512u}) {
            const int capacity = CxLayout::capacity(int(blockSize)), kept = capacity - capacity / 2;
            Keys ops;
            for (int key = 1001; key <= 1001 + capacity; ++key)
                ops << key;
            QTest::addRow("ascending %u", blockSize) << blockSize << ops << ops.mid(0, kept) << ops.mid(kept)
                                                     << Keys{1001, 1000 + kept, 1001 + kept, 1001 + capacity} << true;
        }
        // Descending: the new block becomes the first and takes the first
        // half plus the new key.
        QTest::newRow("descending") << 128u << Keys{1009, 1008, 1007, 1006, 1005, 1004, 1003, 1002, 1001}
                                    << Keys{1001, 1002, 1003, 1004, 1005} << Keys{1006, 1007, 1008, 1009}
                                    << Keys{1001, 1005, 1006, 1009} << false;
        // Deletion leaves the bounds wider than the entries. A key in that
        // slack below or above every entry must split the block in halves on
        // its own side instead of moving none or all of the entries.
        QTest::newRow("below every entry") << 128u << Keys{5, 10, 20, 30, 40, 50, 60, 70, -5, 80, 7}
                                           << Keys{7, 10, 20, 30, 40} << Keys{50, 60, 70, 80}
                                           << Keys{5, 40, 50, 80} << false;
        QTest::newRow("above every entry") << 128u << Keys{10, 20, 30, 40, 50, 60, 70, 95, -95, 80, 90}
                                           << Keys{10, 20, 30, 40} << Keys{50, 60, 70, 80, 90}
                                           << Keys{10, 40, 50, 95} << true;
    }
    void split()
    {
        QFETCH(unsigned, blockSize);
        QFETCH(Keys, ops);
        QFETCH(Keys, first);
        QFETCH(Keys, second);
        QFETCH(Keys, bounds);
        QFETCH(bool, oldFirst);
        QTemporaryDir dir;
        const QString path = dir.filePath("split.dat");
        QuietFile file;
        QCOMPARE(file.Create(path.toLocal8Bit().constData(), blockSize, 1, 0), 0);
        for (qint32 op : ops)
            QVERIFY(op > 0 ? file.AddRecord(op, "r", 1) : file.FindRecord(-op) && file.DeleteRecord());

        // The new key is current and the cursor runs on in key order, so the
        // block left in the buffer is the one that got it.
        const Keys all = first + second;
        for (qsizetype i = all.indexOf(ops.last()); i < all.size(); ++i) {
            QCOMPARE(currentKey(file), all[i]);
            QCOMPARE(file.FindNextRecord(), i + 1 < all.size());
        }
        // Every key stays findable from either block; deleted ones are gone.
        for (qint32 key : all)
            QVERIFY2(file.FindRecord(key) && file.FindRecord(all.first()), qPrintable(QString::number(key)));
        for (qint32 op : ops)
            QVERIFY(op > 0 || !file.FindRecord(-op));
        file.Close();

        const QByteArray b = fileBytes(path);
        QCOMPARE(structureProblem(b), QString());
        const qint32 head = le32(b, HdFirstIndex), tail = le32(b, head + IxNext);
        QCOMPARE((QList<Keys>{indexKeys(b, head), indexKeys(b, tail)}), (QList<Keys>{first, second}));
        QCOMPARE((Keys{le32(b, head + IxLowest), le32(b, head + IxHighest), le32(b, tail + IxLowest),
                       le32(b, tail + IxHighest)}),
                 bounds);
        QCOMPARE((Keys{le32(b, tail + IxNext), oldFirst ? head : tail}), (Keys{-1, HeaderSize}));
    }
};

QTEST_GUILESS_MAIN(TestCxFileSplit)
#include "tst_cxfile_split.moc"
