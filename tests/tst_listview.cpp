#include "dialogtest.h"

#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/categories.h"
#include "model/records.h"
#include "model/session.h"
#include "security/password.h"
#include "ui/catcombo.h"
#include "ui/vxlistview.h"
#include "ui/vxlistviewitem.h"

#include <QHeaderView>
#include <QLineEdit>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

namespace {

const QColor First(255, 200, 200);
const QColor Second(200, 200, 255);
const QStringList FieldHeaders = {"C", "Field 1", "Field 2", "Field 3"};

// Records every tap that reaches the row slot.
class CTapList : public CvxListView
{
public:
    using CvxListView::CvxListView;
    struct Tap { QTreeWidgetItem* item; int column; };
    QList<Tap> taps;
    void slotLeftButtonClicked(QTreeWidgetItem* item, const QPoint&, int column) override
    {
        taps.append({item, column});
    }
};

} // namespace

// Stands in for the main window, whose two slots the list connects by name.
class CFakeWindow : public QWidget
{
    Q_OBJECT
public:
    int lockIcon = 0;
    int categoryCombo = 0;
public slots:
    void slotUpdateLockIcon() { ++lockIcon; }
    void slotUpdateCategoryCombo() { ++categoryCombo; }
};

class TstListView : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;
    int m_files = 0;

    // Written to the file only; the list loads it like the application does.
    static void addRecord(int category, const QStringList& t, bool encrypted = false)
    {
        CRecord r;
        r.category = category;
        r.encrypted = encrypted;
        r.SetDataText(t.value(0), t.value(1), t.value(2), t.value(3), t.value(4), t.value(5), t.value(6));
        r.WriteRecord(false);
    }

    static void addCategory(int id, const QString& name, const QString& icon)
    {
        CCategory c;
        c.id = id;
        c.name = name;
        c.icon = icon;
        c.labels[0] = name + " 1";
        QVERIFY(c.WriteRecord());
    }

    static std::unique_ptr<CvxListView> shownList(int filter = -1, QSize size = QSize(240, 270))
    {
        auto list = std::make_unique<CvxListView>(nullptr);
        list->slotShowFilteredByCategory(filter);
        list->resize(size);
        list->show();
        if (!QTest::qWaitForWindowExposed(list.get()))
            qWarning("list window not exposed");
        return list;
    }

    static QStringList column(const QTreeWidget& list, int c)
    {
        QStringList out;
        for (int i = 0; i < list.topLevelItemCount(); ++i)
            out << list.topLevelItem(i)->text(c);
        return out;
    }

    static QStringList headers(const QTreeWidget& list)
    {
        QStringList out;
        for (int c = 0; c < list.columnCount(); ++c)
            out << list.headerItem()->text(c);
        return out;
    }

    static void tapHeader(CvxListView& list, int section)
    {
        QHeaderView* head = list.header();
        const QPoint centre(head->sectionViewportPosition(section) + head->sectionSize(section) / 2,
                            head->height() / 2);
        QTest::mouseClick(head->viewport(), Qt::LeftButton, {}, centre);
    }

    // The rows as painted, without the focus tint of a current row.
    static QImage plainGrab(CvxListView& list)
    {
        list.setCurrentItem(nullptr);
        return list.viewport()->grab().toImage();
    }

    // A point in column 2 of a row with an empty column 2, clear of text.
    static QRgb pixel(const QImage& image, int y) { return image.pixel(20 + 74 + 40, y); }

