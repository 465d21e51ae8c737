#include "dialogtest.h"
#include "ui/rowcolour.h"

#include "ui/catcombo.h"
#include "ui/vxlistview.h"

#include <QHeaderView>
#include <QScrollBar>

namespace {

const QColor First(255, 200, 200);
const QColor Second(200, 200, 255);
const QString Lost = "-- CORRUPT RECORD --";
// The category that add() gives a record the file holds no category for.
constexpr int Gone = 777;

void tapHeader(CvxListView& list, int section)
{
    QHeaderView* head = list.header();
    QTest::mouseClick(head->viewport(), Qt::LeftButton, {},
                      QPoint(head->sectionViewportPosition(section) + 10, head->height() / 2));
}

// A pixel in column 2 (left empty by the tests), without the current row's tint.
QColor stripeAt(CvxListView& list, int y)
{
    list.setCurrentIndex(QModelIndex());
    return list.viewport()->grab().toImage().pixelColor(20 + 74 + 40, y);
}

} // namespace

class TstListView : public DialogTestCase
{
    Q_OBJECT

    // Gone: a record whose category the file has lost.
    void add(int category, const QStringList& t)
    {
        if (category == Gone) {
            QVERIFY(addOrphan(vault(), 5000, t));
            QVERIFY(m_tv->open());
        } else {
            QVERIFY(addRecord(vault(), category, t) >= 0);
        }
    }
    // Many records in one change.
    void addMany(const QString& category, int count, const QString& first)
    {
        QVector<CVault::ImportRow> rows(count);
        for (int i = 0; i < count; ++i) {
            rows[i].category = category;
            rows[i].texts[0] = first.arg(i, 2, 10, QChar('0'));
        }
        int added = 0;
        QVERIFY(vault().importRows(rows, QString(), &added, nullptr).ok());
        QCOMPARE(added, count);
    }

    std::unique_ptr<CvxListView> shownList(int filter = -1)
    {
        auto list = std::make_unique<CvxListView>(vault(), nullptr);
        list->slotShowFilteredByCategory(filter);
        list->resize(240, 270);
        list->show();
        if (!QTest::qWaitForWindowExposed(list.get()))
            qWarning("list not exposed");
        return list;
    }

private slots:
    void initTestCase() { qputenv("QPEDIR", VX_TEST_SOURCE_DIR); }
    void init()
    {
        DialogTestCase::init();
        editSettings(vault(), [](CvxConfig& c) {
            c.colourOdd = RowColour::FromQColor(First);
            c.colourEven = RowColour::FromQColor(Second);
        });
    }

