#ifndef VAULTIX_PLATFORM_DIALOGDECORATION_H
#define VAULTIX_PLATFORM_DIALOGDECORATION_H

#include <QWidget>

class QDialog;

// The title bar that the handheld's environment drew above every dialog:
// the caption, an OK control (accept) and a close control (reject). None of
// the dialogs has buttons of its own for closing, so this bar is what makes
// them usable with the pen alone.
//
// The bar is a separate frameless window lying just above the dialog, in the
// room that the dialogs leave at the top of the screen, so the dialog's own
// size and position stay what the dialog computed. The dialog is made
// frameless as well, so a window manager adds no second title bar. The
// application attaches the bar when a dialog is first shown.
class CDialogDecoration : public QWidget
{
    Q_OBJECT

public:
    static constexpr int Height = 21;

    // The dialog's bar, made on the first call.
    static CDialogDecoration* attach(QDialog* dialog);
    static CDialogDecoration* of(const QDialog* dialog);
    // Makes the dialog frameless, best before its window exists: the
    // application calls it as soon as the dialog gets its first control.
    static void prepare(QDialog* dialog);

    // What OK (and Return) does: accept, or for a message box its default
    // answer. What the close control does: reject, or the box's escape answer.
    static void accept(QDialog* dialog);
    static void reject(QDialog* dialog);

    QDialog* dialog() const { return m_dialog; }
    QString caption() const;
    QRect okRect() const;
    QRect closeRect() const;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    enum Part { NoPart, OkPart, ClosePart };

    explicit CDialogDecoration(QDialog* dialog);
    Part partAt(const QPoint& pos) const;
    void dialogShowing();
    void dialogShown();
    void follow();

    QDialog* m_dialog;
    Part m_pressed = NoPart;
    bool m_pressInside = false;
    bool m_keepSize = false;
};

#endif
