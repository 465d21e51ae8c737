// The main window and the autolock timer, driven through the real window
// with real presses; dialogs are answered through their title bar.

#include "dialogtest.h"

#include "tools/demodata.h"
#include "ui/application.h"
#include "ui/catcombo.h"
#include "ui/clipboardguard.h"
#include "ui/findbar.h"
#include "ui/vaultixwindow.h"
#include "ui/vxlistview.h"

#include <QClipboard>
#include <QMimeData>
#include <QToolBar>

namespace {

const QString Password = QStringLiteral("secret");
using Input = std::function<void(QWidget*)>;

// Checks that the dialog is a `type`, fills its entry fields in order and
// taps its title bar's OK.
std::function<void(QDialog*)> typeAndOk(const char* type, const QStringList& texts)
{
    return [type, texts](QDialog* d) {
        QCOMPARE(d->metaObject()->className(), type);
        const QList<QLineEdit*> edits = d->findChildren<QLineEdit*>();
        int i = 0;
        for (QLineEdit* e : edits) {
            if (!e->isVisible())
                continue;
            e->selectAll();
            QTest::keyClicks(e, texts.value(i++));
        }
        tapOk(d);
    };
}

} // namespace

class TstShell : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_files = 0;
    std::unique_ptr<CVault> m_vault;
    std::unique_ptr<CVaultixWindow> m_window;

    CvxListView* list() const { return m_window->getListView(); }

    void open(int records, const QString& password)
    {
        const QString path = m_dir.filePath(QStringLiteral("v%1.dat").arg(m_files++));
        QVERIFY(WriteDemoData(path, records, password));
        m_vault = std::make_unique<CVault>(path);
        QVERIFY(m_vault->session().lock() && m_vault->open());
        m_window = std::make_unique<CVaultixWindow>(*m_vault);
        // As the application wires them: any press begins the period again.
        connect(static_cast<CApplication*>(qApp), &CApplication::signalUserActivity, m_window.get(),
                &CVaultixWindow::RestartAutolockTimout);
        m_window->resize(240, 320);
        static_cast<QPEApplication*>(qApp)->showMainWidget(m_window.get());
        QVERIFY(QTest::qWaitForWindowExposed(m_window.get()));
    }

    QTimer* timer() const { return m_window->lockoutTimer(); }

    QAction* entry(const QString& text) const
    {
        for (QAction* a : m_window->utilityMenu()->actions()) {
            if (a->text() == text)
                return a;
        }
        return nullptr;
    }

    // Holds the pen on (or right-clicks) the row whose field 1 is `first`;
    // the menu that opens notes its entries in `entries` and runs `choice`.
    void openRowMenu(const QString& how, const QString& first, const QString& choice, QStringList* entries,
                     DialogDriver& driver)
    {
        const QModelIndex row = rowOf(*list(), first);
        QVERIFY(row.isValid());
        QWindow* window = m_window->windowHandle();
        const QPoint at = list()->viewport()->mapTo(m_window.get(), list()->visualRect(row).center());
        const bool hold = how == "hold";
        driver.menus.push_back([=](QMenu* menu) {
            for (QAction* a : menu->actions())
                *entries << (a->isSeparator() ? QStringLiteral("-") : a->text());
            // The pen comes up first: that must not count as a tap.
            if (hold)
                QTest::mouseRelease(window, Qt::LeftButton, {}, at);
            for (QAction* a : menu->actions()) {
                if (a->text() == choice)
                    QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(a).center());
            }
        });
        if (hold) {
            QTest::mousePress(window, Qt::LeftButton, {}, at);
            QVERIFY(QMetaObject::invokeMethod(static_cast<QPEApplication*>(qApp)->holdTimer(), "timeout"));
        } else {
            QTest::mouseClick(window, Qt::RightButton, {}, at);
        }
        QVERIFY(driver.menus.empty());
    }

    // Answers the password prompt with the password; notes and closes any
    // other dialog.
    static std::function<void(QDialog*)> noteDialog(QStringList* titles)
    {
        return [titles](QDialog* d) {
            *titles << d->windowTitle();
            if (d->windowTitle() == "Enter Password")
                typeAndOk("CdlgPassword", {Password})(d);
            else
                d->reject();
        };
    }

    QWidget* lockTool() const { return m_window->findChild<QToolBar*>("buttonToolBar")->widgetForAction(m_window->lockAction()); }