    void headersAndRowsFollowFilter_data()
    {
        QTest::addColumn<int>("filter");
        QTest::addColumn<QStringList>("headers");
        QTest::addColumn<QStringList>("rows");
        const QStringList plain = {"C", "Field 1", "Field 2", "Field 3"};
        QTest::newRow("all") << -1 << plain << QStringList{Lost, "a", "b", "w"};
        QTest::newRow("Bank") << 0 << QStringList{"C", "Bank", "Account #", "PIN"} << QStringList{"a", "b"};
        QTest::newRow("no such category") << Gone << plain << QStringList{Lost};
        QTest::newRow("no records") << 5 << QStringList{"C", "Airline", "Name", "Number"} << QStringList{};
    }
    void headersAndRowsFollowFilter()
    {
        QFETCH(int, filter);
        add(0, {"b"});
        add(7, {"w"});
        add(Gone, {"lost", "x"});
        add(0, {"a"});
        CvxListView list(vault(), nullptr);
        list.slotShowFilteredByCategory(filter);
        QStringList headers;
        for (int c = 0; c < 4; ++c)
            headers << list.model()->headerData(c, Qt::Horizontal).toString();
        QTEST(headers, "headers");
        QTEST(cells(list, 1), "rows");
        // A record without its category shows nothing else, and no icon.
        const QAbstractItemModel* rows = list.model();
        for (int i = 0; i < rows->rowCount(); ++i) {
            QCOMPARE(rows->index(i, 2).data().toString(), QString());
            QCOMPARE(rows->index(i, 0).data(Qt::DecorationRole).isNull(), rows->index(i, 1).data() == Lost);
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
        aardvark.name = "aardvark";
        aardvark.icon = "icon_world";
        int aardvarkId = -1;
        QVERIFY(vault().addCategory(aardvark, &aardvarkId).ok());
        add(9, {"beta"});
        add(0, {"Alpha"});
        add(aardvarkId, {"ALPHA"});
        add(0, {"alpha"});
        if (section == 0)
            add(Gone, {"lost"});
        auto list = shownList();
        if (section != 1) // field 1 is the first sort
            tapHeader(*list, section);
        QTEST(cells(*list, 1), "ascending");
        tapHeader(*list, section);
        QTEST(cells(*list, 1), "descending");
        list->slotShowFilteredByCategory(); // a rebuild keeps the order
        QTEST(cells(*list, 1), "descending");
    }

    // Each entry filters by its category; a refill puts "All" first and
    // chooses it, leaving the filter alone.
    void comboFilters()
    {
        add(3, {"mail"});
        add(7, {"web"});
        CvxListView list(vault(), nullptr);
        CCatCombo combo(&list, nullptr, 110);
        for (int i = 1; i < combo.count(); ++i) {
            QTest::keyClick(&combo, Qt::Key_Down);
            const CCategory* shown = vault().categories().byId(list.filter());
            QVERIFY(shown);
            QCOMPARE(shown->name, combo.currentText());
        }
        QCOMPARE(list.filter(), 7); // "Web Login", the last entry
        QCOMPARE(cells(list, 1), QStringList{"web"});
        combo.refreshList();
        QCOMPARE(combo.currentText(), QString("All"));
        QCOMPARE(list.filter(), 7);
        QTest::keyClick(&combo, Qt::Key_Down);
        QTest::keyClick(&combo, Qt::Key_Home);
        QCOMPARE(list.filter(), -1);
        QCOMPARE(cells(list, 1), (QStringList{"mail", "web"}));
    }

    void stripesFollowTheScreen()
    {
        // No rows: 16-pixel bands from the first colour at the top.
        auto empty = shownList(5);
        QCOMPARE(stripeAt(*empty, 15), First);
        QCOMPARE(stripeAt(*empty, 16), Second);
        QCOMPARE(stripeAt(*empty, 32), First);

        addMany("Computer Login", 40, "r%1");
        auto list = shownList();
        const int h = list->visualRect(list->model()->index(0, 0)).height();
        QCOMPARE(stripeAt(*list, h + 1), Second);
        // A partly scrolled top row and the row below share the first colour.
        list->verticalScrollBar()->setValue(h / 2);
        const int secondTop = h - h / 2;
        QCOMPARE(stripeAt(*list, 0), First);
        QCOMPARE(stripeAt(*list, secondTop + 1), First);
        QCOMPARE(stripeAt(*list, secondTop + h + 1), Second);

        // Below the last row the bands go on where the rows stop.
        addMany("Email", 3, "mail%1");
        auto few = shownList(3);
        QCOMPARE(stripeAt(*few, 2 * h + 1), First);
        QCOMPARE(stripeAt(*few, 3 * h + 1), Second);
        QCOMPARE(stripeAt(*few, 4 * h + 1), First);
    }

    // The resize announced is the whole widget's, not the viewport's.
    void resizeAnnounced()
    {
        auto list = shownList();
        QList<QPair<QSize, QSize>> seen;
        connect(list.get(), &CvxListView::signalResized, this,
                [&seen](QResizeEvent* e) { seen.append({e->size(), e->oldSize()}); });
        list->resize(300, 150);
        QCOMPARE(seen, (QList<QPair<QSize, QSize>>{{QSize(300, 150), QSize(240, 270)}}));
    }
};

QTEST_MAIN(TstListView)
#include "tst_listview.moc"
