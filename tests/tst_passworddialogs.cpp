#include "dialogtest.h"

#include "ui/dlgchgpassword.h"
#include "ui/dlgpwdwarn.h"
#include "ui/unlockdatabase.h"
#include "ui/vxlistview.h"
#include "vault/password.h"

#include <QCheckBox>
#include <QLabel>

namespace {
const QString OldWrong = "Password Incorrect|The old password you\nentered is incorrect.";
const QString NewDiffer = "Password Incorrect|The new passwords you\nentered do not match.";
const QString Retry = "Password Incorrect|You have entered an incorrect\npassword would you like to\ntry again ?";
const char* const Fields[] = {"oldPassword", "newPassword", "confirmPassword"};
// Stored as one byte a character, this would have become the key of "????????????".
const QString Cyrillic = QString::fromUtf8("парольпароль");

QString notLatin1()
{
    return "Password Incorrect|" + Password::NotLatin1Text();
}

} // namespace

class TstPasswordDialogs : public DialogTestCase
{
    Q_OBJECT
    // Set while locked, as a start finds it.
    void setPassword(const QString& password)
    {
        if (!password.isEmpty())
            QVERIFY(vault().changePassword(QString(), password).ok());
    }
    void setSettings(bool warning, bool cleartext)
    {
        editSettings(vault(), [=](CvxConfig& c) {
            c.showNoPwdWarning = warning;
            c.cleartextPwd = cleartext;
        });
    }

private slots:

