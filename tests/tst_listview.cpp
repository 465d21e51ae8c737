#include "dialogtest.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/records.h"
#include "vault/session.h"
#include "vault/password.h"
#include "ui/catcombo.h"
#include "ui/vxlistview.h"

#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>
#include <QTemporaryDir>

#include <memory>

namespace {

const QColor First(255, 200, 200);
const QColor Second(200, 200, 255);
const QString Lost = "-- CORRUPT RECORD --";

// Written to the file only; the list loads it as the application does.
void addRecord(int category, const QStringList& t, bool encrypted = false)
{
    CRecord r;
    r.category = category;
    r.encrypted = encrypted;
    r.SetDataText(t.value(0), t.value(1), t.value(2), t.value(3), t.value(4), t.value(5), t.value(6));
    r.WriteRecord(false);
}

QStringList cells(const QTreeWidget& list, int column)
{
    QStringList out;
    for (int i = 0; i < list.topLevelItemCount(); ++i)
        out << list.topLevelItem(i)->text(column);
    return out;
}

void tapHeader(CvxListView& list, int section)
{
    QHeaderView* head = list.header();
    QTest::mouseClick(head->viewport(), Qt::LeftButton, {},
                      QPoint(head->sectionViewportPosition(section) + 10, head->height() / 2));
}

// A pixel in column 2 (left empty by the tests), without the current row's tint.
QColor stripeAt(CvxListView& list, int y)
{
    list.setCurrentItem(nullptr);
    return list.viewport()->grab().toImage().pixelColor(20 + 74 + 40, y);
}

class CTapList : public CvxListView
{
public:
    using CvxListView::CvxListView;
    QList<QPair<QTreeWidgetItem*, int>> taps;
    void slotLeftButtonClicked(QTreeWidgetItem* item, const QPoint&, int column) override
    {
        taps.append({item, column});
    }
};

template<class List = CvxListView>
std::unique_ptr<List> shownList(int filter = -1)
{
    auto list = std::make_unique<List>(nullptr);
    list->slotShowFilteredByCategory(filter);
    list->resize(240, 270);
    list->show();
    if (!QTest::qWaitForWindowExposed(list.get()))
        qWarning("list not exposed");
    return list;
}

} // namespace

class TstListView : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;
    int m_files = 0;

