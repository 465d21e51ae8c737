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
#include "ui/vxlistmodel.h"
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
    : QTreeView(parent)
    , m_vault(vault)
    , m_model(new CvxListModel(vault, this))
    , m_mainWindow(parent)
    , m_clipboard(new CClipboardGuard(this))
{
    setHeader(new CListHeader(this));
    setModel(m_model);
    m_model->setHeaderTexts({tr("C"), tr(" "), tr(" "), tr(" ")});
    QHeaderView* head = header();
    // Qt keeps sections wider than 20 pixels unless the minimum is lowered.
    head->setMinimumSectionSize(1);
    head->setStretchLastSection(false);
    head->setSectionsMovable(false);
    for (int column = 0; column < 4; ++column) {
        head->setSectionResizeMode(column, QHeaderView::Fixed);
        head->resizeSection(column, ColumnWidths[column]);
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
    connect(this, &QAbstractItemView::clicked, this, &CvxListView::slotItemClicked);
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
    clearRows();
}

const CCategories* CvxListView::categories() const
{
    return &m_vault.categories();
}

const CRecords* CvxListView::records() const
{
    return &m_vault.records();
}

const CRecord* CvxListView::recordAt(int row) const
{
    return m_model->recordAt(row);
}

CListContext CvxListView::context()
{
    return {m_vault, this, m_filter, m_clipboard};
}

void CvxListView::clearRows()
{
    m_model->clear();
    m_shownRows = 0;
}

// --- Rows ---------------------------------------------------------------------

void CvxListView::slotShowFilteredByCategory(int id)
{
    m_filter = id;
    emit signalShowFilteredByCategory();
}

void CvxListView::slotShowFilteredByCategory()
{
    const CCategory* category = m_filter == -1 ? nullptr : m_vault.categories().byId(m_filter);
    QStringList titles{tr("C"), tr("Field 1"), tr("Field 2"), tr("Field 3")};
    if (category) {
        for (int column = 1; column <= 3; ++column)
            titles[column] = category->labels[column - 1];
    }
    m_model->setHeaderTexts(titles);
    m_model->rebuild(m_filter);
    rowsArranged();

    emit signalUpdateLockIcon();
}

void CvxListView::rowsArranged()
{
    // Too long for one column: a damaged row's message is painted across all.
    for (int row : m_model->damagedRows())
        setFirstColumnSpanned(row, QModelIndex(), true);
    m_shownRows = m_model->rowCount();
    viewport()->update();
}

void CvxListView::slotItemClicked(const QModelIndex& index)
{
    if (m_tapButton == Qt::LeftButton && index.isValid())
        CdlgRecordEdit::Run(context(), m_model->recordAt(index.row()));
}

void CvxListView::mouseReleaseEvent(QMouseEvent* e)
{
    m_tapPoint = e->globalPosition().toPoint();
    m_tapButton = e->button();
    QTreeView::mouseReleaseEvent(e);
    m_tapButton = Qt::NoButton;
}

void CvxListView::contextMenuEvent(QContextMenuEvent* e)
{
    // From the keyboard: the current row, at its place on the screen.
    const bool keyboard = e->reason() == QContextMenuEvent::Keyboard;
    const QModelIndex index = keyboard ? currentIndex() : indexAt(e->pos());
    const CRecord* record = index.isValid() ? m_model->recordAt(index.row()) : nullptr;
    if (!record) {
        e->ignore();
        return;
    }
    const QPoint at = keyboard ? viewport()->mapToGlobal(visualRect(index).center()) : e->globalPos();
    CRowMenu::Run(context(), record->key, at);
}

// --- Find -----------------------------------------------------------------------

void CvxListView::slotFind(const QString& text)
{
    if (text == m_findText)
        return;
    m_findText = text;
    m_model->setFindText(text);
    rowsArranged();
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
    CdlgRecordEdit::Run(context(), nullptr);
}

// --- Stripes --------------------------------------------------------------------

int CvxListView::StripeHeight() const
{
    // Any row gives the height (they are uniform), scrolled into view or not.
    if (m_shownRows > 0) {
        const int height = rowHeight(m_model->index(0, 0));
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
    QTreeView::drawRow(painter, option, index);
}

void CvxListView::paintEvent(QPaintEvent* e)
{
    QTreeView::paintEvent(e);
    // The rows stand one below the other from the top.
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
    const bool done = QTreeView::event(e);
    // The widget's own resize does not reach resizeEvent() when the viewport
    // keeps its size (a scroll bar taking up the change).
    if (e->type() == QEvent::Resize)
        EmitResized();
    return done;
}

void CvxListView::resizeEvent(QResizeEvent* e)
{
    QTreeView::resizeEvent(e);
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
