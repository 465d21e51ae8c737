#include "vault/dlist.h"
#include "vault/indexlist.h"

#include <QtTest>

namespace {

int g_destroyed = 0;

class CountedIndex : public CIndex
{
public:
    explicit CountedIndex(int v) : CIndex(v) {}
    ~CountedIndex() override { ++g_destroyed; }
};

// The values head to tail; a broken back link, tail or count adds -1.
QList<int> Values(const CDList& list)
{
    QList<int> values;
    const CDListNode* last = nullptr;
    for (const CDListNode* n = list.head; n && n->prev == last; last = n, n = n->next)
        values << static_cast<const CIndex*>(n)->value;
    if (list.tail != last || values.size() != list.count)
        values << -1;
    return values;
}

} // namespace

class TestDList : public QObject
{
    Q_OBJECT

private slots:
    void orderedInsert_data()
    {
        QTest::addColumn<QList<int>>("start");
        QTest::addColumn<int>("value");
        QTest::addColumn<bool>("allowDuplicate");
        QTest::addColumn<QList<int>>("result");
        QTest::newRow("after the only node") << QList<int>{5} << 7 << false << QList<int>{5, 7};
        QTest::newRow("new head") << QList<int>{5} << 2 << false << QList<int>{2, 5};
        QTest::newRow("middle") << QList<int>{1, 4, 9} << 6 << false << QList<int>{1, 4, 6, 9};
        QTest::newRow("middle, equal refused") << QList<int>{1, 4, 9} << 4 << false << QList<int>{1, 4, 9};
        QTest::newRow("duplicate after its equal") << QList<int>{5, 3, 9} << 3 << true << QList<int>{3, 3, 5, 9};
    }
    void orderedInsert()
    {
        QFETCH(QList<int>, start);
        QFETCH(int, value);
        QFETCH(bool, allowDuplicate);
        QFETCH(QList<int>, result);
        CIndexList list;
        for (int v : start)
            QVERIFY(list.InsertSeq(new CIndex(v), allowDuplicate));
        auto* node = new CIndex(value);
        const bool inserted = result.size() > start.size();
        QCOMPARE(list.InsertSeq(node, allowDuplicate), inserted);
        QCOMPARE(Values(list), result);
        if (inserted && start.contains(value))
            QVERIFY(node->prev && static_cast<CIndex*>(node->prev)->value == value);
        if (!inserted)
            delete node; // a refused node stays the caller's
        QVERIFY(!list.InsertSeq(nullptr, true));
    }

    // Both directions, the tail and the count stay consistent through every
    // kind of change; unlinking a node that is not linked here changes
    // nothing; Delete and the destructor free what they drop.
    void appendUnlinkDelete()
    {
        g_destroyed = 0;
        {
            CIndexList list;
            CIndex stray(1);
            list.Unlink(&stray);
            list.Unlink(nullptr);
            CIndex* n[] = {new CIndex(30), new CountedIndex(10), new CIndex(20), new CountedIndex(40)};
            for (CIndex* node : n)
                list.Append(node); // insertion order, not sorted
            list.Append(nullptr);
            QCOMPARE(Values(list), (QList<int>{30, 10, 20, 40}));
            list.Unlink(n[2]); // middle
            list.Unlink(n[2]); // no longer linked, though its own links still point in
            list.Unlink(n[0]); // head
            QCOMPARE(Values(list), (QList<int>{10, 40}));
            list.Append(n[2]);
            list.Append(n[0]);
            list.Delete(n[1]); // head
            list.Delete(n[0]); // tail
            list.Delete(nullptr);
            QCOMPARE(g_destroyed, 1);
            QCOMPARE(Values(list), (QList<int>{40, 20}));
            list.DeleteAll();
            list.DeleteAll();
            QCOMPARE(g_destroyed, 2);
            QCOMPARE(Values(list), QList<int>{});
            list.Append(new CountedIndex(20)); // usable again after emptying
            QVERIFY(list.InsertSeq(new CountedIndex(40), false));
            QCOMPARE(Values(list), (QList<int>{20, 40}));
        }
        QCOMPARE(g_destroyed, 4); // the destructor deletes what is left
    }
};

QTEST_GUILESS_MAIN(TestDList)
#include "tst_dlist.moc"
