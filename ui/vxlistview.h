#ifndef VAULTIX_UI_VXLISTVIEW_H
#define VAULTIX_UI_VXLISTVIEW_H

#include <QPoint>
#include <QSize>
#include <QTreeWidget>

class CCategories;
class CClipboardGuard;
class CRecords;
class CVault;
class QContextMenuEvent;
class QResizeEvent;

// The main screen: one row per record of the chosen category (or of all).
// It receives every menu and tool-bar command, and rebuilds its rows
// whenever the vault announces a change or a change of the lock.
class CvxListView : public QTreeWidget
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
    // A left tap on a row; `point` is the global position of the tap.
    virtual void slotLeftButtonClicked(QTreeWidgetItem* item, const QPoint& point, int column);
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
    void slotItemClicked(QTreeWidgetItem* item, int column);

private:
    // Hides the rows that do not contain the find text, shows the others.
    void applyFind();
    int StripeHeight() const;
    QColor StripeColour(int top) const;
    void EmitResized();

    CVault& m_vault;
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
