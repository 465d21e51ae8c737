#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/session.h"
#include "security/dlgchgpassword.h"
#include "security/dlgpassword.h"
#include "security/dlgpwdwarn.h"
#include "security/password.h"
#include "security/unlockdatabase.h"

#include "dialogtest.h"

#include <QCheckBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <memory>

namespace {
const QString OldWrong = "Password Incorrect|The old password you\nentered is incorrect.";
const QString NewDiffer = "Password Incorrect|The new passwords you\nentered do not match.";
const QString Retry = "Password Incorrect|You have entered an incorrect\npassword would you like to\ntry again ?";

QLineEdit* field(QDialog* d, const char* name)
{
    return d->findChild<QLineEdit*>(name);
}

QStringList labelTexts(const QDialog* d)
{
    QStringList texts;
    for (const QLabel* l : d->findChildren<QLabel*>())
        texts << l->text();
    return texts;
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
        // Each test starts from a copy of one new data file: creating a file
        // syncs every record to disk, which is slow.
        CSession first(m_dir.filePath("template.dat"));
        QVERIFY(first.open());
        first.close();
    }
    void init()
    {
        const QString path = m_dir.filePath(QStringLiteral("d%1.dat").arg(m_files++));
        QVERIFY(QFile::copy(m_dir.filePath("template.dat"), path));
        m_session = std::make_unique<CSession>(path);
        QVERIFY(m_session->open());
        m_session->loadCollections();
        m_main = std::make_unique<TestMainWindow>();
    }
    void cleanup()
    {
        m_main.reset();
        m_session->close();
        m_session.reset();
    }

    void layouts_data()
    {
        QTest::addColumn<int>("kind");
        QTest::addColumn<QString>("password");
        QTest::addColumn<QString>("caption");
        QTest::addColumn<QSize>("size");
        QTest::addColumn<QStringList>("labels");
        QTest::addColumn<QRect>("entry"); // the last entry field

        const QString prompt = "Unlock to see\nthe record.";
        QTest::newRow("password") << 0 << "pw" << "Enter Password" << QSize(148, 57)
                                  << QStringList{"Enter password"} << QRect(25, 29, 98, 18);
        QTest::newRow("password, prompt") << 1 << "pw" << "Enter Password" << QSize(148, 115)
                                          << QStringList{prompt, "Enter password"} << QRect(25, 87, 98, 18);
        QTest::newRow("warning") << 2 << "" << "No Password" << QSize(188, 88)
                                 << QStringList{"You have not set a password.",
                                                "Until you have set a password,\nyour data is not secure."}
                                 << QRect();
        QTest::newRow("set") << 3 << "" << "Set Password" << QSize(140, 141)
                             << QStringList{"New password", "Confirm new password"} << QRect(25, 71, 90, 18);
        QTest::newRow("change") << 3 << "pw" << "Set Password" << QSize(140, 141)
                                << QStringList{"Old password", "New password", "Confirm new password"}
                                << QRect(25, 113, 90, 18);
    }
    void layouts()
    {
        QFETCH(int, kind);
        QFETCH(QString, password);
        QFETCH(QStringList, labels);
        QFETCH(QRect, entry);
        setPassword(password);
        std::unique_ptr<CQPEDialog> d;
        switch (kind) {
        case 0: d.reset(new CdlgPassword(m_main->list, m_main->list)); break;
        case 1: d.reset(new CdlgPassword(m_main->list, m_main->list, labels.first())); break;
        case 2: d.reset(new CdlgPwdWarn(m_main->list)); break;
        default: d.reset(new CdlgChgPassword(m_main->list)); break;
        }
        QTEST(d->windowTitle(), "caption");
        QTEST(d->size(), "size");
        QCOMPARE(labelTexts(d.get()), labels);
        QList<QLineEdit*> edits;
        for (QLineEdit* e : d->findChildren<QLineEdit*>())
            if (e->isVisibleTo(d.get()))
                edits << e;
        QCOMPARE(edits.isEmpty(), entry.isNull());
        if (!entry.isNull())
            QCOMPARE(edits.last()->geometry(), entry);
        if (auto* box = d->findChild<QCheckBox*>()) {
            QCOMPARE(box->text(), QString("Show this warning in the future."));
            QVERIFY(box->isChecked());
        }
        if (auto* old = field(d.get(), "oldPassword"))
            QCOMPARE(old->isEnabled(), !password.isEmpty());
    }

