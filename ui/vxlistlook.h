#ifndef VAULTIX_UI_VXLISTLOOK_H
#define VAULTIX_UI_VXLISTLOOK_H

#include <QHeaderView>
#include <QStyledItemDelegate>

// Painting helpers of the record list for its narrow picture column.

// Column 0 holds only the category's 18 x 14 picture, centred (the default
// decoration margin would push it past the 20-pixel column). A row spanned
// from its first column (a record without a category) shows the text of
// column 1 across the whole row, starting where column 1 starts.
class CFirstCellDelegate : public QStyledItemDelegate
{
public:
    static constexpr int RowHeight = 16;   // the picture and a pixel above and below

    CFirstCellDelegate(int firstColumnWidth, QObject* parent);

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    void paint(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;

private:
    int m_firstColumnWidth;
};

// A horizontal header whose narrow sections draw their sort arrow at their
// right edge, clear of the label, instead of over it.
class CListHeader : public QHeaderView
{
public:
    explicit CListHeader(QWidget* parent);

protected:
    void initStyleOptionForIndex(QStyleOptionHeader* option, int logicalIndex) const override;
    void paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const override;

private:
    bool IsNarrow(int logicalIndex) const;
};

#endif
