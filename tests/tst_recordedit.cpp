#include "dialogtest.h"

#include "ui/application.h"
#include "ui/noteedit.h"
#include "ui/vxlistview.h"

#include <QClipboard>
#include <QComboBox>
#include <QFileInfo>
#include <QLabel>
#include <QMimeData>
#include <QPushButton>
#include <QTimeZone>

namespace {

const QString Pwd = QStringLiteral("sesame");
const QDateTime Old(QDate(2001, 2, 3), QTime(4, 5, 6), QTimeZone::utc());
const int Bank = 0;     // protected; labels Bank, Account #, PIN
const int WebLogin = 7; // plain
const QString EditRefused = "Edit Record|Unable to edit an\nencrypted record.\nPlease unlock the data first.";

// The texts of the stored record `key`; empty when the file lacks it.
QStringList storedTexts(const TestVault& tv, int key, const QString& password = QString())
{
    const std::unique_ptr<CVault> fresh = reload(tv, password);
    return fresh ? recordTexts(*fresh, fresh->records().find(key)) : QStringList{"unreadable"};
}

// Enabled states: combo, edit button, delete button; whether the fields and
// the note can be changed.
QString states(QDialog* d)
{
    QString s;
    for (const char* name : {"category", "edit", "delete"})
        s += child<QWidget>(d, name)->isEnabled() ? '1' : '0';
    int editable = 0;
    for (int i = 1; i <= 6; ++i) {
        const QLineEdit* field = child<QLineEdit>(d, QStringLiteral("field%1").arg(i).toLatin1());
        editable += field->isEnabled() && !field->isReadOnly();
    }
    s += editable == 6 ? '1' : editable == 0 ? '0' : '?';
    const CNoteEdit* note = child<CNoteEdit>(d, "note");
    s += note->isEnabled() && !note->isReadOnly() ? '1' : '0';
    return s;
}

} // namespace

class TstRecordEdit : public DialogTestCase
{
    Q_OBJECT

    CvxListView* m_list = nullptr;
    std::unique_ptr<DialogDriver> m_driver;

    int add(int category, const QStringList& t) { return addRecord(vault(), category, t); }
    QStringList rows() const { return cells(*m_list); }

    // Dates the file far back: any write afterwards shows in its time,
    // even one that puts back the same bytes.
    void backdate() const
    {
        QFile f(m_tv->path());
        QVERIFY(f.open(QIODevice::ReadWrite));
        QVERIFY(f.setFileTime(Old, QFileDevice::FileModificationTime));
    }
    bool untouched() const { return QFileInfo(m_tv->path()).lastModified() == Old; }
    // The record list in place of the main window's stand-in.
    void makeList(int filter = -1)
    {
        m_list = new CvxListView(vault(), &m_main->window);
        m_list->setGeometry(m_main->list->geometry());
        m_list->show();
        m_list->slotShowFilteredByCategory(filter);
    }
    // Taps the row whose first field reads `first`; its dialog runs the next action.
    void tapRow(const QString& first) { ::tapRow(*m_list, first); }
    // A password set; the data stays locked.
    void usePassword() { QVERIFY(vault().changePassword(QString(), Pwd).ok()); }
    // The password dialog's answer: the right password, or cancel.
    static std::function<void(QDialog*)> answerUnlock(bool right)
    {
        return [right](QDialog* d) {
            if (right)
                QTest::keyClicks(child<QLineEdit>(d, "password"), Pwd);
            tapBar(d, right);
        };
    }

private slots:
    void init()
    {
        DialogTestCase::init();
        m_driver = std::make_unique<DialogDriver>();
    }
    void cleanup()
    {
        m_driver.reset();
        QCOMPARE(CSession(m_tv->path()).probe(), CSession::Sound);
        DialogTestCase::cleanup();
    }

