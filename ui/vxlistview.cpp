#include "ui/vxlistview.h"

#include "ui/clipboardguard.h"
#include "ui/csvcommands.h"
#include "ui/dlgchgpassword.h"
#include "ui/dlgconfig.h"
#include "ui/dlgabout.h"
#include "ui/dlgcategoryselect.h"
#include "ui/dlgrecordedit.h"
#include "ui/rowcolour.h"
#include "ui/rowmenu.h"
#include "ui/vxlistlook.h"
#include "ui/vxlistviewitem.h"
#include "vault/recordfinder.h"
#include "vault/vault.h"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <QMouseEvent>
#include <QPainter>
#include <QResizeEvent>
#include <QScrollBar>

namespace {

constexpr int ColumnWidths[4] = {20, 74, 70, 70};
// Band height of the empty area when there is no row to measure.
constexpr int EmptyBandHeight = 16;

} // namespace

CvxListView::CvxListView(CVault& vault, QWidget* parent)
    : QTreeWidget(parent)
    , m_vault(vault)
    , m_mainWindow(parent)
    , m_clipboard(new CClipboardGuard(this))
{
    setHeader(new CListHeader(this));
    setColumnCount(4);
    setHeaderLabels({tr("C"), tr(" "), tr(" "), tr(" ")});
    QHeaderView* head = header();
    // Qt keeps sections wider than 20 pixels unless the minimum is lowered.
    head->setMinimumSectionSize(1);
    head->setStretchLastSection(false);
    head->setSectionsMovable(false);
    for (int column = 0; column < 4; ++column) {
        head->setSectionResizeMode(column, QHeaderView::Fixed);
        head->resizeSection(column, ColumnWidths[column]);
        // A first tap on a header sorts ascending, whatever the style prefers.
        headerItem()->setData(column, Qt::InitialSortOrderRole, Qt::AscendingOrder);
    }
    setItemDelegateForColumn(0, new CFirstCellDelegate(ColumnWidths[0], this));

    setRootIsDecorated(false);
    setUniformRowHeights(true);
    setAllColumnsShowFocus(true);
    // Stripes follow the screen position, so a row may scroll partly out.
    setVerticalScrollMode(QAbstractItemView::ScrollPerPixel);
    // The fixed columns fill the screen's width; with the vertical scroll bar
    // the last one is cut a little rather than the list growing a second,
    // sideways bar that would take a row's height from a 240-pixel screen.
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setSortingEnabled(true);
    sortByColumn(1, Qt::AscendingOrder);

    // The rows follow the vault: every change, and the lock (masks).
    connect(&m_vault, &CVault::changed, this, [this] {
        // A filter on a category that is gone shows all again.
        if (m_filter != -1 && !m_vault.categories().byId(m_filter))
            m_filter = -1;
        emit signalUpdateCategoryCombo();
        slotShowFilteredByCategory();
    });
    connect(&m_vault, &CVault::lockChanged, this, qOverload<>(&CvxListView::slotShowFilteredByCategory));
    // A copied secret goes when the data locks, by hand or by itself.
    connect(&m_vault, &CVault::lockChanged, m_clipboard, [this](bool locked) {
        if (locked)
            m_clipboard->clear();
    });
    connect(&m_vault, &CVault::settingsChanged, this, [this] { viewport()->update(); });

    connect(this, qOverload<int>(&CvxListView::signalShowFilteredByCategory), this,
            qOverload<int>(&CvxListView::slotShowFilteredByCategory));
    connect(this, qOverload<>(&CvxListView::signalShowFilteredByCategory), this,
            qOverload<>(&CvxListView::slotShowFilteredByCategory));
    connect(this, &QTreeWidget::itemClicked, this, &CvxListView::slotItemClicked);
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, &CvxListView::slotScrollbarMoved);
    // The main window is not known here by type; connect by name when it
    // has the slots.
    if (parent) {
        const QMetaObject* meta = parent->metaObject();
        if (meta->indexOfSlot("slotUpdateCategoryCombo()") >= 0)
            connect(this, SIGNAL(signalUpdateCategoryCombo()), parent, SLOT(slotUpdateCategoryCombo()));
        if (meta->indexOfSlot("slotUpdateLockIcon()") >= 0)
            connect(this, SIGNAL(signalUpdateLockIcon()), parent, SLOT(slotUpdateLockIcon()));
    }
}

