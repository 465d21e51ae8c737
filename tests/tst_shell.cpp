// The main window and the autolock timer, driven through the real window
// with real presses; dialogs are answered through their title bar.

#include "dialogtest.h"

#include "platform/dialogdecoration.h"
#include "platform/resource.h"
#include "tools/demodata.h"
#include "ui/application.h"
#include "ui/catcombo.h"
#include "ui/vaultixwindow.h"
#include "ui/vxlistview.h"
#include "vault/vault.h"

#include <QLineEdit>
#include <QMenu>
#include <QMenuBar>
#include <QTemporaryDir>
#include <QToolBar>

#include <memory>

namespace {

const QString Password = QStringLiteral("secret");

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
        CDialogDecoration* bar = CDialogDecoration::of(d);
        QTest::mouseClick(bar, Qt::LeftButton, {}, bar->okRect().center());
    };
}

QImage picture(const QString& name)
{
    return Resource::loadPixmap(name).toImage().convertToFormat(QImage::Format_ARGB32);
}

QImage shown(const QAction* action, QIcon::Mode mode)
{
    return action->icon().pixmap(QSize(20, 20), mode).toImage().convertToFormat(QImage::Format_ARGB32);
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
    void setAutolock(int minutes)
    {
        CvxConfig settings = m_vault->settings();
        settings.autolockMinutes = minutes;
        QVERIFY(m_vault->saveSettings(settings).ok());
    }

    QWidget* lockTool() const { return m_window->findChild<QToolBar*>("buttonToolBar")->widgetForAction(m_window->lockAction()); }

    // Column 2 of every row: "******" for a protected record while locked.
    QStringList secondFields() const
    {
        QStringList out;
        for (int i = 0; i < list()->topLevelItemCount(); ++i)
            out << list()->topLevelItem(i)->text(2);
        return out;
    }

private slots:
    void cleanup()
    {
        m_window.reset();
        m_vault.reset();
    }

    void window()
    {
        open(4, QString());
        QCOMPARE(m_window->windowTitle(), QStringLiteral("Vaultix V1.0.0"));
        QCOMPARE(m_window->centralWidget(), list());

        auto* bar = m_window->findChild<QMenuBar*>();
        QVERIFY(bar);
        QCOMPARE(bar->actions().size(), 1);
        QCOMPARE(bar->actions().first()->text(), QStringLiteral("Utility"));
        QStringList entries;
        for (QAction* a : m_window->utilityMenu()->actions())
            entries << (a->isSeparator() ? QStringLiteral("-") : a->text());
        QCOMPARE(entries, QStringList({"Password", "Category", "Configuration", "-", "Import", "Export", "-", "About"}));

        const QList<QToolBar*> bars = m_window->findChildren<QToolBar*>();
        QCOMPARE(bars.size(), 2);
        for (QToolBar* b : bars)
            QVERIFY(!b->isMovable());
        QCOMPARE(m_window->newAction()->text(), QStringLiteral("New"));
        QVERIFY(!m_window->newAction()->icon().isNull());

        CCatCombo* combo = m_window->categoryCombo();
        QCOMPARE(combo->itemText(0), QStringLiteral("All"));
        QCOMPARE(combo->count(), 1 + list()->categories()->count);
        // All 4 records shown, the filter off.
        QCOMPARE(list()->filter(), -1);
        QCOMPARE(list()->topLevelItemCount(), 4);
        // The whole window fits the handheld's screen.
        QVERIFY(m_window->minimumSizeHint().width() <= 240);
    }

    // The "Password" entry reaches the list, which runs the change dialog.
    void passwordEntry()
    {
        open(2, QString());
        DialogDriver driver;
        driver.actions.push_back(typeAndOk("CdlgChgPassword", {Password, Password}));
        m_window->utilityMenu()->actions().first()->trigger();
        QCOMPARE(driver.shown, 1);
        QVERIFY(m_vault->settings().anyVerifierByte());
        QVERIFY(m_window->lockAction()->isEnabled());
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
        QTest::newRow("no password: nothing to lock") << QString() << none << false << false << true << false;
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
        QFETCH(bool, timerRuns);

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
            m_window->utilityMenu()->actions().first()->trigger();
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
        const QString base = locked ? QStringLiteral("korel/buttons/lock") : QStringLiteral("korel/buttons/unlock");
        QCOMPARE(shown(lock, QIcon::Normal), picture(base));
        QCOMPARE(shown(lock, QIcon::Disabled), picture(base + "_inactv"));
        QCOMPARE(timer()->isActive(), timerRuns);
    }

    void autolock_data()
    {
        QTest::addColumn<int>("minutes");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<QString>("input");
        QTest::addColumn<int>("interval"); // 0: stopped; 1234: left as it was

        QTest::newRow("pen press") << 5 << false << "press" << 300000;
        QTest::newRow("99 minutes") << 99 << false << "press" << 5940000;
        QTest::newRow("key press") << 5 << false << "key" << 300000;
        QTest::newRow("wheel") << 5 << false << "wheel" << 300000;
        QTest::newRow("press in a modal dialog") << 5 << false << "dialog" << 300000;
        QTest::newRow("pen release") << 5 << false << "release" << 1234;
        QTest::newRow("key release") << 5 << false << "keyrelease" << 1234;
        QTest::newRow("pen move") << 5 << false << "move" << 1234;
        QTest::newRow("press while locked") << 5 << true << "press" << 0;
        QTest::newRow("autolock off") << 0 << false << "press" << 0;
    }

    void autolock()
    {
        QFETCH(int, minutes);
        QFETCH(bool, locked);
        QFETCH(QString, input);
        QFETCH(int, interval);

        open(2, Password);
        setAutolock(minutes);
        if (!locked)
            QVERIFY(m_vault->unlock(Password));
        timer()->start(1234);
        QWidget* target = list()->viewport();
        const QPoint at(50, 50);
        if (input == "press") {
            QTest::mousePress(target, Qt::LeftButton, {}, at);
        } else if (input == "release") {
            QTest::mouseRelease(target, Qt::LeftButton, {}, at);
        } else if (input == "move") {
            QTest::mouseMove(target, at);
        } else if (input == "key") {
            QTest::keyPress(list(), Qt::Key_Down);
        } else if (input == "keyrelease") {
            QTest::keyRelease(list(), Qt::Key_Down);
        } else if (input == "wheel") {
            QWheelEvent wheel(at, target->mapToGlobal(at), QPoint(), QPoint(0, -120), Qt::NoButton, Qt::NoModifier,
                              Qt::NoScrollPhase, false);
            QApplication::sendEvent(target, &wheel);
        } else if (input == "dialog") {
            QDialog dialog(list());
            QLineEdit* edit = new QLineEdit(&dialog);
            QTimer::singleShot(0, &dialog, [&] {
                QTest::mousePress(edit, Qt::LeftButton);
                dialog.accept();
            });
            QCOMPARE(dialog.exec(), int(QDialog::Accepted));
        }
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
        setAutolock(5);
        QVERIFY(m_vault->unlock(Password));
        QVERIFY(!secondFields().contains(QStringLiteral("******")));
        QVERIFY(timer()->isActive());

        QVERIFY(QMetaObject::invokeMethod(timer(), "timeout"));
        QVERIFY(m_vault->isLocked());
        QVERIFY(!timer()->isActive());
        QCOMPARE(secondFields().count(QStringLiteral("******")), 3);
        QCOMPARE(m_window->lockAction()->text(), QStringLiteral("Locked"));
    }
};

int main(int argc, char** argv)
{
    CApplication app(argc, argv);
    TstShell test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_shell.moc"
