// The handheld layer: the dialogs' title bar, Return and Escape in dialogs,
// push buttons that leave Return to the dialog. Press-and-hold is seen
// where it counts, on the window's rows (tst_shell).

#include "platform/dialogdecoration.h"
#include "platform/messagebox.h"
#include "platform/qpeapplication.h"

#include <QDialog>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QtTest>

#include <functional>

namespace {

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

using Act = std::function<void(Form&, CDialogDecoration*)>;

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
        QTest::addColumn<Act>("act");
        QTest::addColumn<int>("result");
        const auto key = [](int key, Qt::KeyboardModifiers mods = {}) {
            return Act([=](Form& f, CDialogDecoration*) { QTest::keyClick(f.line, Qt::Key(key), mods); });
        };
        const auto tap = [](int ok) {
            return Act([=](Form&, CDialogDecoration* deco) {
                const QPoint at = ok < 0 ? QPoint(20, 10) : (ok ? deco->okRect() : deco->closeRect()).center();
                QTest::mouseClick(deco, Qt::LeftButton, {}, at);
            });
        };
        QTest::newRow("OK control") << tap(1) << int(QDialog::Accepted);
        QTest::newRow("close control") << tap(0) << int(QDialog::Rejected);
        QTest::newRow("a pen on the caption does nothing") << tap(-1) << -1;
        QTest::newRow("Return in a line edit") << key(Qt::Key_Return) << int(QDialog::Accepted);
        QTest::newRow("Enter on the keypad") << key(Qt::Key_Enter, Qt::KeypadModifier) << int(QDialog::Accepted);
        QTest::newRow("Escape") << key(Qt::Key_Escape) << int(QDialog::Rejected);
        // A push button leaves Return to the dialog; the note keeps it.
        QTest::newRow("Return on a push button") << Act([](Form& f, CDialogDecoration*) {
            f.button->setFocus();
            QTest::keyClick(f.button, Qt::Key_Return);
        }) << int(QDialog::Accepted);
        QTest::newRow("Return in the note stays there") << Act([](Form& f, CDialogDecoration*) {
            f.note->setFocus();
            QTest::keyClicks(f.note, QStringLiteral("a"));
            QTest::keyClick(f.note, Qt::Key_Return);
            QCOMPARE(f.note->toPlainText(), QStringLiteral("a\n"));
        }) << -1;
    }

    void controls()
    {
        QFETCH(Act, act);
        Form form(&m_main);
        QRect seen, bar;
        QString caption;
        QTEST(form.run([&] {
            CDialogDecoration* deco = CDialogDecoration::of(&form.dialog);
            QVERIFY(deco && deco->isVisible());
            seen = form.dialog.geometry();
            bar = deco->geometry();
            caption = deco->caption();
            act(form, deco);
        }),
              "result");
        QCOMPARE(form.buttonClicks, 0);
        // The bar lies above the form, which keeps the place and size it chose.
        QCOMPARE(seen, QRect(15, 43, 210, 220));
        QCOMPARE(bar, QRect(15, 43 - CDialogDecoration::Height, 210, CDialogDecoration::Height));
        QCOMPARE(caption, QStringLiteral("Some Form"));
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

    // A message box has the title bar too: OK gives the default answer,
    // close the escape one; the answer buttons keep Return.
    void messageBoxes()
    {
        for (bool useOk : {true, false}) {
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
                     useOk);
            QCOMPARE(caption, QStringLiteral("Password Incorrect"));
            QCOMPARE(bar.bottom() + 1, box.top());
            QVERIFY(bar.top() >= 0);
            QVERIFY(answerButtonsKeepReturn);
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