CvxListView::~CvxListView()
{
    // Rows point into the record collection: drop them first.
    clear();
}

const CCategories* CvxListView::categories() const
{
    return &m_vault.categories();
}

const CRecords* CvxListView::records() const
{
    return &m_vault.records();
}

// --- Rows ---------------------------------------------------------------------

void CvxListView::slotShowFilteredByCategory(int id)
{
    m_filter = id;
    emit signalShowFilteredByCategory();
}

void CvxListView::slotShowFilteredByCategory()
{
    const bool updates = updatesEnabled();
    setUpdatesEnabled(false);
    // Rows go in in collection order and are sorted once at the end, so
    // rows with equal keys keep that order.
    const bool sorting = isSortingEnabled();
    setSortingEnabled(false);
    clear();
    // Added at once: the view hears of all rows in one insertion.
    QList<QTreeWidgetItem*> rows;
    for (CRecord* record = m_vault.records().first(); record; record = CRecords::nextOf(record)) {
        if (m_filter == -1 || record->category == m_filter)
            rows.append(new CvxListViewItem(this, record));
    }
    addTopLevelItems(rows);
    // Too long for one column: a damaged row's first cell paints it across all.
    for (QTreeWidgetItem* row : std::as_const(rows)) {
        if (!static_cast<CvxListViewItem*>(row)->GetCategory())
            row->setFirstColumnSpanned(true);
    }

    const CCategory* category = m_filter == -1 ? nullptr : m_vault.categories().byId(m_filter);
    const bool labelled = category != nullptr;
    const QString plain[3] = {tr("Field 1"), tr("Field 2"), tr("Field 3")};
    for (int column = 1; column <= 3; ++column)
        headerItem()->setText(column, labelled ? category->labels[column - 1] : plain[column - 1]);
    setSortingEnabled(sorting);
    m_shownRows = topLevelItemCount();
    applyFind();
    setUpdatesEnabled(updates);

    emit signalUpdateLockIcon();
    viewport()->update();
}

void CvxListView::slotItemClicked(QTreeWidgetItem* item, int column)
{
    if (m_tapButton == Qt::LeftButton)
        slotLeftButtonClicked(item, m_tapPoint, column);
}

void CvxListView::mouseReleaseEvent(QMouseEvent* e)
{
    m_tapPoint = e->globalPosition().toPoint();
    m_tapButton = e->button();
    QTreeWidget::mouseReleaseEvent(e);
    m_tapButton = Qt::NoButton;
}

void CvxListView::contextMenuEvent(QContextMenuEvent* e)
{
    // From the keyboard: the current row, at its place on the screen.
    const bool keyboard = e->reason() == QContextMenuEvent::Keyboard;
    QTreeWidgetItem* item = keyboard ? currentItem() : itemAt(e->pos());
    if (!item || item->isHidden() || item->type() != CvxListViewItem::Type) {
        e->ignore();
        return;
    }
    const CRecord* record = static_cast<CvxListViewItem*>(item)->GetRecord();
    if (!record)
        return;
    const QPoint at = keyboard ? viewport()->mapToGlobal(visualItemRect(item).center()) : e->globalPos();
    CRowMenu::Run(this, record->key, at);
}

void CvxListView::slotLeftButtonClicked(QTreeWidgetItem* item, const QPoint& point, int column)
{
    Q_UNUSED(point);
    if (item && column != -1 && item->type() == CvxListViewItem::Type)
        CdlgRecordEdit::Run(this, static_cast<CvxListViewItem*>(item)->GetRecord());
}

// --- Find -----------------------------------------------------------------------

void CvxListView::slotFind(const QString& text)
{
    if (text == m_findText)
        return;
    m_findText = text;
    applyFind();
}

void CvxListView::applyFind()
{
    // Rows are hidden rather than made again: a keystroke costs one look
    // at each row's folded texts, made once per row.
    const CRecordFinder finder(m_findText);
    const int rows = topLevelItemCount();
    int shown = 0;
    for (int row = 0; row < rows; ++row) {
        if (topLevelItem(row)->type() != CvxListViewItem::Type) {
            ++shown;
            continue;
        }
        auto* item = static_cast<CvxListViewItem*>(topLevelItem(row));
        const bool show = finder.isEmpty() || finder.matchesKey(item->searchKey());
        if (item->hiddenByFind == show) {
            setRowHidden(row, QModelIndex(), !show);
            item->hiddenByFind = !show;
        }
        shown += show;
    }
    m_shownRows = shown;
    viewport()->update();
}