    // Captions, enabled states, labels following the category.
    void threeStates()
    {
        const QString url = "https://www.example.com/a/rather/long/path/to/the/login.html";
        add(WebLogin, {"shop", url, "me", "pw"});
        makeList();
        m_driver->actions.push_back([this, url](QDialog* d) {
            QCOMPARE(d->windowTitle(), QStringLiteral("View Record"));
            QCOMPARE(child<QComboBox>(d, "category")->currentText(), QStringLiteral("Web Login"));
            QCOMPARE(child<QLabel>(d, "label2")->text(), QStringLiteral("URL"));
            QCOMPARE(child<QLineEdit>(d, "field4")->text(), QStringLiteral("pw"));
            QCOMPARE(states(d), QStringLiteral("01100"));
            QVERIFY(!child<QPushButton>(d, "generate")->isEnabled());
            // A long value reads from its start, and can be selected and
            // copied without editing.
            auto* field = child<QLineEdit>(d, "field2");
            QCOMPARE(field->cursorPosition(), 0);
            QTest::mouseClick(field, Qt::LeftButton);
            QTest::keyClick(field, Qt::Key_A, Qt::ControlModifier);
            QTest::keyClick(field, Qt::Key_C, Qt::ControlModifier);
            QTest::keyClicks(field, "typed");
            QCOMPARE(QApplication::clipboard()->text(), url);
            QCOMPARE(QApplication::clipboard()->mimeData()->data("x-kde-passwordManagerHint"), QByteArray("secret"));
            QCOMPARE(field->text(), url);
            // The same through the field's own menu.
            QApplication::clipboard()->setText("other");
            m_driver->menus.push_back([](QMenu* menu) {
                for (QAction* a : menu->actions()) {
                    if (a->text().startsWith("&Copy"))
                        QTest::mouseClick(menu, Qt::LeftButton, {}, menu->actionGeometry(a).center());
                }
            });
            QTest::mouseClick(d->windowHandle(), Qt::RightButton, {}, field->mapTo(d, field->rect().center()));
            QCOMPARE(QApplication::clipboard()->mimeData()->data("x-kde-passwordManagerHint"), QByteArray("secret"));
            QCOMPARE(QApplication::clipboard()->text(), url);
            click(d, "edit");
            QCOMPARE(d->windowTitle(), QStringLiteral("Edit Record"));
            // The category of a stored record stays as it is.
            QCOMPARE(states(d), QStringLiteral("00011"));
            tapClose(d);
        });
        tapRow("shop");

        // New: the filter's category first; the labels follow the combo.
        m_list->slotShowFilteredByCategory(Bank);
        m_driver->actions.push_back([](QDialog* d) {
            QCOMPARE(d->windowTitle(), QStringLiteral("New Record"));
            QCOMPARE(states(d), QStringLiteral("10011"));
            auto* combo = child<QComboBox>(d, "category");
            QCOMPARE(combo->currentText(), QStringLiteral("Bank"));
            QCOMPARE(child<QLabel>(d, "label2")->text(), QStringLiteral("Account #"));
            QTest::keyClick(combo, Qt::Key_Down);
            QCOMPARE(combo->currentText(), QStringLiteral("Calling Card"));
            QCOMPARE(child<QLabel>(d, "label2")->text(), QStringLiteral("Access #"));
            // Generate fills the field the user is in, and only that one.
            auto* secret = child<QLineEdit>(d, "field4");
            QTest::mouseClick(secret, Qt::LeftButton);
            click(d, "generate");
            const QString first = secret->text();
            click(d, "generate");
            QCOMPARE(secret->text().size(), 20);
            QVERIFY(secret->text() != first);
            QVERIFY(child<QLineEdit>(d, "field1")->text().isEmpty());
            tapClose(d);
        });
        m_list->slotNewRecord();
        QCOMPARE(m_driver->shown, 2);
    }