private slots:
    void initTestCase()
    {
        // The preferences of a user who never changed them.
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_dir.filePath("config")));
    }

    void cleanup()
    {
        m_window.reset();
        m_vault.reset();
    }

    // The window fits the handheld's screen; the menu has Find, and Quit
    // last; the find field shows only while it is in use.
    void window()
    {
        open(4, QString());
        QVERIFY(m_window->minimumSizeHint().width() <= 240);
        QVERIFY(entry("Find"));
        QCOMPARE(m_window->utilityMenu()->actions().last()->text(), QStringLiteral("Quit"));
        QVERIFY(!m_window->findBar()->isVisible());
        QCOMPARE(m_window->categoryCombo()->itemText(0), QStringLiteral("All"));
    }

    void lockButton_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<QStringList>("typed"); // one tap on the button each; "-": nothing typed
        QTest::addColumn<bool>("removeAfter");
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<bool>("timerRuns");

        const QStringList none;
        QTest::newRow("no password: a tap asks nothing") << QString() << QStringList{"-"} << false << false << true
                                                       << false;
        QTest::newRow("password, locked") << Password << none << false << true << true << false;
        QTest::newRow("unlocked with the right one") << Password << QStringList{Password} << false << true << false
                                                    << true;
        QTest::newRow("wrong one, then No") << Password << QStringList{"wrong"} << false << true << true << false;
        QTest::newRow("unlocked, then the password removed") << Password << QStringList{Password} << true << false
                                                            << false << true;
    }

    void lockButton()
    {
        QFETCH(QString, password);
        QFETCH(QStringList, typed);
        QFETCH(bool, removeAfter);
        QFETCH(bool, enabled);
        QFETCH(bool, locked);
        open(6, password);
        DialogDriver driver;
        driver.answers = {QMessageBox::No};
        for (const QString& t : typed) {
            if (t != "-")
                driver.actions.push_back(typeAndOk("CdlgPassword", {t}));
            QTest::mouseClick(lockTool(), Qt::LeftButton);
        }
        if (removeAfter) {
            driver.actions.push_back(typeAndOk("CdlgChgPassword", {Password, QString(), QString()}));
            entry("Password")->trigger();
        }
        QCOMPARE(driver.shown, int(typed.size() - typed.count("-") + removeAfter));
        QCOMPARE(driver.boxes, typed.value(0) == "wrong"
                                   ? QStringList{"Password Incorrect|You have entered an incorrect\npassword would "
                                                 "you like to\ntry again ?"}
                                   : QStringList());

        QAction* lock = m_window->lockAction();
        QCOMPARE(lock->isEnabled(), enabled);
        QCOMPARE(lockTool()->isEnabled(), enabled);
        QCOMPARE(m_vault->isLocked(), locked);
        QCOMPARE(lock->text(), locked ? QStringLiteral("Locked") : QStringLiteral("Unlocked"));
        QTEST(timer()->isActive(), "timerRuns");
    }

    // Which input begins the autolock period again; the timer, set to
    // 1234 ms first, shows whether one did.
    void autolock_data()
    {
        QTest::addColumn<int>("minutes");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<Input>("input");
        QTest::addColumn<int>("interval"); // 0: stopped; 1234: left as it was
        const QPoint at(50, 50);
        const Input press = [at](QWidget* w) { QTest::mousePress(w, Qt::LeftButton, {}, at); };
        QTest::newRow("pen press") << 5 << false << press << 300000;
        QTest::newRow("key press") << 5 << false << Input([](QWidget* w) { QTest::keyPress(w, Qt::Key_Down); })
                                   << 300000;
        QTest::newRow("wheel") << 5 << false << Input([at](QWidget* w) {
            QWheelEvent wheel(at, w->mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton, Qt::NoModifier,
                              Qt::NoScrollPhase, false);
            QApplication::sendEvent(w, &wheel);
        }) << 300000;
        QTest::newRow("press in a modal dialog") << 5 << false << Input([](QWidget* w) {
            QDialog dialog(w);
            QLineEdit* edit = new QLineEdit(&dialog);
            QTimer::singleShot(0, &dialog, [&] {
                QTest::mousePress(edit, Qt::LeftButton);
                dialog.accept();
            });
            QCOMPARE(dialog.exec(), int(QDialog::Accepted));
        }) << 300000;
        QTest::newRow("pen release") << 5 << false
                                     << Input([at](QWidget* w) { QTest::mouseRelease(w, Qt::LeftButton, {}, at); })
                                     << 1234;
        QTest::newRow("press while locked") << 5 << true << press << 0;
        QTest::newRow("autolock off") << 0 << false << press << 0;
    }

    void autolock()
    {
        QFETCH(int, minutes);
        QFETCH(bool, locked);
        QFETCH(Input, input);
        QFETCH(int, interval);
        open(2, Password);
        editSettings(*m_vault, [=](CvxConfig& c) { c.autolockMinutes = minutes; });
        if (!locked)
            QVERIFY(m_vault->unlock(Password));
        timer()->start(1234);
        input(list()->viewport());
        QCOMPARE(timer()->isActive(), interval != 0);
        if (interval)
            QCOMPARE(timer()->interval(), interval);
        QVERIFY(!timer()->isSingleShot());
    }

    // The time-out locks and rebuilds the list with the protected texts
    // hidden again; the timer then stays stopped.
    void autolockTimeout()
    {
        open(6, Password);
        editSettings(*m_vault, [](CvxConfig& c) { c.autolockMinutes = 5; });
        QVERIFY(m_vault->unlock(Password));
        QVERIFY(!cells(*list(), 2).contains(QStringLiteral("******")));
        QVERIFY(timer()->isActive());

        QVERIFY(QMetaObject::invokeMethod(timer(), "timeout"));
        QVERIFY(m_vault->isLocked());
        QVERIFY(!timer()->isActive());
        QCOMPARE(cells(*list(), 2).count(QStringLiteral("******")), 3);
        QCOMPARE(m_window->lockAction()->text(), QStringLiteral("Locked"));
    }

    // Demo records, by field 1: Home 1 (Bank, protected), Home 2 (Calling
    // Card), Office 4 (Computer Login); each has fields 1 to 4 and a note.
    void rowMenuCommands_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("choice");
        QTest::addColumn<QStringList>("copies"); // the entries after View, Edit and Delete
        QTest::addColumn<QStringList>("dialogs");
        QTest::addColumn<int>("rowsAfter");
        QTest::newRow("hold: View") << "hold" << "Home 2" << "View" << QStringList{"Company", "Access #", "PIN"}
                                    << QStringList{"View Record"} << 6;
        QTest::newRow("right click: Edit of a protected record unlocks first")
            << "right" << "Home 1" << "Edit" << QStringList{"Bank", "Account #", "PIN"}
            << QStringList{"Enter Password", "Edit Record"} << 6;
        QTest::newRow("hold: Delete, asked first") << "hold" << "Office 4" << "Delete"
                                                   << QStringList{"System", "User Name", "Password"} << QStringList{}
                                                   << 5;
    }
    void rowMenuCommands()
    {
        QFETCH(QString, how);
        QFETCH(QString, row);
        QFETCH(QString, choice);
        QFETCH(QStringList, copies);
        open(6, Password);
        DialogDriver driver;
        driver.answers = {QMessageBox::Yes};
        QStringList titles;
        for (int i = 0; i < 2; ++i)
            driver.actions.push_back(noteDialog(&titles));
        QStringList entries;
        openRowMenu(how, row, choice, &entries, driver);
        QStringList expected = {"View", "Edit", "Delete", "-"};
        for (const QString& label : copies + QStringList{"Field 4"})
            expected << "Copy " + label;
        QCOMPARE(entries, expected);
        QTEST(titles, "dialogs");
        QCOMPARE(driver.boxes.size(), choice == "Delete" ? 1 : 0);
        QTEST(list()->shownRowCount(), "rowsAfter");
    }

    // A copied field stays until the time runs out, the data locks or
    // anything else is copied; the copy is marked secret.
    void copyToClipboard_data()
    {
        QTest::addColumn<QString>("how");
        QTest::addColumn<QString>("row");
        QTest::addColumn<QString>("choice");
        QTest::addColumn<bool>("givePassword");
        QTest::addColumn<QString>("copied");
        QTest::addColumn<QString>("then");
        QTest::addColumn<QString>("after");
        QTest::newRow("plain field, time runs out") << "hold" << "Home 2" << "Copy Access #" << false << "037-07919"
                                                    << "timeout" << "";
        QTest::newRow("field 1, something else copied") << "right" << "Home 2" << "Copy Company" << false << "Home 2"
                                                        << "other" << "mine";
        QTest::newRow("protected while locked: unlocked first; autolock clears")
            << "hold" << "Home 1" << "Copy Account #" << true << "000-00000" << "autolock" << "";
        QTest::newRow("protected, unlock refused: nothing copied") << "right" << "Home 1" << "Copy PIN" << false
                                                                   << "before" << "timeout" << "before";
    }
    void copyToClipboard()
    {
        QFETCH(QString, how);
        QFETCH(QString, row);
        QFETCH(QString, choice);
        QFETCH(bool, givePassword);
        QFETCH(QString, then);
        open(6, Password);
        QClipboard* clipboard = QGuiApplication::clipboard();
        clipboard->setText("before");
        DialogDriver driver;
        QStringList titles;
        if (givePassword)
            driver.actions.push_back(noteDialog(&titles));
        QStringList entries;
        openRowMenu(how, row, choice, &entries, driver);
        QCOMPARE(titles, givePassword ? QStringList{"Enter Password"} : QStringList{});
        QTEST(clipboard->text(), "copied");
        QTimer* clear = list()->clipboard()->timer();
        if (clipboard->text() != "before") {
            QCOMPARE(clipboard->mimeData()->data("x-kde-passwordManagerHint"), QByteArray("secret"));
            QVERIFY(clear->isActive());
            QCOMPARE(clear->interval(), 30000);
        }
        if (then == "other")
            clipboard->setText("mine");
        if (then == "autolock")
            QVERIFY(QMetaObject::invokeMethod(timer(), "timeout"));
        else
            QVERIFY(QMetaObject::invokeMethod(clear, "timeout"));
        QTEST(clipboard->text(), "after");
    }

    // Typing narrows the rows of the chosen category to those whose field
    // 1, 2 or 3 holds the text; Escape puts the field away and shows all.
    void findWithCategoryFilter_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("category");
        QTest::addColumn<bool>("unlocked");
        QTest::addColumn<QStringList>("rows");
        QTest::newRow("letter case and accents") << "hÓmE" << "All" << false << QStringList{"Home 1", "Home 2"};
        QTest::newRow("field 2 of a plain record") << "037-0" << "All" << false << QStringList{"Home 2"};
        QTest::newRow("protected field, locked") << "000-00" << "All" << false << QStringList{};
        QTest::newRow("protected field, unlocked") << "000-00" << "All" << true << QStringList{"Home 1"};
        QTest::newRow("field 4 is not searched") << "x1" << "All" << true << QStringList{};
        QTest::newRow("within the category") << "o" << "Bank" << false << QStringList{"Home 1"};
        QTest::newRow("empty: the whole category") << "" << "Email" << false << QStringList{"Holiday 6"};
    }
    void findWithCategoryFilter()
    {
        QFETCH(QString, typed);
        QFETCH(QString, category);
        QFETCH(bool, unlocked);
        open(6, Password);
        if (unlocked)
            QVERIFY(m_vault->unlock(Password));
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        CCatCombo* combo = m_window->categoryCombo();
        for (int i = 0; i < combo->count() && combo->currentText() != category; ++i)
            QTest::keyClick(combo, Qt::Key_Down);
        QTest::keyClick(list(), Qt::Key_F, Qt::ControlModifier);
        CFindBar* bar = m_window->findBar();
        QVERIFY(bar->isVisible() && bar->hasFocus());
        QTest::keyClicks(bar, typed);
        QTEST(cells(*list()), "rows");
        const int inCategory = category == "All" ? 6 : 1;
        QTest::keyClick(bar, Qt::Key_Escape);
        QVERIFY(!bar->isVisible());
        QCOMPARE(cells(*list()).size(), inCategory);
    }

    // Quit, from the menu or with Ctrl+Q: the copied secret leaves the
    // clipboard, the data file is closed and the window goes.
    void quit_data()
    {
        QTest::addColumn<bool>("keys");
        QTest::newRow("Utility > Quit") << false;
        QTest::newRow("Ctrl+Q") << true;
    }
    void quit()
    {
        QFETCH(bool, keys);
        open(2, QString());
        m_window->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_window.get()));
        list()->clipboard()->copy("secret text", 0);
        QCOMPARE(QGuiApplication::clipboard()->text(), QString("secret text"));
        if (keys)
            QTest::keyClick(list(), Qt::Key_Q, Qt::ControlModifier);
        else
            entry("Quit")->trigger();
        QVERIFY(!m_window->isVisible());
        QVERIFY(!m_vault->isOpen());
        QCOMPARE(QGuiApplication::clipboard()->text(), QString());
    }
};

int main(int argc, char** argv)
{
    CApplication app(argc, argv);
    TstShell test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_shell.moc"
