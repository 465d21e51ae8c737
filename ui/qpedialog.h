#ifndef VAULTIX_UI_QPEDIALOG_H
#define VAULTIX_UI_QPEDIALOG_H

#include <QDialog>
#include <QPointer>
#include <QString>

class QGroupBox;
class QLabel;
class QResizeEvent;
class QScrollBar;

// Base of every form. A form is laid out at fixed pixel positions for the
// 240 x 320 screen; the base fits it into the area of a watched widget (the
// record list), centres it there and, when the form is taller than the
// area, scrolls its controls with a scroll bar at the right edge. It follows
// the watched widget's signalResized(QResizeEvent*).
class CQPEDialog : public QDialog
{
    Q_OBJECT

public:
    // The parent is also the watched widget.
    CQPEDialog(QWidget* parent, int width, int height);
    // For a form whose parent is not the record list; it still watches it.
    CQPEDialog(QWidget* parent, QWidget* watched, int width, int height);
    ~CQPEDialog() override;

    // Fits the form to an available area of the given size.
    virtual void setSize(int width, int height);
    // Moves every control of the class (Qt class name) by (dx, dy), except
    // those that travel with a control they sit in (a group box's children).
    void scrollControls(const char* className, int dx, int dy);

    static constexpr int MaxDesignHeight = 274;
    static constexpr int HeightAllowance = 14;
    static constexpr int ScrollBarWidth = 16;
    static constexpr int MaxWidth = 228;
    static constexpr int OffsetX = 6;
    // The room of the title bar drawn above each dialog.
    static constexpr int OffsetY = 21;

public slots:
    void slotResized(QResizeEvent* e);
    void slotScrollWindow(int value);

private:
    QPointer<QWidget> m_watched;
    QScrollBar* m_scrollBar;
    int m_width;
    int m_height;
    int m_scrollPos = 0;
};

QGroupBox* makeGroupBox(QWidget* parent, const QString& title, int x, int y, int w, int h);
QLabel* makeLabel(QWidget* parent, const QString& text, int x, int y, int w, int h);

#endif