// --- Commands -------------------------------------------------------------------

void CvxListView::slotMenuPassWord()
{
    CdlgChgPassword::RunChangeFlow(m_vault, this);
}

void CvxListView::slotMenuCategory()
{
    if (!CdlgCategorySelect::RunCategoryCommand(m_vault, this))
        return;
    // All categories again, the combo showing "All".
    m_filter = -1;
    emit signalUpdateCategoryCombo();
    emit signalShowFilteredByCategory();
}

void CvxListView::slotMenuOption()
{
    CDlgConfig::RunConfiguration(m_vault, this);
}

void CvxListView::slotMenuImport()
{
    if (!importFromCSV(m_vault, this))
        return;
    // The new records may be in any category: the rows and the combo
    // both show all.
    m_filter = -1;
    emit signalUpdateCategoryCombo();
    emit signalShowFilteredByCategory();
}

void CvxListView::slotMenuExport()
{
    exportToCSV(m_vault, this);
}

void CvxListView::slotMenuAbout()
{
    CdlgAbout::RunAbout(this);
}

void CvxListView::slotNewRecord()
{
    CdlgRecordEdit::Run(this, nullptr);
}

// --- Stripes --------------------------------------------------------------------

int CvxListView::StripeHeight() const
{
    // Any shown row gives the height (they are uniform), scrolled into view
    // or not; a hidden one has none.
    if (m_shownRows > 0) {
        QModelIndex row = indexFromItem(topLevelItem(0));
        if (isRowHidden(0, QModelIndex()))
            row = indexAt(QPoint(0, 0));
        const int height = rowHeight(row);
        if (height > 0)
            return height;
    }
    return EmptyBandHeight;
}

QColor CvxListView::StripeColour(int top) const
{
    // By screen position, truncated toward zero: a partly scrolled top row
    // and the row below it both get the first colour.
    const bool even = (top / StripeHeight()) % 2 == 0;
    return RowColour::ToQColor(even ? m_vault.settings().colourOdd : m_vault.settings().colourEven);
}

void CvxListView::drawRow(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    painter->fillRect(QRect(0, option.rect.top(), viewport()->width(), option.rect.height()),
                      StripeColour(option.rect.top()));
    QTreeWidget::drawRow(painter, option, index);
}

void CvxListView::paintEvent(QPaintEvent* e)
{
    QTreeWidget::paintEvent(e);
    // The shown rows stand one below the other from the top, however many
    // are hidden among them.
    QRect area = viewport()->rect();
    if (m_shownRows > 0)
        area.setTop(m_shownRows * StripeHeight() - verticalOffset());
    if (area.isEmpty())
        return;
    QPainter painter(viewport());
    paintEmptyArea(&painter, area);
}

void CvxListView::paintEmptyArea(QPainter* painter, const QRect& rect)
{
    const int height = StripeHeight();
    for (int y = rect.top(); y <= rect.bottom(); y += height)
        painter->fillRect(QRect(rect.left(), y, rect.width(), qMin(height, rect.bottom() + 1 - y)), StripeColour(y));
}

void CvxListView::slotScrollbarMoved(int value)
{
    Q_UNUSED(value);
    // Scrolling moves the painted pixels, but stripes belong to the screen.
    viewport()->update();
}

// --- Size -----------------------------------------------------------------------

bool CvxListView::event(QEvent* e)
{
    const bool done = QTreeWidget::event(e);
    // The widget's own resize does not reach resizeEvent() when the viewport
    // keeps its size (a scroll bar taking up the change).
    if (e->type() == QEvent::Resize)
        EmitResized();
    return done;
}

void CvxListView::resizeEvent(QResizeEvent* e)
{
    QTreeWidget::resizeEvent(e);
    EmitResized();
}

void CvxListView::EmitResized()
{
    // resizeEvent() reports the viewport; dialogs follow the whole widget.
    if (size() == m_reportedSize)
        return;
    QResizeEvent whole(size(), m_reportedSize);
    m_reportedSize = size();
    emit signalResized(&whole);
}