private slots:
    void initTestCase() { qputenv("QPEDIR", VX_TEST_SOURCE_DIR); }
    void init()
    {
        m_session = std::make_unique<CSession>(m_dir.filePath(QStringLiteral("l%1.dat").arg(m_files++)));
        QVERIFY(m_session->open());
        _AppCfg->colourOdd = First;
        _AppCfg->colourEven = Second;
    }
    void cleanup() { m_session.reset(); }

    void headersAndRowsFollowFilter_data()
    {
        QTest::addColumn<int>("filter");
        QTest::addColumn<QStringList>("headers");
        QTest::addColumn<QStringList>("rows");
        const QStringList plain = {"C", "Field 1", "Field 2", "Field 3"};
        QTest::newRow("all") << -1 << plain << QStringList{Lost, "a", "b", "w"};
        QTest::newRow("Bank") << 0 << QStringList{"C", "Bank", "Account #", "PIN"} << QStringList{"a", "b"};
        QTest::newRow("no such category") << 500 << plain << QStringList{Lost};
        QTest::newRow("no records") << 5 << QStringList{"C", "Airline", "Name", "Number"} << QStringList{};
    }
    void headersAndRowsFollowFilter()
    {
        QFETCH(int, filter);
        addRecord(0, {"b"});
        addRecord(7, {"w"});
        addRecord(500, {"lost", "x"});
        addRecord(0, {"a"});
        CvxListView list(nullptr);
        list.slotShowFilteredByCategory(filter);
        QStringList headers;
        for (int c = 0; c < 4; ++c)
            headers << list.headerItem()->text(c);
        QTEST(headers, "headers");
        QTEST(cells(list, 1), "rows");
        // A record without its category shows nothing else, and no icon.
        for (int i = 0; i < list.topLevelItemCount(); ++i) {
            const QTreeWidgetItem* row = list.topLevelItem(i);
            QCOMPARE(row->text(2), QString());
            QCOMPARE(row->data(0, Qt::DecorationRole).isNull(), row->text(1) == Lost);
        }
    }

    void sortKeysIgnoreCase_data()
    {
        QTest::addColumn<int>("section");
        QTest::addColumn<QStringList>("ascending");
        QTest::addColumn<QStringList>("descending");
        // Equal keys keep the records' order (Alpha, ALPHA, alpha) either way.
        QTest::newRow("field 1") << 1 << QStringList{"Alpha", "ALPHA", "alpha", "beta"}
                                 << QStringList{"beta", "Alpha", "ALPHA", "alpha"};
        // By category name ignoring case (aardvark, Bank, Computer Login), not
        // by icon name; no category sorts as an empty name.
        QTest::newRow("category") << 0 << QStringList{Lost, "ALPHA", "Alpha", "alpha", "beta"}
                                  << QStringList{"beta", "Alpha", "alpha", "ALPHA", Lost};
    }
    void sortKeysIgnoreCase()
    {
        QFETCH(int, section);
        CCategory aardvark;
        aardvark.id = 50;
        aardvark.name = "aardvark";
        aardvark.icon = "icon_world";
        QVERIFY(aardvark.WriteRecord());
        addRecord(9, {"beta"});
        addRecord(0, {"Alpha"});
        addRecord(50, {"ALPHA"});
        addRecord(0, {"alpha"});
        if (section == 0)
            addRecord(500, {"lost"});
        auto list = shownList();
        if (section != 1) // field 1 is the first sort
            tapHeader(*list, section);
        QTEST(cells(*list, 1), "ascending");
        tapHeader(*list, section);
        QTEST(cells(*list, 1), "descending");
        list->slotShowFilteredByCategory(); // a rebuild keeps the order
        QTEST(cells(*list, 1), "descending");
    }

    // Both "Twin" entries choose the first of them in collection order; a
    // refill puts "All" first and chooses it, leaving the filter alone.
    void comboFiltersByFirstOfAName()
    {
        addRecord(40, {"forty"});
        addRecord(41, {"forty-one"});
        CvxListView list(nullptr);
        for (int id : {40, 41}) {
            auto* c = new CCategory;
            c->id = id;
            c->name = "Twin";
            QVERIFY(list.categories()->InsertSeq(c, true));
        }
        const int firstTwin = list.categories()->find("Twin")->id;
        CCatCombo combo(&list, nullptr, 110);
        for (int i = 1; i < combo.count(); ++i) {
            QTest::keyClick(&combo, Qt::Key_Down);
            if (combo.currentText() == "Twin")
                QCOMPARE(cells(list, 1), QStringList{firstTwin == 40 ? "forty" : "forty-one"});
        }
        QCOMPARE(list.filter(), 7); // "Web Login", the last entry
        combo.refreshList();
        QCOMPARE(combo.currentText(), QString("All"));
        QCOMPARE(list.filter(), 7);
        QTest::keyClick(&combo, Qt::Key_Down);
        QTest::keyClick(&combo, Qt::Key_Home);
        QCOMPARE(list.filter(), -1);
    }

    void stripesFollowTheScreen()
    {
        // No rows: 16-pixel bands from the first colour at the top.
        auto empty = shownList(5);
        QCOMPARE(stripeAt(*empty, 15), First);
        QCOMPARE(stripeAt(*empty, 16), Second);
        QCOMPARE(stripeAt(*empty, 32), First);

        for (int i = 0; i < 40; ++i)
            addRecord(9, {QString("r%1").arg(i, 2, 10, QChar('0'))});
        auto list = shownList();
        const int h = list->visualItemRect(list->topLevelItem(0)).height();
        QCOMPARE(stripeAt(*list, h + 1), Second);
        // A partly scrolled top row and the row below share the first colour.
        list->verticalScrollBar()->setValue(h / 2);
        const int secondTop = h - h / 2;
        QCOMPARE(stripeAt(*list, 0), First);
        QCOMPARE(stripeAt(*list, secondTop + 1), First);
        QCOMPARE(stripeAt(*list, secondTop + h + 1), Second);

        // Below the last row the bands go on where the rows stop.
        for (int i = 0; i < 3; ++i)
            addRecord(3, {"mail"});
        auto few = shownList(3);
        QCOMPARE(stripeAt(*few, 2 * h + 1), First);
        QCOMPARE(stripeAt(*few, 3 * h + 1), Second);
        QCOMPARE(stripeAt(*few, 4 * h + 1), First);
    }

    void columnWidthsAndResize()
    {
        for (int i = 0; i < 40; ++i)
            addRecord(0, {QString("a long first field %1").arg(i), "a long second field", "a long third"});
        auto list = shownList();
        QList<QPair<QSize, QSize>> seen;
        connect(list.get(), &CvxListView::signalResized, this,
                [&seen](QResizeEvent* e) { seen.append({e->size(), e->oldSize()}); });
        list->slotShowFilteredByCategory(0);
        list->resize(300, 150);
        QList<int> widths;
        for (int c = 0; c < 4; ++c)
            widths << list->header()->sectionSize(c);
        QCOMPARE(widths, QList<int>({20, 74, 70, 70}));
        // The whole widget's size, not the viewport's.
        QCOMPARE(seen, (QList<QPair<QSize, QSize>>{{QSize(300, 150), QSize(240, 270)}}));
    }

    void tapsOnRowsOnly()
    {
        addRecord(9, {"one"});
        addRecord(9, {"two"});
        auto list = shownList<CTapList>();
        const QRect second = list->visualItemRect(list->topLevelItem(1));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, QPoint(130, second.center().y()));
        // Holding the pen (a right click) and tapping below the rows do nothing.
        QTest::mouseClick(list->viewport(), Qt::RightButton, {}, QPoint(60, second.center().y()));
        QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, QPoint(60, second.bottom() + 40));
        QCOMPARE(list->taps, (QList<QPair<QTreeWidgetItem*, int>>{{list->topLevelItem(1), 2}}));
    }

    void protectedFieldsFollowLock()
    {
        EncryptAddNewPwd("secret");
        addRecord(0, {"My bank", "12-34", "", "note"}, true);
        addRecord(3, {"Mail", "me", "pw"});
        for (bool locked : {true, false}) {
            _AppCfg->locked = locked;
            CvxListView list(nullptr);
            list.slotShowFilteredByCategory(-1);
            QCOMPARE(cells(list, 2), QStringList({"me", locked ? "******" : "12-34"}));
            QCOMPARE(cells(list, 3), QStringList({"pw", ""}));
        }
    }

    // A new password leaves the data locked: the rebuilt row hides the field.
    void passwordMenuRebuildsTheRows()
    {
        addRecord(0, {"My bank", "12-34"});
        auto list = shownList();
        DialogDriver driver;
        driver.actions.push_back([](QDialog* d) {
            QTest::keyClicks(d->findChild<QLineEdit*>("newPassword"), "abc");
            QTest::keyClicks(d->findChild<QLineEdit*>("confirmPassword"), "abc");
            d->accept();
        });
        list->slotMenuPassWord();
        QCOMPARE(list->topLevelItem(0)->text(2), QString("******"));
    }
};

QTEST_MAIN(TstListView)
#include "tst_listview.moc"
