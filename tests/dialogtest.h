#ifndef VAULTIX_TESTS_DIALOGTEST_H
#define VAULTIX_TESTS_DIALOGTEST_H

// A stand-in for the record list, a driver that acts on each modal dialog,
// message box and pop-up menu from inside its own event loop, and a test
// case that gets a fresh vault and main window for each test function.

#include "vaulttest.h"

#include "platform/dialogdecoration.h"
#include "platform/messagebox.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDialog>
#include <QLineEdit>
#include <QMenu>
#include <QPointer>
#include <QResizeEvent>
#include <QTimer>
#include <QTreeView>
#include <QtTest>

#include <deque>
#include <functional>

// The control of that object name; a warning, not a crash, when missing.
template <class T> T* child(QWidget* d, const char* name)
{
    T* w = d->findChild<T*>(QString::fromLatin1(name));
    if (!w)
        qWarning("no control %s", name);
    return w;
}

// The first control of that class whose text reads `text`.
template <class T> T* withText(QWidget* d, const QString& text)
{
    for (T* w : d->findChildren<T*>()) {
        if (w->text() == text)
            return w;
    }
    qWarning("no control reads %s", qPrintable(text));
    return nullptr;
}

inline void click(QWidget* d, const char* name)
{
    QTest::mouseClick(child<QAbstractButton>(d, name), Qt::LeftButton);
}

// The title bar's OK and close controls, tapped with the pen.
inline void tapBar(QDialog* d, bool ok)
{
    CDialogDecoration* bar = CDialogDecoration::of(d);
    QVERIFY(bar);
    QTest::mouseClick(bar, Qt::LeftButton, {}, (ok ? bar->okRect() : bar->closeRect()).center());
}
inline void tapOk(QDialog* d) { tapBar(d, true); }
inline void tapClose(QDialog* d) { tapBar(d, false); }

// Types any text, as a keyboard whose layout has those letters would
// (QTest::keyClicks knows ASCII only). `retype` clears the field first.
inline void type(QWidget* w, const QString& text)
{
    for (const QChar c : text)
        QTest::sendKeyEvent(QTest::Click, w, Qt::Key_unknown, QString(c), Qt::NoModifier);
}
inline void retype(QLineEdit* edit, const QString& text)
{
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Delete);
    QTest::keyClicks(edit, text);
}

// The list's row whose field 1 reads `first`, and a tap on it.
inline QModelIndex rowOf(const QTreeView& list, const QString& first)
{
    const QAbstractItemModel* model = list.model();
    const QModelIndexList found = model->match(model->index(0, 1), Qt::DisplayRole, first, 1, Qt::MatchExactly);
    if (found.isEmpty())
        qWarning("no row %s", qPrintable(first));
    return found.value(0);
}
inline void tapRow(QTreeView& list, const QString& first)
{
    QTest::mouseClick(list.viewport(), Qt::LeftButton, {}, list.visualRect(rowOf(list, first)).center());
}

// One column of the list's rows, top to bottom.
inline QStringList cells(const QTreeView& list, int column = 1)
{
    QStringList out;
    const QAbstractItemModel* model = list.model();
    for (int i = 0; i < model->rowCount(); ++i)
        out << model->index(i, column).data().toString();
    return out;
}

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

// A vault on a new default file and a main window with a list area, made
// anew for each test function.
class DialogTestCase : public QObject
{
    Q_OBJECT

protected:
    std::unique_ptr<TestVault> m_tv;
    std::unique_ptr<TestMainWindow> m_main;

    CVault& vault() { return *m_tv->vault; }

protected slots:
    void init()
    {
        m_tv = std::make_unique<TestVault>();
        QVERIFY(m_tv->open());
        m_main = std::make_unique<TestMainWindow>();
    }
    void cleanup()
    {
        m_main.reset();
        m_tv.reset();
    }
};

#endif
