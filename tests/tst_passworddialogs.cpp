#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/session.h"
#include "ui/dlgchgpassword.h"
#include "ui/dlgpassword.h"
#include "ui/dlgpwdwarn.h"
#include "vault/password.h"
#include "ui/unlockdatabase.h"

#include "dialogtest.h"

#include <QCheckBox>
#include <QFile>
#include <QLineEdit>
#include <QTemporaryDir>

#include <cstring>
#include <memory>

namespace {
const QString OldWrong = "Password Incorrect|The old password you\nentered is incorrect.";
const QString NewDiffer = "Password Incorrect|The new passwords you\nentered do not match.";
const QString Retry = "Password Incorrect|You have entered an incorrect\npassword would you like to\ntry again ?";
const char* const Fields[] = {"oldPassword", "newPassword", "confirmPassword"};

QLineEdit* field(QObject* d, const char* name)
{
    return d->findChild<QLineEdit*>(name);
}

void setPassword(const QString& pwd)
{
    std::memset(_AppCfg->verifier, 0, sizeof _AppCfg->verifier);
    _AppCfg->passwordLength = 0;
    if (!pwd.isEmpty())
        EncryptAddNewPwd(pwd);
    _AppCfg->locked = true;
}
} // namespace

class TstPasswordDialogs : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;
    std::unique_ptr<TestMainWindow> m_main;
    int m_files = 0;

