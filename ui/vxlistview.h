#ifndef VAULTIX_UI_VXLISTVIEW_H
#define VAULTIX_UI_VXLISTVIEW_H

#include <QPoint>
#include <QSize>
#include "ui/listcontext.h"

#include <QTreeView>

class CCategories;
class CClipboardGuard;
class CvxListModel;
class CRecord;
class CRecords;
class CVault;
class QContextMenuEvent;
class QResizeEvent;

// The main screen: one row per record of the chosen category (or of all).
// It receives every menu and tool-bar command, and rebuilds its rows
// whenever the vault announces a change or a change of the lock.
class CvxListView : public QTreeView
{
    Q_OBJECT

public:
    // The parent is the main window; its slotUpdateCategoryCombo() and
    // slotUpdateLockIcon(), when it has them, are connected here.
    explicit CvxListView(CVault& vault, QWidget* parent = nullptr);
    ~CvxListView() override;

    CVault& vault() const { return m_vault; }
    const CCategories* categories() const;
    const CRecords* records() const;
    // The id of the category shown, or -1 for all.
    int filter() const { return m_filter; }
    // What the rows' copy commands put on the clipboard, and take off again.
    CClipboardGuard* clipboard() const { return m_clipboard; }
    // The text that rows must contain to be shown (see CRecordFinder);
    // empty: every row of the category.
    const QString& findText() const { return m_findText; }
    // How many rows the category and the find text leave.
    int shownRowCount() const { return m_shownRows; }
    // The record shown in `row`, or null.
    const CRecord* recordAt(int row) const;
    // Drops every row, before the records they show go.
    void clearRows();
    // For the commands on a record given on this list.
    CListContext context();

signals:
    // Carries the list widget's whole size, header and frame included.
    void signalResized(QResizeEvent* event);
    void signalShowFilteredByCategory(int id);
    void signalShowFilteredByCategory();
    void signalUpdateCategoryCombo();
    void signalUpdateLockIcon();

public slots:
    void slotMenuCategory();
    void slotMenuOption();
    void slotMenuImport();
    void slotMenuExport();
    void slotMenuPassWord();
    void slotMenuAbout();
    void slotNewRecord();
    void slotShowFilteredByCategory();
    void slotShowFilteredByCategory(int id);
    void slotScrollbarMoved(int value);
    void slotFind(const QString& text);

protected:
    bool event(QEvent* e) override;
    void resizeEvent(QResizeEvent* e) override;
    void paintEvent(QPaintEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;
    // A held or right-clicked row offers its menu.
    void contextMenuEvent(QContextMenuEvent* e) override;
    void drawRow(QPainter* painter, const QStyleOptionViewItem& option, const QModelIndex& index) const override;
    // The viewport below the last row, striped on as if rows went on.
    void paintEmptyArea(QPainter* painter, const QRect& rect);

private slots:
    // A left tap on a row opens its record.
    void slotItemClicked(const QModelIndex& index);

private:
    // After the rows changed: damaged rows painted across, the count kept.
    void rowsArranged();
    int StripeHeight() const;
    QColor StripeColour(int top) const;
    void EmitResized();

    CVault& m_vault;
    CvxListModel* m_model;
    int m_filter = -1;
    QWidget* m_mainWindow;
    CClipboardGuard* m_clipboard;
    QString m_findText;
    int m_shownRows = 0;

    QSize m_reportedSize{-1, -1};
    QPoint m_tapPoint;
    Qt::MouseButton m_tapButton = Qt::NoButton;
};

#endif
