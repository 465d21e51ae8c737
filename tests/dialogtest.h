#ifndef VAULTIX_TESTS_DIALOGTEST_H
#define VAULTIX_TESTS_DIALOGTEST_H

// A stand-in for the record list, and a driver that acts on each modal
// dialog, message box and pop-up menu from inside its own event loop.

#include "platform/messagebox.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QMenu>
#include <QPointer>
#include <QResizeEvent>
#include <QTimer>
#include <QtTest>

#include <deque>
#include <functional>

class WatchedWidget : public QWidget
{
    Q_OBJECT

signals:
    void signalResized(QResizeEvent* e);

protected:
    void resizeEvent(QResizeEvent* e) override { emit signalResized(e); }
};

// Away from the screen's corner, so that a dialog placed on the screen
// rather than relative to the main window is caught.
struct TestMainWindow
{
    QWidget window;
    WatchedWidget* list = new WatchedWidget;

    TestMainWindow(int listWidth = 240, int listHeight = 250)
    {
        window.setGeometry(100, 50, 240, 320);
        list->setParent(&window);
        list->setGeometry(0, 40, listWidth, listHeight);
        window.show();
    }
    QRect relative(const QWidget* d) const { return d->geometry().translated(-100, -50); }
};

class DialogDriver : public QObject
{
public:
    std::deque<std::function<void(QDialog*)>> actions; // one per dialog shown
    std::deque<std::function<void(QMenu*)>> menus;     // one per pop-up menu shown
    std::deque<QMessageBox::StandardButton> answers;   // one per message box
    int shown = 0;
    QStringList boxes; // "caption|text"

    DialogDriver()
    {
        qApp->installEventFilter(this);
        CMessageBox::setHook([this](QMessageBox& box) {
            boxes << box.windowTitle() + '|' + box.text();
            QAbstractButton* b = answers.empty() ? box.escapeButton() : box.button(answers.front());
            if (!answers.empty())
                answers.pop_front();
            QTest::mouseClick(b, Qt::LeftButton);
        });
    }
    ~DialogDriver() override { CMessageBox::setHook({}); }

protected:
    bool eventFilter(QObject* o, QEvent* e) override
    {
        if (auto* menu = qobject_cast<QMenu*>(o); menu && e->type() == QEvent::Show && !menus.empty()) {
            std::function<void(QMenu*)> act = std::move(menus.front());
            menus.pop_front();
            QTimer::singleShot(0, menu, [act, guard = QPointer<QMenu>(menu)] {
                if (guard)
                    act(guard);
                if (guard && guard->isVisible())
                    guard->close();
            });
            return false;
        }
        auto* dlg = qobject_cast<QDialog*>(o);
        if (e->type() != QEvent::Show || !dlg || qobject_cast<QMessageBox*>(o))
            return false;
        ++shown;
        // A dialog nobody expected is closed rather than left to hang the test.
        std::function<void(QDialog*)> act = [](QDialog* d) { d->reject(); };
        if (!actions.empty()) {
            act = std::move(actions.front());
            actions.pop_front();
        }
        QTimer::singleShot(0, dlg, [act, guard = QPointer<QDialog>(dlg)] {
            if (guard)
                act(guard);
            // An action cut short by a failed check must not hang the test.
            if (guard && guard->isVisible())
                guard->reject();
        });
        return false;
    }
};

#endif