private slots:
    void initTestCase() { qputenv("QPEDIR", VX_TEST_SOURCE_DIR); }

    void init()
    {
        m_session = std::make_unique<CSession>(m_dir.filePath(QStringLiteral("l%1.dat").arg(m_files++)));
        QVERIFY(m_session->open());
        _AppCfg->colourOdd = First;
        _AppCfg->colourEven = Second;
    }
    void cleanup()
    {
        m_session->close();
        m_session.reset();
    }

    void headersAndRowsFollowFilter_data()
    {
        QTest::addColumn<int>("filter");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QStringList>("rows");
        QTest::newRow("all") << -1 << FieldHeaders << QStringList{"-- CORRUPT RECORD --", "a", "b", "w"};
        QTest::newRow("Bank") << 0 << QStringList{"C", "Bank", "Account #", "PIN"} << QStringList{"a", "b"};
        QTest::newRow("Web Login") << 7 << QStringList{"C", "Description", "URL", "User Name"} << QStringList{"w"};
        // No such category: plain headers, yet the filter still applies.
        QTest::newRow("unknown id") << 500 << FieldHeaders << QStringList{"-- CORRUPT RECORD --"};
        QTest::newRow("no records") << 5 << QStringList{"C", "Airline", "Name", "Number"} << QStringList{};
    }
    void headersAndRowsFollowFilter()
    {
        QFETCH(int, filter);
        QFETCH(QStringList, expected);
        QFETCH(QStringList, rows);
        addRecord(0, {"b"});
        addRecord(7, {"w"});
        addRecord(500, {"lost"});
        addRecord(0, {"a"});
        CvxListView list(nullptr);
        list.slotShowFilteredByCategory(filter);
        QCOMPARE(list.filter(), filter);
        QCOMPARE(headers(list), expected);
        QCOMPARE(column(list, 1), rows);
        // Back to all: the plain headers return.
        list.slotShowFilteredByCategory(-1);
        QCOMPARE(headers(list), FieldHeaders);
    }

    void sortKeysIgnoreCase_data()
    {
        QTest::addColumn<int>("section");
        QTest::addColumn<QStringList>("ascending");
        QTest::addColumn<QStringList>("descending");
        // Equal keys keep the records' order, Alpha, ALPHA, alpha, either way.
        QTest::newRow("field 1") << 1 << QStringList{"Alpha", "ALPHA", "alpha", "beta"}
                                 << QStringList{"beta", "Alpha", "ALPHA", "alpha"};
        // By category name ignoring case (aardvark, Bank, Computer Login),
        // not by icon name (icon_computer1 < icon_dollar < icon_world).
        QTest::newRow("category") << 0 << QStringList{"ALPHA", "Alpha", "alpha", "beta"}
                                  << QStringList{"beta", "Alpha", "alpha", "ALPHA"};
    }
    void sortKeysIgnoreCase()
    {
        QFETCH(int, section);
        QFETCH(QStringList, ascending);
        QFETCH(QStringList, descending);
        addCategory(50, "aardvark", "icon_world");
        addRecord(9, {"beta"});
        addRecord(0, {"Alpha"});
        addRecord(50, {"ALPHA"});
        addRecord(0, {"alpha"});
        auto list = shownList();
        QCOMPARE(list->sortColumn(), 1);
        QCOMPARE(list->header()->sortIndicatorOrder(), Qt::AscendingOrder);
        if (section != 1) {
            tapHeader(*list, section);
            QCOMPARE(list->sortColumn(), section);
            QCOMPARE(list->header()->sortIndicatorOrder(), Qt::AscendingOrder);
        }
        QCOMPARE(column(*list, 1), ascending);

        // A second tap turns the order; equal keys still keep record order.
        tapHeader(*list, section);
        QCOMPARE(list->header()->sortIndicatorOrder(), Qt::DescendingOrder);
        QCOMPARE(column(*list, 1), descending);

        // A rebuild keeps the chosen sort.
        list->slotShowFilteredByCategory();
        QCOMPARE(list->sortColumn(), section);
        QCOMPARE(column(*list, 1), descending);
    }

    void recordWithoutCategory()
    {
        addRecord(9, {"login", "user", "pw"});
        addRecord(500, {"lost", "x", "y"});
        auto list = shownList();
        tapHeader(*list, 0);
        // The missing category sorts as an empty name, before "Computer Login".
        auto* row = static_cast<CvxListViewItem*>(list->topLevelItem(0));
        QCOMPARE(row->type(), int(CvxListViewItem::Type));
        QCOMPARE(row->text(1), QString("-- CORRUPT RECORD --"));
        QCOMPARE(row->text(2), QString());
        QCOMPARE(row->text(3), QString());
        QVERIFY(row->data(0, Qt::DecorationRole).isNull());
        QVERIFY(!row->GetCategory());
        QCOMPARE(row->GetRecord()->category, 500);

        auto* good = static_cast<CvxListViewItem*>(list->topLevelItem(1));
        QCOMPARE(column(*list, 2), QStringList({"", "user"}));
        QVERIFY(good->GetCategory());
        QCOMPARE(good->GetCategory()->id, 9);
        QVERIFY(!good->data(0, Qt::DecorationRole).value<QPixmap>().isNull());
    }

    void comboSameNameChoosesFirst_data()
    {
        QTest::addColumn<int>("twin");
        QTest::newRow("first entry") << 0;
        QTest::newRow("second entry") << 1;
    }
    void comboSameNameChoosesFirst()
    {
        QFETCH(int, twin);
        addRecord(40, {"forty"});
        addRecord(41, {"forty-one"});
        CvxListView list(nullptr);
        for (int id : {40, 41}) {
            auto* c = new CCategory;
            c->id = id;
            c->name = "Twin";
            QVERIFY(list.categories()->InsertSeq(c, true));
        }
        int firstTwin = -1;
        for (CCategory* c = list.categories()->first(); c && firstTwin < 0; c = CCategories::nextOf(c))
            if (c->name == "Twin")
                firstTwin = c->id;
        list.slotShowFilteredByCategory(-1);

        CCatCombo combo(&list, nullptr, 110);
        QList<int> entries;
        for (int i = 0; i < combo.count(); ++i)
            if (combo.itemText(i) == "Twin")
                entries << i;
        QCOMPARE(entries.size(), 2);
        for (int i = 0; i < entries[twin]; ++i)
            QTest::keyClick(&combo, Qt::Key_Down);
        QCOMPARE(combo.currentIndex(), entries[twin]);
        QCOMPARE(list.filter(), firstTwin);
        QCOMPARE(column(list, 1), QStringList{firstTwin == 40 ? "forty" : "forty-one"});

        QTest::keyClick(&combo, Qt::Key_Home);
        QCOMPARE(list.filter(), -1);
        QCOMPARE(list.topLevelItemCount(), 2);
    }

    void comboRefillsWithAllFirst()
    {
        CvxListView list(nullptr);
        CCatCombo combo(&list, nullptr, 110);
        QCOMPARE(combo.minimumWidth(), 110);
        QCOMPARE(combo.maximumWidth(), 110);
        QCOMPARE(combo.count(), 13);
        QCOMPARE(combo.itemText(0), QString("All"));
        QCOMPARE(combo.itemText(1), QString("Bank"));
        QCOMPARE(combo.itemText(12), QString("Web Login"));

        QTest::keyClick(&combo, Qt::Key_End);
        QCOMPARE(list.filter(), 7);
        auto* c = new CCategory;
        c->id = 12;
        c->name = "Alarm";
        QVERIFY(list.categories()->InsertSeq(c, false));
        combo.refreshList();
        QCOMPARE(combo.count(), 14);
        QCOMPARE(combo.currentIndex(), 0);
        QCOMPARE(combo.itemText(0), QString("All"));
        QCOMPARE(combo.itemText(1), QString("Alarm"));
        // Refilling chooses nothing: the list keeps its filter.
        QCOMPARE(list.filter(), 7);
    }

    void emptyAreaBands_data()
    {
        QTest::addColumn<int>("rows");
        QTest::newRow("no rows") << 0;
        QTest::newRow("three rows") << 3;
    }
    void emptyAreaBands()
    {
        QFETCH(int, rows);
        for (int i = 0; i < rows; ++i)
            addRecord(9, {QString("r%1").arg(i)});
        auto list = shownList(rows ? 9 : 5);
        QCOMPARE(list->topLevelItemCount(), rows);
        const QImage image = plainGrab(*list);
        const int h = rows ? list->visualItemRect(list->topLevelItem(0)).height() : 16;
        QVERIFY(h > 0);
        // Rows and the bands below them alternate from the first colour at the top.
        for (int band = 0; band * h < image.height(); ++band) {
            const QColor expected = band % 2 ? Second : First;
            for (int y : {band * h + 1, band * h + h - 2}) {
                if (y < image.height())
                    QCOMPARE(QColor(pixel(image, y)), expected);
            }
        }
        if (!rows) {
            QCOMPARE(QColor(pixel(image, 15)), First);
            QCOMPARE(QColor(pixel(image, 16)), Second);
        }
    }

    void stripesFollowScreenPosition()
    {
        for (int i = 0; i < 40; ++i)
            addRecord(9, {QString("r%1").arg(i, 2, 10, QChar('0'))});
        auto list = shownList();
        const int h = list->visualItemRect(list->topLevelItem(0)).height();
        QVERIFY(h >= 4);
        QScrollBar* bar = list->verticalScrollBar();
        QVERIFY(bar->maximum() > h);
        const int scrolled = h / 2;
        bar->setValue(scrolled);
        QCOMPARE(list->visualItemRect(list->topLevelItem(0)).top(), -scrolled);

        const QImage image = plainGrab(*list);
        // The partly scrolled top row and the row below share the first colour;
        // after them the colours alternate again.
        const int secondRowTop = h - scrolled;
        QCOMPARE(QColor(pixel(image, 0)), First);
        QCOMPARE(QColor(pixel(image, secondRowTop + 1)), First);
        QCOMPARE(QColor(pixel(image, secondRowTop + h + 1)), Second);
        QCOMPARE(QColor(pixel(image, secondRowTop + 2 * h + 1)), First);
    }

    void columnWidthsStayExact_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<int>("records");
        QTest::newRow("240x270 few") << QSize(240, 270) << 2;
        QTest::newRow("240x270 scrolling") << QSize(240, 270) << 40;
        QTest::newRow("240x120 scrolling") << QSize(240, 120) << 40;
        QTest::newRow("320x240 scrolling") << QSize(320, 240) << 40;
    }
    void columnWidthsStayExact()
    {
        QFETCH(QSize, size);
        QFETCH(int, records);
        for (int i = 0; i < records; ++i)
            addRecord(0, {QString("a long first field %1").arg(i), "a long second field", "a long third field"});
        auto list = shownList(-1, size);
        const QList<int> widths{20, 74, 70, 70};
        auto current = [&] {
            QList<int> out;
            for (int c = 0; c < 4; ++c)
                out << list->header()->sectionSize(c);
            return out;
        };
        QCOMPARE(current(), widths);
        list->slotShowFilteredByCategory(0);
        list->resize(size.width() + 17, size.height() - 20);
        QCOMPARE(current(), widths);

        // Dragging the border between columns 1 and 2 moves nothing.
        QHeaderView* head = list->header();
        const QPoint border(head->sectionViewportPosition(2) - 1, head->height() / 2);
        QTest::mousePress(head->viewport(), Qt::LeftButton, {}, border);
        QTest::mouseMove(head->viewport(), border + QPoint(30, 0));
        QTest::mouseRelease(head->viewport(), Qt::LeftButton, {}, border + QPoint(30, 0));
        QCOMPARE(current(), widths);
    }

    void resizedCarriesWholeSize_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("shorter") << QSize(240, 150);
        QTest::newRow("wider") << QSize(300, 270);
    }
    void resizedCarriesWholeSize()
    {
        QFETCH(QSize, size);
        auto list = shownList();
        const QSize before = list->size();
        QList<QPair<QSize, QSize>> seen;
        connect(list.get(), &CvxListView::signalResized, this,
                [&seen](QResizeEvent* e) { seen.append({e->size(), e->oldSize()}); });
        list->resize(size);
        QCOMPARE(seen.size(), 1);
        QCOMPARE(seen[0].first, size);
        QCOMPARE(seen[0].second, before);
        QVERIFY(list->viewport()->size() != size);
    }

    void tapOnRowsOnly()
    {
        addRecord(9, {"one"});
        addRecord(9, {"two"});
        CTapList list(nullptr);
        list.slotShowFilteredByCategory(-1);
        list.resize(240, 270);
        list.show();
        QVERIFY(QTest::qWaitForWindowExposed(&list));
        QWidget* view = list.viewport();
        const QRect second = list.visualItemRect(list.topLevelItem(1));

        QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(130, second.center().y()));
        QCOMPARE(list.taps.size(), 1);
        QCOMPARE(list.taps[0].item, list.topLevelItem(1));
        QCOMPARE(list.taps[0].column, 2);

        // Holding the pen (a right click) and tapping below the rows do nothing.
        QTest::mouseClick(view, Qt::RightButton, {}, QPoint(60, second.center().y()));
        QTest::mouseClick(view, Qt::LeftButton, {}, QPoint(60, second.bottom() + 40));
        QCOMPARE(list.taps.size(), 1);
        QVERIFY(!QApplication::activeModalWidget());
    }

    void protectedFieldsFollowLock_data()
    {
        QTest::addColumn<bool>("locked");
        QTest::addColumn<QStringList>("bank");
        QTest::newRow("locked") << true << QStringList{"My bank", "******", ""};
        QTest::newRow("unlocked") << false << QStringList{"My bank", "12-34", ""};
    }
    void protectedFieldsFollowLock()
    {
        QFETCH(bool, locked);
        QFETCH(QStringList, bank);
        EncryptAddNewPwd("secret");
        addRecord(0, {"My bank", "12-34", "", "note"}, true);
        addRecord(3, {"Mail", "me", "pw"});
        CvxListView list(nullptr);
        _AppCfg->locked = locked;
        list.slotShowFilteredByCategory(-1);
        QCOMPARE(list.topLevelItemCount(), 2);
        QCOMPARE(list.topLevelItem(1)->text(1), QString("My bank")); // after "Mail"
        QCOMPARE(QStringList({list.topLevelItem(1)->text(1), list.topLevelItem(1)->text(2),
                              list.topLevelItem(1)->text(3)}),
                 bank);
        QCOMPARE(QStringList({list.topLevelItem(0)->text(2), list.topLevelItem(0)->text(3)}),
                 QStringList({"me", "pw"}));
    }

    void passwordMenuRebuildsOnChange_data()
    {
        QTest::addColumn<bool>("cancel");
        QTest::addColumn<QString>("confirm");
        QTest::addColumn<bool>("rebuilt");
        QTest::newRow("set") << false << "abc" << true;
        QTest::newRow("confirmation differs") << false << "abd" << false;
        QTest::newRow("cancelled") << true << "abc" << false;
    }
    void passwordMenuRebuildsOnChange()
    {
        QFETCH(bool, cancel);
        QFETCH(QString, confirm);
        QFETCH(bool, rebuilt);
        addRecord(0, {"My bank", "12-34"});
        CFakeWindow window;
        auto* list = new CvxListView(&window);
        list->slotShowFilteredByCategory(-1);
        window.lockIcon = 0;

        DialogDriver driver;
        driver.actions.push_back([cancel, confirm](QDialog* d) {
            if (cancel) {
                d->reject();
                return;
            }
            QTest::keyClicks(d->findChild<QLineEdit*>("newPassword"), "abc");
            QTest::keyClicks(d->findChild<QLineEdit*>("confirmPassword"), confirm);
            d->accept();
        });
        list->slotMenuPassWord();
        QCOMPARE(driver.shown, 1);
        QCOMPARE(window.lockIcon, rebuilt ? 1 : 0);
        // A new password leaves the data locked: the rebuilt row hides the field.
        QCOMPARE(list->topLevelItem(0)->text(2), QString(rebuilt ? "******" : "12-34"));
    }

    void rebuildTellsMainWindow()
    {
        CFakeWindow window;
        auto* list = new CvxListView(&window);
        list->slotShowFilteredByCategory(3);
        QCOMPARE(list->filter(), 3);
        QCOMPARE(window.lockIcon, 1);
        emit list->signalUpdateCategoryCombo();
        QCOMPARE(window.categoryCombo, 1);
    }
};

QTEST_MAIN(TstListView)
#include "tst_listview.moc"