    // Nothing is written unless the dialog decides on a change; a wrong
    // old password leaves the key in use alone.
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
        QTest::newRow("none, not Latin-1") << "" << QStringList{"", Cyrillic, Cyrillic} << 0 << notLatin1() << "";
        QTest::newRow("remove") << "pw" << QStringList{"pw", "", ""} << 2 << "" << "";
        QTest::newRow("change") << "pw" << QStringList{"pw", "n2", "n2"} << 3 << "" << "n2";
        QTest::newRow("wrong old") << "pw" << QStringList{"px", "", ""} << 0 << OldWrong << "pw";
        QTest::newRow("change, not Latin-1") << "pw" << QStringList{"pw", Cyrillic, Cyrillic} << 0 << notLatin1()
                                             << "pw";
    }
    void changeFlow()
    {
        QFETCH(QString, current);
        QFETCH(QStringList, typed);
        QFETCH(QString, message);
        QFETCH(QString, after);
        QFETCH(int, status);
        addRecords(vault());
        setPassword(current);
        if (!current.isEmpty())
            QVERIFY(vault().unlock(current));
        const QByteArray before = m_tv->bytes();
        DialogDriver driver;
        driver.actions.push_back([&](QDialog* d) {
            // Without a password there is no old field to fill.
            QCOMPARE(child<QLineEdit>(d, "oldPassword")->isVisibleTo(d), !current.isEmpty());
            for (int i = current.isEmpty() ? 1 : 0; i < 3; ++i)
                type(child<QLineEdit>(d, Fields[i]), typed[i]);
            d->accept(); // the title bar's OK
        });
        QCOMPARE(CdlgChgPassword::RunChangeFlow(vault(), m_main->list), status);
        QCOMPARE(driver.boxes.join(""), message);
        QCOMPARE(m_tv->bytes() == before, status == 0);
        QCOMPARE(vault().hasPassword(), !after.isEmpty());
        QVERIFY(after.isEmpty() || vault().verifyPassword(after));
        // The key in use still reads every field.
        if (!vault().isLocked())
            verifyTexts(vault());
        if (!after.isEmpty())
            QVERIFY(vault().unlock(after));
        verifyTexts(vault());
        QCOMPARE(vaultState(vault()), reloadedState(*m_tv, after));
    }

    // The change dialog stops at 32 characters; the entry dialog takes any length.
    void limitsAndEcho()
    {
        setPassword("pw");
        const QString long40(40, 'x');
        for (bool cleartext : {false, true}) {
            setSettings(true, cleartext);
            const QLineEdit::EchoMode mode = cleartext ? QLineEdit::Normal : QLineEdit::Password;
            CdlgChgPassword change(vault(), m_main->list);
            for (const char* name : Fields) {
                QCOMPARE(child<QLineEdit>(&change, name)->echoMode(), mode);
                QTest::keyClicks(child<QLineEdit>(&change, name), long40);
                QCOMPARE(child<QLineEdit>(&change, name)->text(), long40.left(32));
            }
            DialogDriver driver;
            driver.actions.push_back([&](QDialog* d) {
                QCOMPARE(child<QLineEdit>(d, "password")->echoMode(), mode);
                QTest::keyClicks(child<QLineEdit>(d, "password"), long40);
                QCOMPARE(child<QLineEdit>(d, "password")->text(), long40);
                QTest::keyClick(d, Qt::Key_Escape);
            });
            QVERIFY(!UnlockDatabase(vault(), m_main->list, m_main->list, QString()));
            QCOMPARE(driver.shown, 1);
        }
    }

    void unlock_data()
    {
        QTest::addColumn<QString>("password");    // "" = none set
        QTest::addColumn<bool>("locked");         // at the start
        QTest::addColumn<QString>("prompt");      // null: the short form
        QTest::addColumn<QStringList>("entries"); // one per run; "<esc>" cancels
        QTest::addColumn<QStringList>("answers"); // to the retry question, in turn
        QTest::addColumn<QStringList>("boxes");
        QTest::addColumn<bool>("result");

        const QString none;
        const QStringList no;
        QTest::newRow("right") << "secret" << true << none << QStringList{"secret"} << no << no << true;
        QTest::newRow("wrong, No") << "secret" << true << none << QStringList{"bad"} << QStringList{"No"}
                                   << QStringList{Retry} << false;
        QTest::newRow("wrong, Yes, right") << "secret" << true << "Prompt" << QStringList{"bad", "secret"}
                                           << QStringList{"Yes"} << QStringList{Retry} << true;
        QTest::newRow("cancelled") << "secret" << true << none << QStringList{"<esc>"} << no << no << false;
        QTest::newRow("no password") << "" << true << none << no << no << no << true;
        QTest::newRow("unlocked") << "secret" << false << none << no << no << no << true;
        // Refused with its reason and asked again, rather than taken as
        // the question marks it would have become.
        QTest::newRow("not Latin-1") << QString(12, '?') << true << none << QStringList{Cyrillic, "<esc>"} << no
                                     << QStringList{notLatin1()} << false;
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
        if (!locked)
            QVERIFY(vault().unlock(password));
        const QByteArray before = m_tv->bytes();

        DialogDriver driver;
        QString left; // what the field held when the dialog last closed
        for (const QString& entry : entries) {
            driver.actions.push_back([entry, &left, prompt](QDialog* d) {
                bool prompted = false;
                for (const QLabel* label : d->findChildren<QLabel*>())
                    prompted |= label->text() == prompt;
                QCOMPARE(prompted, !prompt.isNull());
                QCOMPARE(child<QLineEdit>(d, "password")->text(), left); // a retry keeps the entry
                if (entry == "<esc>")
                    return QTest::keyClick(d, Qt::Key_Escape);
                child<QLineEdit>(d, "password")->clear();
                type(child<QLineEdit>(d, "password"), left = entry);
                d->accept();
            });
        }
        for (const QString& a : answers)
            driver.answers.push_back(a == "Yes" ? QMessageBox::Yes : QMessageBox::No);

        QCOMPARE(UnlockDatabase(vault(), m_main->list, m_main->list, prompt), result);
        QCOMPARE(driver.shown, entries.size());
        QTEST(driver.boxes, "boxes");
        // Without a password the flag is never cleared.
        QCOMPARE(vault().isLocked(), locked && !(result && !password.isEmpty()));
        QCOMPARE(m_tv->bytes(), before);
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
        setSettings(flag, false);
        DialogDriver driver;
        driver.actions.push_back([untick](QDialog* d) {
            QVERIFY(d->findChild<QCheckBox*>()->isChecked());
            if (untick)
                QTest::mouseClick(d->findChild<QCheckBox*>(), Qt::LeftButton);
            QTest::keyClick(d, Qt::Key_Escape); // its result does not count
        });
        ShowNoPasswordWarning(vault(), m_main->list);
        QTEST(driver.shown == 1, "shown");
        QTEST(vault().settings().showNoPwdWarning, "stored");
        QCOMPARE(vaultState(vault()), reloadedState(*m_tv));
    }

    // Utility > Password on a full disk: every protected record and the
    // verifier are one change, so the old password goes on reading all of
    // them, now and after the next start.
    void changeOnAFullDisk()
    {
        addRecords(vault());
        setPassword("old");
        QVERIFY(vault().unlock("old"));
        CvxListView list(vault(), &m_main->window);
        list.slotShowFilteredByCategory(-1);
        const QByteArray before = m_tv->bytes();
        m_tv->failAt(0);
        DialogDriver driver;
        driver.actions.push_back([](QDialog* d) {
            for (const char* name : Fields)
                type(child<QLineEdit>(d, name), name == Fields[0] ? "old" : "new");
            d->accept();
        });
        list.slotMenuPassWord();
        verifyDiskFullShown(*m_tv, driver.boxes, "The password could not be changed.", before, "old");
        QCOMPARE(list.shownRowCount(), Sample.size());
        QVERIFY(!vault().verifyPassword("new"));
        verifyTexts(vault());
    }
};

QTEST_MAIN(TstPasswordDialogs)
#include "tst_passworddialogs.moc"