    // OK writes only what changed, and then the whole record.
    void okWritesChangesOnly_data()
    {
        QTest::addColumn<QString>("control");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QStringList>("after");
        const QStringList before = {"shop", "url", "me", "", "", "", "line one"};
        QTest::newRow("nothing changed") << QString() << QString() << before;
        QTest::newRow("edit pressed, nothing changed") << "field4" << QString() << before;
        QTest::newRow("note only") << "note" << "line two"
                                   << QStringList{"shop", "url", "me", "", "", "", "line one\nline two"};
        QTest::newRow("not Latin-1") << "field2" << QString::fromUtf8("/\u20ac\U0001F600\u00e9")
                                     << QStringList{"shop", "url/??\u00e9", "me", "", "", "", "line one"};
    }
    void okWritesChangesOnly()
    {
        QFETCH(QString, control);
        QFETCH(QString, typed);
        QFETCH(QStringList, after);
        const int key = add(WebLogin, {"shop", "url", "me", "", "", "", "line one"});
        makeList();
        backdate();
        m_driver->actions.push_back([&](QDialog* d) {
            if (!control.isEmpty()) {
                click(d, "edit");
                QWidget* w = d->findChild<QWidget*>(control);
                w->setFocus();
                if (auto* note = qobject_cast<CNoteEdit*>(w)) {
                    // Return inside the note is a new line, not OK.
                    note->moveCursor(QTextCursor::End);
                    QTest::keyClick(w, Qt::Key_Return);
                    QTest::keyClicks(w, typed);
                } else {
                    // Pasted: a key press carries no character outside the basic plane.
                    QApplication::clipboard()->setText(typed);
                    QTest::keyClick(w, Qt::Key_V, Qt::ControlModifier);
                }
                QVERIFY(d->isVisible());
            }
            tapOk(d);
        });
        tapRow("shop");
        QCOMPARE(m_driver->shown, 1);
        QCOMPARE(untouched(), after == (QStringList{"shop", "url", "me", "", "", "", "line one"}));
        QCOMPARE(storedTexts(*m_tv, key), after);
        QCOMPARE(recordTexts(vault(), vault().records().first()), after);
    }

    // Locked: an enciphered record cannot be edited. Unlocked it can, also
    // after a wrong old password was typed in the password dialog (the
    // check must leave the key alone), and the change reaches the file
    // enciphered with the real password.
    void editProtectedRecord()
    {
        usePassword();
        QVERIFY(vault().unlock(Pwd));
        const int key = add(Bank, {"my bank", "12-34", "9876"});
        vault().lock();
        makeList();
        m_driver->answers = {QMessageBox::Ok};
        m_driver->actions.push_back([](QDialog* d) {
            QCOMPARE(child<QLineEdit>(d, "field2")->text(), QStringLiteral("******"));
            click(d, "edit");
            QCOMPARE(d->windowTitle(), QStringLiteral("View Record"));
            QCOMPARE(states(d), QStringLiteral("01100"));
            tapOk(d);
        });
        backdate();
        tapRow("my bank");
        QCOMPARE(m_driver->boxes, QStringList{EditRefused});
        QVERIFY(untouched());

        QVERIFY(vault().unlock(Pwd));
        m_driver->actions.push_back([](QDialog* d) {
            QTest::keyClicks(child<QLineEdit>(d, "oldPassword"), "wrong");
            QTest::keyClicks(child<QLineEdit>(d, "newPassword"), "other");
            QTest::keyClicks(child<QLineEdit>(d, "confirmPassword"), "other");
            tapOk(d);
        });
        m_list->slotMenuPassWord();
        QCOMPARE(m_driver->boxes.value(1), QStringLiteral("Password Incorrect|The old password you\nentered is incorrect."));
        QVERIFY(!vault().isLocked());
        QCOMPARE(vault().text(*vault().records().find(key), 1), QStringLiteral("12-34"));

        m_driver->actions.push_back([](QDialog* d) {
            QCOMPARE(child<QLineEdit>(d, "field2")->text(), QStringLiteral("12-34"));
            click(d, "edit");
            QCOMPARE(states(d), QStringLiteral("00011"));
            retype(child<QLineEdit>(d, "field3"), "1111");
            tapOk(d);
        });
        tapRow("my bank");
        const QByteArray raw = m_tv->bytes();
        QVERIFY(!raw.contains("1111") && !raw.contains("12-34"));
        vault().lock();
        QVERIFY(vault().unlock(Pwd));
        const QStringList expected = {"my bank", "12-34", "1111"};
        QCOMPARE(recordTexts(vault(), vault().records().find(key)).mid(0, 3), expected);
        QCOMPARE(storedTexts(*m_tv, key, Pwd).mid(0, 3), expected);
    }

