// The handheld layer: the dialogs' title bar, Return and Escape in dialogs,
// push buttons that leave Return to the dialog, and press-and-hold.

#include "platform/dialogdecoration.h"
#include "platform/messagebox.h"
#include "platform/qpeapplication.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QtTest>

#include <functional>

namespace {

// Records what reaches it, to tell a tap from a held press.
class PenTarget : public QWidget
{
public:
    QList<QPair<QEvent::Type, Qt::MouseButton>> mouse;
    int contextMenus = 0;

protected:
    void mousePressEvent(QMouseEvent* e) override { mouse.append({e->type(), e->button()}); }
    void mouseReleaseEvent(QMouseEvent* e) override { mouse.append({e->type(), e->button()}); }
    void contextMenuEvent(QContextMenuEvent*) override { ++contextMenus; }
};

// A form like the program's: fixed size, placed by itself below the bar's room.
struct Form
{
    QDialog dialog;
    QLineEdit* line;
    QPlainTextEdit* note;
    QPushButton* button;
    int buttonClicks = 0;

    explicit Form(QWidget* parent)
        : dialog(parent)
    {
        dialog.setWindowTitle(QStringLiteral("Some Form"));
        dialog.setFixedSize(210, 220);
        dialog.move(15, 43);
        line = new QLineEdit(&dialog);
        line->setGeometry(10, 10, 100, 18);
        note = new QPlainTextEdit(&dialog);
        note->setGeometry(10, 40, 150, 60);
        button = new QPushButton(QStringLiteral("&Custom"), &dialog);
        button->setGeometry(10, 110, 60, 26);
        QObject::connect(button, &QPushButton::clicked, [this] { ++buttonClicks; });
    }

    // Runs the form modally, does `act` inside its loop; -1 when the form
    // was still open afterwards.
    int run(const std::function<void()>& act)
    {
        QTimer::singleShot(0, &dialog, [this, act] {
            act();
            if (dialog.isVisible())
                dialog.done(-1);
        });
        return dialog.exec();
    }
};

} // namespace

class TstQpePlatform : public QObject
{
    Q_OBJECT

private:
    QWidget m_main;

private slots:
    void initTestCase()
    {
        m_main.resize(240, 320);
        static_cast<QPEApplication*>(qApp)->showMainWidget(&m_main);
        QVERIFY(QTest::qWaitForWindowExposed(&m_main));
        QCOMPARE(m_main.mapToGlobal(QPoint(0, 0)), QPoint(0, 0));
    }

    void cleanup() { CMessageBox::setHook({}); }

    void controls_data()
    {
        QTest::addColumn<QString>("action");
        QTest::addColumn<int>("result");
        QTest::addColumn<int>("buttonClicks");
        QTest::newRow("OK control") << "ok" << int(QDialog::Accepted) << 0;
        QTest::newRow("close control") << "close" << int(QDialog::Rejected) << 0;
        QTest::newRow("Return in a line edit") << "return-line" << int(QDialog::Accepted) << 0;
        QTest::newRow("Enter on the keypad") << "enter-line" << int(QDialog::Accepted) << 0;
        QTest::newRow("Escape") << "escape" << int(QDialog::Rejected) << 0;
        QTest::newRow("Return on a push button") << "return-button" << int(QDialog::Accepted) << 0;
        QTest::newRow("Return in the note stays there") << "return-note" << -1 << 0;
        QTest::newRow("a pen on the caption does nothing") << "caption" << -1 << 0;
    }

    void controls()
    {
        QFETCH(QString, action);
        QFETCH(int, result);
        QFETCH(int, buttonClicks);
        Form form(&m_main);
        QRect seen, bar;
        QString caption;
        const int got = form.run([&] {
            CDialogDecoration* deco = CDialogDecoration::of(&form.dialog);
            QVERIFY(deco && deco->isVisible());
            seen = form.dialog.geometry();
            bar = deco->geometry();
            caption = deco->caption();
            if (action == "ok")
                QTest::mouseClick(deco, Qt::LeftButton, {}, deco->okRect().center());
            else if (action == "close")
                QTest::mouseClick(deco, Qt::LeftButton, {}, deco->closeRect().center());
            else if (action == "caption")
                QTest::mouseClick(deco, Qt::LeftButton, {}, QPoint(20, 10));
            else if (action == "return-line")
                QTest::keyClick(form.line, Qt::Key_Return);
            else if (action == "enter-line")
                QTest::keyClick(form.line, Qt::Key_Enter, Qt::KeypadModifier);
            else if (action == "escape")
                QTest::keyClick(form.line, Qt::Key_Escape);
            else if (action == "return-button") {
                form.button->setFocus();
                QTest::keyClick(form.button, Qt::Key_Return);
            } else if (action == "return-note") {
                form.note->setFocus();
                QTest::keyClicks(form.note, QStringLiteral("a"));
                QTest::keyClick(form.note, Qt::Key_Return);
                QCOMPARE(form.note->toPlainText(), QStringLiteral("a\n"));
            }
        });
        QCOMPARE(got, result);
        QCOMPARE(form.buttonClicks, buttonClicks);
        // The bar lies above the form, which keeps the place and size it chose.
        QCOMPARE(seen, QRect(15, 43, 210, 220));
        QCOMPARE(bar, QRect(15, 43 - CDialogDecoration::Height, 210, CDialogDecoration::Height));
        QCOMPARE(caption, QStringLiteral("Some Form"));
        QVERIFY(form.dialog.windowFlags() & Qt::FramelessWindowHint);
        QVERIFY(!form.button->autoDefault());
        QVERIFY(!CDialogDecoration::of(&form.dialog)->isVisible());
    }

