#include "ui/vxlistlook.h"

#include <QApplication>
#include <QPainter>
#include <QPixmap>
#include <QPolygonF>
#include <QStyleOptionHeader>
#include <QTreeView>

CFirstCellDelegate::CFirstCellDelegate(int firstColumnWidth, QObject* parent)
    : QStyledItemDelegate(parent)
    , m_firstColumnWidth(firstColumnWidth)
{
}

QSize CFirstCellDelegate::sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const
{
    // The first row sets the height of all rows, whether it has a picture or not.
    QSize size = QStyledItemDelegate::sizeHint(option, index);
    size.setHeight(qMax(size.height(), RowHeight));
    return size;
}

void CFirstCellDelegate::paint(QPainter* painter, const QStyleOptionViewItem& option,
                               const QModelIndex& index) const
{
    const QWidget* widget = option.widget;
    QStyle* style = widget ? widget->style() : QApplication::style();
    const auto* view = qobject_cast<const QTreeView*>(widget);
    QStyleOptionViewItem cell(option);
    if (view && view->isFirstColumnSpanned(index.row(), index.parent())) {
        initStyleOption(&cell, index.siblingAtColumn(1));
        QStyleOptionViewItem under(cell);
        under.text.clear();
        style->drawControl(QStyle::CE_ItemViewItem, &under, painter, widget);
        cell.rect.setLeft(option.rect.left() + m_firstColumnWidth);
        style->drawControl(QStyle::CE_ItemViewItem, &cell, painter, widget);
        return;
    }
    initStyleOption(&cell, index);
    cell.features &= ~QStyleOptionViewItem::HasDecoration;
    cell.icon = QIcon();
    cell.text.clear();
    style->drawControl(QStyle::CE_ItemViewItem, &cell, painter, widget);
    const QPixmap picture = index.data(Qt::DecorationRole).value<QPixmap>();
    if (picture.isNull())
        return;
    QRect place(QPoint(0, 0), picture.deviceIndependentSize().toSize());
    place.moveCenter(option.rect.center());
    painter->drawPixmap(place, picture);
}

CListHeader::CListHeader(QWidget* parent)
    : QHeaderView(Qt::Horizontal, parent)
{
    // As the tree view's own header.
    setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
}

bool CListHeader::IsNarrow(int logicalIndex) const
{
    // Room for a one-letter label and an arrow side by side, not more.
    return sectionSize(logicalIndex) < 30;
}

void CListHeader::initStyleOptionForIndex(QStyleOptionHeader* option, int logicalIndex) const
{
    QHeaderView::initStyleOptionForIndex(option, logicalIndex);
    if (IsNarrow(logicalIndex))
        option->sortIndicator = QStyleOptionHeader::None;
}

void CListHeader::paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const
{
    QHeaderView::paintSection(painter, rect, logicalIndex);
    if (!IsNarrow(logicalIndex) || !isSortIndicatorShown() || sortIndicatorSection() != logicalIndex)
        return;
    // A small triangle in the label's colour, pointing the way the
    // style's own arrows point for this order.
    QColor colour = palette().color(QPalette::WindowText);
    colour.setAlpha(180);
    const bool down = sortIndicatorOrder() == Qt::AscendingOrder;
    const QPointF tip(rect.right() - 4.5, rect.center().y() + (down ? 2.5 : -2.5));
    const QPointF left(tip.x() - 3.5, tip.y() + (down ? -4 : 4));
    const QPointF right(tip.x() + 3.5, left.y());
    painter->save();
    // The style leaves an empty clip region behind when it had none.
    painter->setClipRect(rect);
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setPen(Qt::NoPen);
    painter->setBrush(colour);
    painter->drawPolygon(QPolygonF({tip, left, right}));
    painter->restore();
}