    void changeFlow_data()
    {
        QTest::addColumn<QString>("current");
        QTest::addColumn<QString>("oldPwd");
        QTest::addColumn<QString>("newPwd");
        QTest::addColumn<QString>("confirm");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("message");
        QTest::addColumn<QString>("after"); // the password in force afterwards

        QTest::newRow("none, all empty") << "" << "" << "" << "" << 0 << "" << "";
        QTest::newRow("none, set") << "" << "" << "abc" << "abc" << 1 << "" << "abc";
        QTest::newRow("none, mismatch") << "" << "" << "abc" << "abd" << 0 << NewDiffer << "";
        QTest::newRow("remove") << "pw" << "pw" << "" << "" << 2 << "" << "";
        QTest::newRow("change") << "pw" << "pw" << "n2" << "n2" << 3 << "" << "n2";
        QTest::newRow("empty old") << "pw" << "" << "n2" << "n2" << 0 << OldWrong << "pw";
        QTest::newRow("wrong old") << "pw" << "px" << "" << "" << 0 << OldWrong << "pw";
        QTest::newRow("longer old") << "pw" << "pwpw" << "" << "" << 0 << OldWrong << "pw";
        QTest::newRow("change, mismatch") << "pw" << "pw" << "n2" << "n3" << 0 << NewDiffer << "pw";
    }
    void changeFlow()
    {
        QFETCH(QString, current);
        QFETCH(QString, message);
        QFETCH(QString, after);
        setPassword(current);

        DialogDriver driver;
        driver.actions.push_back([](QDialog* d) {
            QFETCH(QString, oldPwd);
            QFETCH(QString, newPwd);
            QFETCH(QString, confirm);
            QLineEdit* old = field(d, "oldPassword");
            if (old->isEnabled())
                QTest::keyClicks(old, oldPwd);
            QTest::keyClicks(field(d, "newPassword"), newPwd);
            QTest::keyClicks(field(d, "confirmPassword"), confirm);
            d->accept(); // the decoration's OK
        });
        const int status = CdlgChgPassword::RunChangeFlow(m_main->list, m_session->records(), m_session->categories());
        QTEST(status, "status");
        QCOMPARE(driver.shown, 1);
        QCOMPARE(driver.boxes, message.isEmpty() ? QStringList() : QStringList{message});
        QCOMPARE(_AppCfg->anyVerifierByte(), !after.isEmpty());
        if (!after.isEmpty())
            QVERIFY(CheckValidPwd(after));
    }

    void changeCancelled()
    {
        setPassword("pw");
        DialogDriver driver;
        driver.actions.push_back([](QDialog* d) {
            QTest::keyClicks(field(d, "oldPassword"), "pw");
            QTest::keyClick(d, Qt::Key_Escape);
        });
        QCOMPARE(CdlgChgPassword::RunChangeFlow(m_main->list, m_session->records(), m_session->categories()), 0);
        QVERIFY(driver.boxes.isEmpty());
        QVERIFY(CheckValidPwd("pw"));
    }

    void limitsAndEcho_data()
    {
        QTest::addColumn<bool>("cleartext");
        QTest::newRow("masked") << false;
        QTest::newRow("cleartext") << true;
    }
    void limitsAndEcho()
    {
        QFETCH(bool, cleartext);
        setPassword("pw");
        _AppCfg->cleartextPwd = cleartext;
        const QLineEdit::EchoMode mode = cleartext ? QLineEdit::Normal : QLineEdit::Password;
        const QString long40(40, QLatin1Char('x'));

        CdlgChgPassword change(m_main->list);
        for (const char* name : {"oldPassword", "newPassword", "confirmPassword"}) {
            QLineEdit* e = field(&change, name);
            QCOMPARE(e->echoMode(), mode);
            QTest::keyClicks(e, long40);
            QCOMPARE(e->text(), long40.left(32));
        }
        // The entry dialog takes a password of any length.
        CdlgPassword plain(m_main->list, m_main->list);
        CdlgPassword prompted(m_main->list, m_main->list, "Prompt");
        for (CdlgPassword* d : {&plain, &prompted}) {
            QLineEdit* e = field(d, "password");
            QCOMPARE(e->echoMode(), mode);
            QTest::keyClicks(e, long40);
            QCOMPARE(d->GetPassword(), long40);
        }
    }

    void unlock_data()
    {
        QTest::addColumn<QString>("password");  // "" = none set
        QTest::addColumn<bool>("locked");       // at the start
        QTest::addColumn<QString>("prompt");    // null: the short form
        QTest::addColumn<QStringList>("entries"); // typed per run; "<esc>" cancels
        QTest::addColumn<QStringList>("answers"); // to the retry question
        QTest::addColumn<bool>("result");
        QTest::addColumn<int>("shown");

        QTest::newRow("right") << "secret" << true << QString() << QStringList{"secret"} << QStringList{} << true << 1;
        QTest::newRow("wrong, No") << "secret" << true << QString() << QStringList{"bad"} << QStringList{"No"} << false << 1;
        QTest::newRow("wrong, Yes, right") << "secret" << true << "Prompt" << QStringList{"bad", "secret"}
                                           << QStringList{"Yes"} << true << 2;
        QTest::newRow("wrong, Yes, cancel") << "secret" << true << QString() << QStringList{"secr", "<esc>"}
                                            << QStringList{"Yes"} << false << 2;
        QTest::newRow("cancelled") << "secret" << true << QString() << QStringList{"<esc>"} << QStringList{} << false << 1;
        QTest::newRow("no password") << "" << true << QString() << QStringList{} << QStringList{} << true << 0;
        QTest::newRow("unlocked") << "secret" << false << QString() << QStringList{} << QStringList{} << true << 0;
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
                QLineEdit* e = field(d, "password");
                QCOMPARE(e->text(), left); // a retry shows the entry as it was
                if (entry == "<esc>") {
                    QTest::keyClick(d, Qt::Key_Escape);
                    return;
                }
                e->clear();
                QTest::keyClicks(e, entry);
                left = entry;
                d->accept();
            });
        }
        for (const QString& a : answers)
            driver.answers.push_back(a == "Yes" ? QMessageBox::Yes : QMessageBox::No);

        QCOMPARE(UnlockDatabase(m_main->list, m_main->list, prompt), result);
        QTEST(driver.shown, "shown");
        QCOMPARE(driver.boxes, QStringList(answers.size(), Retry));
        QVERIFY(driver.answers.empty());
        // Without a password the flag is never cleared.
        QCOMPARE(_AppCfg->locked, locked && !(result && !password.isEmpty()));
    }

    void startupWarning_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("flag");
        QTest::addColumn<bool>("untick");
        QTest::addColumn<bool>("shown");
        QTest::addColumn<bool>("stored"); // the flag as read back from the file

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