    void deleteRecord_data()
    {
        QTest::addColumn<bool>("secret");
        QTest::addColumn<bool>("yes");
        QTest::addColumn<int>("unlock"); // -1 not asked, 0 cancelled, 1 right password
        QTest::addColumn<bool>("gone");
        QTest::newRow("No") << false << false << -1 << false;
        QTest::newRow("Yes") << false << true << -1 << true;
        QTest::newRow("locked, unlocked") << true << true << 1 << true;
    }
    void deleteRecord()
    {
        QFETCH(bool, secret);
        QFETCH(bool, yes);
        QFETCH(int, unlock);
        QFETCH(bool, gone);
        if (secret) {
            usePassword();
            QVERIFY(vault().unlock(Pwd));
        }
        add(WebLogin, {"keep"});
        const int key = add(secret ? Bank : WebLogin, {"old", "x"});
        vault().lock();
        makeList();
        backdate();
        m_driver->answers = {yes ? QMessageBox::Yes : QMessageBox::No};
        m_driver->actions.push_back([&](QDialog* d) {
            click(d, "delete");
            if (!gone)
                tapClose(d);
        });
        if (unlock >= 0)
            m_driver->actions.push_back(answerUnlock(unlock == 1));
        tapRow("old");
        QCOMPARE(m_driver->boxes.value(0), QStringLiteral("Delete Record?|Are you sure you want to delete\nthe: old\nrecord ?"));
        QCOMPARE(m_driver->shown, unlock >= 0 ? 2 : 1);
        QCOMPARE(storedTexts(*m_tv, key).isEmpty(), gone);
        QCOMPARE(rows(), gone ? QStringList{"keep"} : (QStringList{"keep", "old"}));
        QCOMPARE(untouched(), !gone);
    }

    // A new record takes the smallest free key; in a protected category it
    // is enciphered, and asks for the password first while locked.
    void newRecord_data()
    {
        QTest::addColumn<int>("category");
        QTest::addColumn<bool>("password");
        QTest::addColumn<int>("unlock"); // -1 not asked, 0 cancelled, 1 right password
        QTest::newRow("plain category") << WebLogin << true << -1;
        QTest::newRow("protected, no password") << Bank << false << -1;
        QTest::newRow("protected, unlocked") << Bank << true << 1;
        QTest::newRow("protected, unlock cancelled") << Bank << true << 0;
    }
    void newRecord()
    {
        QFETCH(int, category);
        QFETCH(bool, password);
        QFETCH(int, unlock);
        if (password)
            usePassword();
        add(WebLogin, {"first"});
        const int gap = add(WebLogin, {"gap"});
        add(WebLogin, {"third"});
        QVERIFY(vault().deleteRecord(gap).ok());
        makeList(category);
        backdate();
        m_driver->actions.push_back([&](QDialog* d) {
            QTest::keyClicks(child<QLineEdit>(d, "field1"), "new one");
            QTest::keyClicks(child<QLineEdit>(d, "field2"), "secret-2");
            auto* note = child<CNoteEdit>(d, "note");
            QTest::keyClicks(note, "n1");
            QTest::keyClick(note, Qt::Key_Return);
            QTest::keyClicks(note, "n2");
            tapOk(d);
            if (unlock == 0)
                tapClose(d);
        });
        if (unlock >= 0)
            m_driver->actions.push_back(answerUnlock(unlock == 1));
        m_list->slotNewRecord();
        QCOMPARE(m_driver->shown, unlock >= 0 ? 2 : 1);
        QCOMPARE(untouched(), unlock == 0);
        if (unlock == 0)
            return;
        const CRecord* r = vault().records().find(gap);
        QVERIFY(r);
        QCOMPARE(r->category, category);
        QCOMPARE(r->encrypted, unlock == 1);
        QCOMPARE(m_tv->bytes().contains("secret-2"), unlock != 1);
        QCOMPARE(storedTexts(*m_tv, gap, password ? Pwd : QString()),
                 (QStringList{"new one", "secret-2", "", "", "", "", "n1\nn2"}));
        QVERIFY(rows().contains("new one"));
    }