    // The bar follows a form that moves itself again (as the forms do when
    // the list's size changes) and a second showing.
    void followsTheForm()
    {
        Form form(&m_main);
        QRect bar;
        form.run([&] {
            form.dialog.move(7, 21);
            form.dialog.setFixedSize(226, 164);
            bar = CDialogDecoration::of(&form.dialog)->geometry();
        });
        QCOMPARE(bar, QRect(7, 0, 226, CDialogDecoration::Height));
        QCOMPARE(form.dialog.pos(), QPoint(7, 21));
        QCOMPARE(form.run([&] {
                     auto* deco = CDialogDecoration::of(&form.dialog);
                     QTest::mouseClick(deco, Qt::LeftButton, {}, deco->okRect().center());
                 }),
                 int(QDialog::Accepted));
    }

    void messageBoxes_data()
    {
        QTest::addColumn<bool>("useOk");
        QTest::addColumn<bool>("answer");
        QTest::newRow("OK gives the default answer") << true << true;
        QTest::newRow("close gives the escape answer") << false << false;
    }

    void messageBoxes()
    {
        QFETCH(bool, useOk);
        QFETCH(bool, answer);
        QString caption;
        QRect box, bar;
        bool answerButtonsKeepReturn = false;
        CMessageBox::setHook([&](QMessageBox& b) {
            CDialogDecoration* deco = CDialogDecoration::of(&b);
            QVERIFY(deco && deco->isVisible());
            caption = deco->caption();
            box = b.frameGeometry();
            bar = deco->geometry();
            answerButtonsKeepReturn = qobject_cast<QPushButton*>(b.button(QMessageBox::No))->autoDefault();
            QTest::mouseClick(deco, Qt::LeftButton, {}, (useOk ? deco->okRect() : deco->closeRect()).center());
        });
        QCOMPARE(CMessageBox::question(&m_main, QStringLiteral("Password Incorrect"), QStringLiteral("Try again ?")),
                 answer);
        QCOMPARE(caption, QStringLiteral("Password Incorrect"));
        QCOMPARE(bar.bottom() + 1, box.top());
        QVERIFY(bar.top() >= 0);
        QVERIFY(answerButtonsKeepReturn);
    }

    void pressAndHold_data()
    {
        QTest::addColumn<bool>("holdMode");
        QTest::newRow("held on a right-on-hold widget") << true;
        QTest::newRow("tap on a right-on-hold widget") << false;
    }

    void pressAndHold()
    {
        QFETCH(bool, holdMode);
        PenTarget target;
        target.resize(100, 100);
        QPEApplication::setStylusOperation(&target, QPEApplication::RightOnHold);
        target.show();
        QVERIFY(QTest::qWaitForWindowExposed(&target));
        QTest::mousePress(&target, Qt::LeftButton, {}, QPoint(30, 30));
        using Seen = QList<QPair<QEvent::Type, Qt::MouseButton>>;
        if (holdMode) {
            QTRY_COMPARE(target.contextMenus, 1);
            QTest::mouseRelease(&target, Qt::LeftButton, {}, QPoint(30, 30));
            const Seen held{{QEvent::MouseButtonPress, Qt::LeftButton},
                            {QEvent::MouseButtonPress, Qt::RightButton},
                            {QEvent::MouseButtonRelease, Qt::RightButton}};
            QCOMPARE(target.mouse, held);
        } else {
            QTest::mouseRelease(&target, Qt::LeftButton, {}, QPoint(30, 30));
            const Seen tap{{QEvent::MouseButtonPress, Qt::LeftButton}, {QEvent::MouseButtonRelease, Qt::LeftButton}};
            QCOMPARE(target.mouse, tap);
            QCOMPARE(target.contextMenus, 0);
        }
    }
};

int main(int argc, char** argv)
{
    QPEApplication app(argc, argv);
    TstQpePlatform test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_qpeplatform.moc"