private slots:
    void initTestCase()
    {
        // Each test gets a copy of one new file: creating one syncs every record.
        CSession first(m_dir.filePath("template.dat"));
        QVERIFY(first.open());
    }
    void init()
    {
        const QString path = m_dir.filePath(QString("d%1.dat").arg(m_files++));
        QVERIFY(QFile::copy(m_dir.filePath("template.dat"), path));
        m_session = std::make_unique<CSession>(path);
        QVERIFY(m_session->open());
        m_session->loadCollections();
        m_main = std::make_unique<TestMainWindow>();
    }
    void cleanup()
    {
        m_main.reset();
        m_session.reset();
    }

    void changeFlow_data()
    {
        QTest::addColumn<QString>("current");
        QTest::addColumn<QStringList>("typed"); // old, new, confirmation
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("after"); // the password in force afterwards
        QTest::newRow("none, all empty") << "" << QStringList{"", "", ""} << 0 << "" << "";
        QTest::newRow("none, set") << "" << QStringList{"", "abc", "abc"} << 1 << "" << "abc";
        QTest::newRow("none, mismatch") << "" << QStringList{"", "abc", "abd"} << 0 << NewDiffer << "";
        QTest::newRow("remove") << "pw" << QStringList{"pw", "", ""} << 2 << "" << "";
        QTest::newRow("change") << "pw" << QStringList{"pw", "n2", "n2"} << 3 << "" << "n2";
        QTest::newRow("empty old") << "pw" << QStringList{"", "n2", "n2"} << 0 << OldWrong << "pw";
        QTest::newRow("wrong old") << "pw" << QStringList{"px", "", ""} << 0 << OldWrong << "pw";
        QTest::newRow("change, mismatch") << "pw" << QStringList{"pw", "n2", "n3"} << 0 << NewDiffer << "pw";
    }
    void changeFlow()
    {
        QFETCH(QString, current);
        QFETCH(QStringList, typed);
        QFETCH(QString, message);
        QFETCH(QString, after);
        setPassword(current);
        DialogDriver driver;
        driver.actions.push_back([&](QDialog* d) {
            // Without a password there is no old field to fill.
            QCOMPARE(field(d, "oldPassword")->isVisibleTo(d), !current.isEmpty());
            for (int i = current.isEmpty() ? 1 : 0; i < 3; ++i)
                QTest::keyClicks(field(d, Fields[i]), typed[i]);
            d->accept(); // the title bar's OK
        });
        QTEST(CdlgChgPassword::RunChangeFlow(m_main->list, m_session->records(), m_session->categories()), "status");
        QCOMPARE(driver.boxes, message.isEmpty() ? QStringList() : QStringList{message});
        QCOMPARE(_AppCfg->anyVerifierByte(), !after.isEmpty());
        QVERIFY(after.isEmpty() || CheckValidPwd(after));
    }

    // The change dialog stops at 32 characters; the entry dialog takes any length.
    void limitsAndEcho()
    {
        setPassword("pw");
        const QString long40(40, 'x');
        for (bool cleartext : {false, true}) {
            _AppCfg->cleartextPwd = cleartext;
            const QLineEdit::EchoMode mode = cleartext ? QLineEdit::Normal : QLineEdit::Password;
            CdlgChgPassword change(m_main->list);
            for (const char* name : Fields) {
                QCOMPARE(field(&change, name)->echoMode(), mode);
                QTest::keyClicks(field(&change, name), long40);
                QCOMPARE(field(&change, name)->text(), long40.left(32));
            }
            CdlgPassword entry(m_main->list, m_main->list, "Prompt");
            QCOMPARE(field(&entry, "password")->echoMode(), mode);
            QTest::keyClicks(field(&entry, "password"), long40);
            QCOMPARE(entry.GetPassword(), long40);
        }
    }

    void unlock_data()
    {
        QTest::addColumn<QString>("password");    // "" = none set
        QTest::addColumn<bool>("locked");         // at the start
        QTest::addColumn<QString>("prompt");      // null: the short form
        QTest::addColumn<QStringList>("entries"); // one per run; "<esc>" cancels
        QTest::addColumn<QStringList>("answers"); // to the retry question, in turn
        QTest::addColumn<bool>("result");

        const QString none;
        const QStringList no;
        QTest::newRow("right") << "secret" << true << none << QStringList{"secret"} << no << true;
        QTest::newRow("wrong, No") << "secret" << true << none << QStringList{"bad"} << QStringList{"No"} << false;
        QTest::newRow("wrong, Yes, right") << "secret" << true << "Prompt" << QStringList{"bad", "secret"} << QStringList{"Yes"} << true;
        QTest::newRow("wrong, Yes, cancel") << "secret" << true << none << QStringList{"secr", "<esc>"} << QStringList{"Yes"} << false;
        QTest::newRow("cancelled") << "secret" << true << none << QStringList{"<esc>"} << no << false;
        QTest::newRow("no password") << "" << true << none << no << no << true;
        QTest::newRow("unlocked") << "secret" << false << none << no << no << true;
    }
    void unlock()
    {
        QFETCH(QString, password);
        QFETCH(bool, locked);
        QFETCH(QString, prompt);
        QFETCH(QStringList, entries);
        QFETCH(QStringList, answers);
        QFETCH(bool, result);
        setPassword(password);
        _AppCfg->locked = locked;

        DialogDriver driver;
        QString left; // what the field held when the dialog last closed
        for (const QString& entry : entries) {
            driver.actions.push_back([entry, &left, prompt](QDialog* d) {
                QCOMPARE(d->height(), prompt.isNull() ? 57 : 115);
                QCOMPARE(field(d, "password")->text(), left); // a retry keeps the entry
                if (entry == "<esc>")
                    return QTest::keyClick(d, Qt::Key_Escape);
                field(d, "password")->clear();
                QTest::keyClicks(field(d, "password"), left = entry);
                d->accept();
            });
        }
        for (const QString& a : answers)
            driver.answers.push_back(a == "Yes" ? QMessageBox::Yes : QMessageBox::No);

        QCOMPARE(UnlockDatabase(m_main->list, m_main->list, prompt), result);
        QCOMPARE(driver.shown, entries.size());
        QCOMPARE(driver.boxes, QStringList(answers.size(), Retry));
        // Without a password the flag is never cleared.
        QCOMPARE(_AppCfg->locked, locked && !(result && !password.isEmpty()));
    }

    void startupWarning_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("flag");
        QTest::addColumn<bool>("untick");
        QTest::addColumn<bool>("shown");
        QTest::addColumn<bool>("stored"); // read back from the file
        QTest::newRow("unticked") << "" << true << true << true << false;
        QTest::newRow("left ticked") << "" << true << false << true << true;
        QTest::newRow("turned off") << "" << false << false << false << false;
        QTest::newRow("password set") << "pw" << true << false << false << true;
    }
    void startupWarning()
    {
        QFETCH(QString, password);
        QFETCH(bool, flag);
        QFETCH(bool, untick);
        setPassword(password);
        _AppCfg->showNoPwdWarning = flag;
        _AppCfg->save();
        DialogDriver driver;
        driver.actions.push_back([untick](QDialog* d) {
            QVERIFY(d->findChild<QCheckBox*>()->isChecked());
            if (untick)
                QTest::mouseClick(d->findChild<QCheckBox*>(), Qt::LeftButton);
            QTest::keyClick(d, Qt::Key_Escape); // its result does not count
        });
        ShowNoPasswordWarning(m_main->list);
        QTEST(driver.shown == 1, "shown");
        _AppCfg->load();
        QTEST(_AppCfg->showNoPwdWarning, "stored");
    }
};

QTEST_MAIN(TstPasswordDialogs)
#include "tst_passworddialogs.moc"