    // Nothing longer than the record holds can come in, typed or pasted.
    void limits()
    {
        makeList(WebLogin);
        m_driver->actions.push_back([](QDialog* d) {
            auto* field = child<QLineEdit>(d, "field2");
            QTest::keyClicks(field, QString(64, 'a'));
            QTest::keyClicks(field, "b");
            QCOMPARE(field->text(), QString(64, 'a'));

            auto* note = child<CNoteEdit>(d, "note");
            note->setFocus();
            QTest::keyClicks(note, QString(250, 'n'));
            QApplication::clipboard()->setText("12345\r\n7890");
            QTest::keyClick(note, Qt::Key_V, Qt::ControlModifier);
            // Five characters and one line break fit; the rest is refused.
            QCOMPARE(note->toPlainText(), QString(250, 'n') + "12345\n");
            QTest::keyClicks(note, "x");
            QTest::keyClick(note, Qt::Key_Return);
            QCOMPARE(note->toPlainText().size(), 256);
            // A selection makes room for what replaces it.
            note->selectAll();
            QTest::keyClick(note, Qt::Key_V, Qt::ControlModifier);
            QCOMPARE(note->toPlainText(), QStringLiteral("12345\n7890"));
            tapOk(d);
        });
        m_list->slotNewRecord();
        QVERIFY(vault().records().first());
        const QStringList stored = storedTexts(*m_tv, vault().records().first()->key);
        QCOMPARE(stored.value(1), QString(64, 'a'));
        QCOMPARE(stored.value(6), QStringLiteral("12345\n7890"));
    }

    // A change the disk refuses is shown, and the file, memory and the rows
    // stay as they were (where in the change it fails is the vault's test).
    void failedChangeIsShown_data()
    {
        QTest::addColumn<QString>("change");
        QTest::addColumn<QString>("what");
        QTest::newRow("new record") << "new" << "The new record could not be saved.";
        QTest::newRow("edited record") << "edit" << "The record could not be saved.";
        QTest::newRow("deleted record") << "delete" << "The record could not be deleted.";
    }
    void failedChangeIsShown()
    {
        QFETCH(QString, change);
        QFETCH(QString, what);
        add(WebLogin, {"keep", "a"});
        add(WebLogin, {"old", "x"});
        makeList(WebLogin);
        const QByteArray before = m_tv->bytes();
        m_tv->failAt(0);
        if (change == "delete")
            m_driver->answers = {QMessageBox::Yes};
        m_driver->actions.push_back([change](QDialog* d) {
            if (change == "edit")
                click(d, "edit");
            if (change != "delete")
                QTest::keyClicks(child<QLineEdit>(d, "field1"), "new one");
            change == "delete" ? click(d, "delete") : tapOk(d);
            QVERIFY(!d->isVisible());
        });
        change == "new" ? m_list->slotNewRecord() : tapRow("old");
        QCOMPARE(m_driver->boxes.size(), change == "delete" ? 2 : 1);
        verifyDiskFullShown(*m_tv, m_driver->boxes, what, before);
        QCOMPARE(rows(), (QStringList{"keep", "old"}));
    }
};

int main(int argc, char** argv)
{
    qputenv("QPEDIR", VX_TEST_SOURCE_DIR);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    CApplication app(argc, argv);
    TstRecordEdit test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_recordedit.moc"
