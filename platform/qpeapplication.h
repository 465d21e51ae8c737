#ifndef VAULTIX_PLATFORM_QPEAPPLICATION_H
#define VAULTIX_PLATFORM_QPEAPPLICATION_H

#include <QApplication>
#include <QPoint>
#include <QPointer>
#include <QTimer>

// The handheld environment's application object on a plain QApplication.
// It filters every event of every object of the program (modal dialogs
// included) through its own virtual eventFilter, so a subclass sees each
// pen press and key press, and it gives every dialog its title bar.
class QPEApplication : public QApplication
{
    Q_OBJECT

public:
    enum StylusMode {
        LeftOnly,    // a press is a left click, however long the pen stays down
        RightOnHold, // holding the pen still for HoldMs acts as a right click
    };
    static constexpr int HoldMs = 500;
    // How far the pen may wander and still count as held still.
    static constexpr int HoldSlop = 6;

    QPEApplication(int& argc, char** argv);
    ~QPEApplication() override;

    // Shows the program's main window at its own size; without a window
    // manager it sits at the screen's top-left corner.
    void showMainWidget(QWidget* widget, bool maximized = false);
    static QWidget* mainWidget();

    static void setStylusOperation(QWidget* widget, StylusMode mode);
    static StylusMode stylusOperation(const QWidget* widget);
    // Runs while the pen is held still; tests fire it by hand.
    QTimer* holdTimer() { return &m_holdTimer; }


    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    static int& prepareEnvironment(int& argc);
    bool filterStylus(QWidget* widget, QEvent* event);
    bool filterDialogKey(QWidget* widget, QEvent* event);
    void holdTimedOut();

    QPointer<QWidget> m_mainWidget;
    QTimer m_holdTimer;
    QPointer<QWidget> m_holdWidget;
    QPoint m_holdLocal;
    QPoint m_holdGlobal;
    quint64 m_holdStamp = 0;
    bool m_holdFired = false;
};

#endif
