#ifndef VAULTIX_TESTS_DIALOGTEST_H
#define VAULTIX_TESTS_DIALOGTEST_H

// Helpers for the widget tests of the dialogs: a stand-in for the record
// list that reports its whole size, and a driver that acts on each modal
// dialog once its own event loop runs.

#include "platform/messagebox.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QEvent>
#include <QMessageBox>
#include <QPointer>
#include <QResizeEvent>
#include <QTimer>
#include <QWidget>
#include <QtTest>

#include <deque>
#include <functional>

class WatchedWidget : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;

signals:
    void signalResized(QResizeEvent* e);

protected:
    void resizeEvent(QResizeEvent* e) override
    {
        QWidget::resizeEvent(e);
        emit signalResized(e);
    }
};

// The main window stand-in sits away from the screen's corner so that a
// dialog placed on the screen instead of relative to it is caught.
struct TestMainWindow
{
    static constexpr int X = 100, Y = 50;
    QWidget window;
    WatchedWidget* list;

    explicit TestMainWindow(int listWidth = 240, int listHeight = 250)
    {
        window.setGeometry(X, Y, 240, 320);
        list = new WatchedWidget(&window);
        list->setGeometry(0, 40, listWidth, listHeight);
        window.show();
    }
    QPoint relative(const QWidget* dialog) const { return dialog->geometry().topLeft() - QPoint(X, Y); }
};

// Each shown dialog (not a message box) gets the next action, run from
// inside its modal loop; each message box gets the next button.
class DialogDriver : public QObject
{
    Q_OBJECT

public:
    using Action = std::function<void(QDialog*)>;

    std::deque<Action> actions;
    std::deque<QMessageBox::StandardButton> answers;
    int shown = 0;
    QStringList boxes; // "caption|text" of each message box

    DialogDriver()
    {
        qApp->installEventFilter(this);
        CMessageBox::setHook([this](QMessageBox& box) {
            boxes << box.windowTitle() + QLatin1Char('|') + box.text();
            const QMessageBox::StandardButton b = answers.empty() ? QMessageBox::Ok : answers.front();
            if (!answers.empty())
                answers.pop_front();
            QAbstractButton* button = box.button(b);
            if (!button)
                button = box.escapeButton();
            QTest::mouseClick(button, Qt::LeftButton);
        });
    }
    ~DialogDriver() override { CMessageBox::setHook({}); }

protected:
    bool eventFilter(QObject* o, QEvent* e) override
    {
        if (e->type() == QEvent::Show && o->isWidgetType() && !qobject_cast<QMessageBox*>(o)) {
            if (auto* dlg = qobject_cast<QDialog*>(o)) {
                ++shown;
                // A dialog nobody expected is closed rather than left to hang the test.
                Action a = [](QDialog* d) { d->reject(); };
                if (!actions.empty()) {
                    a = std::move(actions.front());
                    actions.pop_front();
                }
                QPointer<QDialog> guard(dlg);
                QTimer::singleShot(0, dlg, [a, guard] {
                    if (guard)
                        a(guard);
                });
            }
        }
        return QObject::eventFilter(o, e);
    }
};

#endif
