#include "model/dlist.h"
#include "model/indexlist.h"

#include <QList>
#include <QtTest>

namespace {

int g_destroyed = 0;

class CountedIndex : public CIndex
{
public:
    explicit CountedIndex(int v) : CIndex(v) {}
    ~CountedIndex() override { ++g_destroyed; }
};

// The values head to tail, after checking every back link, the tail and the
// count.
QList<int> Values(const CDList& list)
{
    QList<int> forward;
    const CDListNode* last = nullptr;
    for (const CDListNode* n = list.head; n; n = n->next) {
        if (n->prev != last)
            return {-1000}; // broken back link
        forward << static_cast<const CIndex*>(n)->value;
        last = n;
    }
    if (list.tail != last || forward.size() != list.count)
        return {-2000}; // tail or count out of step
    return forward;
}

} // namespace

class TestDList : public QObject
{
    Q_OBJECT

private slots:
    void init() { g_destroyed = 0; }
    void orderedInsert_data();
    void orderedInsert();
    void appendUnlinkDelete();
    void ownership();
};

void TestDList::orderedInsert_data()
{
    QTest::addColumn<QList<int>>("start");
    QTest::addColumn<int>("value");
    QTest::addColumn<bool>("allowDuplicate");
    QTest::addColumn<bool>("inserted");
    QTest::addColumn<QList<int>>("result");

    QTest::newRow("into empty") << QList<int>{} << 4 << false << true << QList<int>{4};
    QTest::newRow("one node, greater") << QList<int>{5} << 7 << false << true << QList<int>{5, 7};
    QTest::newRow("one node, smaller") << QList<int>{5} << 2 << false << true << QList<int>{2, 5};
    QTest::newRow("one node, equal refused") << QList<int>{5} << 5 << false << false << QList<int>{5};
    QTest::newRow("one node, equal allowed") << QList<int>{5} << 5 << true << true << QList<int>{5, 5};
    QTest::newRow("middle") << QList<int>{1, 4, 9} << 6 << false << true << QList<int>{1, 4, 6, 9};
    QTest::newRow("new head") << QList<int>{1, 4, 9} << -3 << false << true << QList<int>{-3, 1, 4, 9};
    QTest::newRow("new tail") << QList<int>{1, 4, 9} << 12 << false << true << QList<int>{1, 4, 9, 12};
    QTest::newRow("5 3 9 3, no duplicates") << QList<int>{5, 3, 9} << 3 << false << false
                                            << QList<int>{3, 5, 9};
    QTest::newRow("5 3 9 3, duplicates") << QList<int>{5, 3, 9} << 3 << true << true
                                         << QList<int>{3, 3, 5, 9};
}

void TestDList::orderedInsert()
{
    QFETCH(QList<int>, start);
    QFETCH(int, value);
    QFETCH(bool, allowDuplicate);
    QFETCH(bool, inserted);
    QFETCH(QList<int>, result);

    CIndexList list;
    for (int v : start)
        QVERIFY(list.InsertSeq(new CIndex(v), allowDuplicate));
    auto* node = new CountedIndex(value);
    QCOMPARE(list.InsertSeq(node, allowDuplicate), inserted);
    QCOMPARE(Values(list), result);
    if (inserted && start.contains(value)) // a duplicate goes after its equal
        QVERIFY(node->prev && static_cast<CIndex*>(node->prev)->value == value);
    if (!inserted) {
        // A refused node stays the caller's and is untouched by the list.
        QVERIFY(!node->prev && !node->next);
        delete node;
    }
    QVERIFY(!list.InsertSeq(nullptr, true));
    QCOMPARE(list.count, result.size());
}

void TestDList::appendUnlinkDelete()
{
    CIndexList list;

    // Unlink on an empty list, and of nodes that are not linked here.
    CIndex stray(1);
    list.Unlink(&stray);
    list.Unlink(nullptr);
    QCOMPARE(list.count, 0);
    QVERIFY(!list.head && !list.tail);

    // Append keeps insertion order, ignoring the comparison.
    list.Append(nullptr);
    CIndex* a = new CIndex(30);
    CIndex* b = new CountedIndex(10);
    CIndex* c = new CIndex(20);
    CIndex* d = new CountedIndex(40);
    for (CIndex* n : {a, b, c, d})
        list.Append(n);
    QCOMPARE(Values(list), (QList<int>{30, 10, 20, 40}));

    // Middle, head and tail unlinks keep both directions consistent; the
    // node keeps its own links and is not deleted.
    list.Unlink(c);
    QCOMPARE(Values(list), (QList<int>{30, 10, 40}));
    QCOMPARE(c->prev, b);
    QCOMPARE(c->next, d);
    list.Unlink(c); // already out: no change
    QCOMPARE(Values(list), (QList<int>{30, 10, 40}));
    list.Unlink(a);
    QCOMPARE(Values(list), (QList<int>{10, 40}));
    list.Append(c);
    list.Append(a);
    QCOMPARE(Values(list), (QList<int>{10, 40, 20, 30}));

    list.Delete(b);
    list.Delete(d);
    QCOMPARE(g_destroyed, 2);
    QCOMPARE(Values(list), (QList<int>{20, 30}));
    list.Delete(nullptr);
    list.Unlink(c);
    list.Unlink(a);
    QCOMPARE(list.count, 0);
    QVERIFY(!list.head && !list.tail);
    list.Unlink(a);
    QCOMPARE(list.count, 0);

    // Usable again after emptying.
    list.Append(a);
    QVERIFY(list.InsertSeq(c, false));
    QCOMPARE(Values(list), (QList<int>{20, 30}));
}

void TestDList::ownership()
{
    {
        CIndexList list;
        for (int v : {3, 1, 2})
            list.InsertSeq(new CountedIndex(v), false);
        list.Append(new CountedIndex(0));
    }
    QCOMPARE(g_destroyed, 4);

    g_destroyed = 0;
    CIndexList list;
    for (int v : {1, 2, 3})
        list.Append(new CountedIndex(v));
    list.DeleteAll();
    QCOMPARE(g_destroyed, 3);
    QCOMPARE(Values(list), QList<int>{});
    list.DeleteAll();
    QCOMPARE(g_destroyed, 3);
}

QTEST_GUILESS_MAIN(TestDList)
#include "tst_dlist.moc"
