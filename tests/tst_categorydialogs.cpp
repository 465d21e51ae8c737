#include "dialogtest.h"

#include "ui/dlgcategoryselect.h"
#include "ui/vxlistview.h"

#include <QCheckBox>
#include <QComboBox>
#include <QPushButton>
#include <QSignalSpy>

#include <algorithm>
#include <iterator>

namespace {

const QString Duplicate = "Edit Category|A category with this name\nalready exists.\nPlease use another name.";
const QString NoRemove = "Edit Category|Unable to remove password\nprotection.\nPlease unlock the data first.";
const QString NoAdd = "Edit Category|Unable to add password\nprotection.\nPlease unlock the data first.";

// Ids of the default database.
constexpr int Bank = 0, Email = 3;

// The chooser's combo at the category's place, then its button.
void choose(QDialog* d, const QString& category, const QString& text)
{
    auto* combo = d->findChild<QComboBox*>();
    combo->setCurrentIndex(combo->findText(category));
    QTest::mouseClick(withText<QPushButton>(d, text), Qt::LeftButton);
}

// Accepts through the title bar's OK; a refused accept is then cancelled.
void acceptOrCancel(QDialog* d)
{
    d->accept();
    if (d->isVisible())
        QTest::keyClick(d, Qt::Key_Escape);
}

} // namespace

class TstCategoryDialogs : public DialogTestCase
{
    Q_OBJECT

    CvxListView* m_list = nullptr;

    // The record list in place of the main window's stand-in.
    void makeList()
    {
        m_list = new CvxListView(vault(), &m_main->window);
        m_list->setGeometry(m_main->list->geometry());
        m_list->slotShowFilteredByCategory(-1);
        m_list->show();
    }
    bool run() { return CdlgCategorySelect::RunCategoryCommand(vault(), m_list); }

    // Edit, tick or untick the protection box, OK.
    static void toggleProtection(DialogDriver& driver, const QString& name)
    {
        driver.actions.push_back([name](QDialog* d) { choose(d, name, "&Edit"); });
        driver.actions.push_back([](QDialog* d) {
            QTest::mouseClick(d->findChild<QCheckBox*>(), Qt::LeftButton);
            acceptOrCancel(d);
        });
    }

private slots:
    void initTestCase() { qputenv("QPEDIR", VX_TEST_SOURCE_DIR); }

    // Renaming is not checked against the other names; a new name is,
    // ignoring case. Every text stops at 31 characters.
    void names_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("changed");
        QTest::addColumn<QStringList>("boxes");
        QTest::addColumn<int>("named"); // categories of that exact name in the file
        // Refused: the file keeps only one of two equal names.
        QTest::newRow("rename onto another") << "&Edit" << "Email" << false << QStringList{Duplicate} << 1;
        QTest::newRow("rename, last in order") << "&Edit" << "Zebra" << true << QStringList() << 1;
        QTest::newRow("rename, 40 characters") << "&Edit" << QString(40, 'n') << true << QStringList() << 1;
        QTest::newRow("new, case differs") << "&New" << "eMAIL" << false << QStringList{Duplicate} << 0;
        QTest::newRow("new") << "&New" << "Zoo" << true << QStringList() << 1;
    }
    void names()
    {
        QFETCH(QString, command);
        QFETCH(QString, name);
        makeList();
        const QByteArray before = m_tv->bytes();
        DialogDriver driver;
        driver.actions.push_back([command](QDialog* d) { choose(d, "Bank", command); });
        driver.actions.push_back([name](QDialog* d) {
            for (QLineEdit* edit : d->findChildren<QLineEdit*>())
                retype(edit, edit->objectName() == "name" ? name : QString(40, 'l'));
            acceptOrCancel(d);
        });
        QTEST(run(), "changed");
        QTEST(driver.boxes, "boxes");
        QCOMPARE(m_tv->bytes() == before, !driver.boxes.isEmpty());

        int named = 0, relabelled = 0;
        for (const CCategory* c = vault().categories().first(); c; c = CCategories::nextOf(c)) {
            named += c->name == name.left(31);
            relabelled += std::all_of(std::begin(c->labels), std::end(c->labels),
                                      [](const QString& l) { return l == QString(31, 'l'); });
        }
        QTEST(named, "named");
        QCOMPARE(relabelled, int(driver.boxes.isEmpty()));
        QCOMPARE(vault().categories().count, 12 + (command == "&New" && driver.boxes.isEmpty()));

        QCOMPARE(vaultState(vault()), reloadedState(*m_tv));
        // The collection stays in name order, a renamed category included.
        for (CCategory* c = vault().categories().first(); c->next; c = CCategories::nextOf(c))
            QVERIFY(c->name <= CCategories::nextOf(c)->name);
    }

    void iconCombo_data()
    {
        QTest::addColumn<bool>("icons"); // pictures installed
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QString>("icon"); // stored after OK
        QTest::newRow("new") << true << "" << "icon_air2";
        QTest::newRow("edit, no icons") << false << "Email" << "icon_mail";
    }
    void iconCombo()
    {
        QFETCH(bool, icons);
        QFETCH(QString, edit);
        QTemporaryDir noPictures;
        if (!icons) {
            // The settings list the pictures found when the file is read.
            qputenv("QPEDIR", noPictures.path().toLocal8Bit());
            QVERIFY(m_tv->open());
            qputenv("QPEDIR", VX_TEST_SOURCE_DIR);
        }
        const QStringList names = vault().settings().iconNames;
        makeList();
        DialogDriver driver;
        driver.actions.push_back([edit](QDialog* d) { choose(d, edit, edit.isEmpty() ? "&New" : "&Edit"); });
        driver.actions.push_back([edit, icons, names](QDialog* d) {
            auto* combo = d->findChild<QComboBox*>();
            QCOMPARE(combo->count(), icons ? 12 : 0);
            QCOMPARE(combo->isEnabled(), icons);
            if (icons)
                QCOMPARE(combo->currentIndex(), edit.isEmpty() ? 0 : names.indexOf("icon_mail"));
            if (edit.isEmpty())
                QTest::keyClicks(d->findChild<QLineEdit*>("name"), "Zoo");
            d->accept();
        });
        QVERIFY(run());
        QCOMPARE(vaultState(vault()), reloadedState(*m_tv));
        QTEST(vault().categories().find(edit.isEmpty() ? "Zoo" : edit)->icon, "icon");
    }

    // Only a real change of protection under a password converts, and only
    // that category's records; a refusal changes nothing, even when
    // cancelled.
    void protection_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<int>("category");
        QTest::addColumn<QStringList>("boxes");
        QTest::addColumn<bool>("flag"); // afterwards

        QTest::newRow("tick, no password") << "" << true << Email << QStringList() << true;
        QTest::newRow("untick, no password") << "" << true << Bank << QStringList() << false;
        QTest::newRow("untick, unlocked") << "pw" << false << Bank << QStringList() << false;
        QTest::newRow("tick, unlocked") << "pw" << false << Email << QStringList() << true;
        QTest::newRow("untick, locked") << "pw" << true << Bank << QStringList{NoRemove} << true;
        QTest::newRow("tick, locked") << "pw" << true << Email << QStringList{NoAdd} << false;
    }
    void protection()
    {
        QFETCH(QString, password);
        QFETCH(bool, locked);
        QFETCH(int, category);
        addRecords(vault());
        if (!password.isEmpty()) {
            QVERIFY(vault().changePassword(QString(), password).ok());
            if (!locked)
                QVERIFY(vault().unlock(password));
        }
        const QByteArray before = m_tv->bytes();
        makeList();

        DialogDriver driver;
        toggleProtection(driver, vault().categories().byId(category)->name);
        run();
        QTEST(driver.boxes, "boxes");
        QCOMPARE(m_tv->bytes() == before, !driver.boxes.isEmpty());
        QTEST(vault().categories().byId(category)->isProtected, "flag");

        // Read back unlocked: every text is whole, so nothing was enciphered
        // twice or left in the wrong state.
        if (!password.isEmpty())
            QVERIFY(vault().unlock(password));
        QCOMPARE(vaultState(vault()), reloadedState(*m_tv, password));
        verifyTexts(vault());
    }

    // A change of protection re-enciphers the category's records in the
    // same change; the disk failing leaves the file and the list as they were.
    void protectionOnAFullDisk()
    {
        addRecords(vault());
        QVERIFY(vault().changePassword(QString(), "pw").ok());
        QVERIFY(vault().unlock("pw"));
        makeList();
        const QByteArray before = m_tv->bytes();
        m_tv->failAt(0);
        DialogDriver driver;
        toggleProtection(driver, "Bank");
        QVERIFY(!run());
        verifyDiskFullShown(*m_tv, driver.boxes, "The category could not be saved.", before, "pw");
        QCOMPARE(m_list->shownRowCount(), Sample.size());
    }

    void deletion_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QMessageBox::StandardButton>("answer");
        QTest::addColumn<QString>("box");
        QTest::addColumn<bool>("gone");
        QTest::newRow("holds records") << "Bank" << QMessageBox::Ok
            << "Deleting Category|Unable to delete the\n\"Bank\"\ncategory, as it contains records.\nDelete the records first."
            << false;
        const QString ask = "Delete Category?|Are you sure you want to delete\nthe: Email\ncategory ?";
        QTest::newRow("empty, Yes") << "Email" << QMessageBox::Yes << ask << true;
    }
    void deletion()
    {
        QFETCH(QString, name);
        QFETCH(QMessageBox::StandardButton, answer);
        QFETCH(bool, gone);
        addRecords(vault(), {{Bank, {"b1"}}});
        makeList();
        DialogDriver driver;
        driver.actions.push_back([name](QDialog* d) { choose(d, name, "&Delete"); });
        driver.answers.push_back(answer);
        QCOMPARE(run(), gone);
        QTEST(driver.boxes.join(""), "box");
        QCOMPARE(vault().categories().count, gone ? 11 : 12);
        QCOMPARE(vaultState(vault()), reloadedState(*m_tv));
    }

    // After a change all categories show and the combo is refilled; a
    // cancelled chooser rebuilds nothing.
    void commandRefreshes_data()
    {
        QTest::addColumn<bool>("refreshed");
        QTest::newRow("cancelled") << false;
        QTest::newRow("new category") << true;
    }
    void commandRefreshes()
    {
        QFETCH(bool, refreshed);
        addRecords(vault(), {{Bank, {"b1"}}, {Email, {"e1"}}});
        makeList();
        m_list->slotShowFilteredByCategory(Email);
        QSignalSpy combo(m_list, &CvxListView::signalUpdateCategoryCombo);
        QSignalSpy lockIcon(m_list, &CvxListView::signalUpdateLockIcon); // once per rebuild
        DialogDriver driver;
        driver.actions.push_back([refreshed](QDialog* d) {
            refreshed ? QTest::mouseClick(withText<QPushButton>(d, "&New"), Qt::LeftButton)
                      : QTest::keyClick(d, Qt::Key_Escape);
        });
        driver.actions.push_back([](QDialog* d) {
            QTest::keyClicks(d->findChild<QLineEdit*>("name"), "Zoo");
            d->accept();
        });
        m_list->slotMenuCategory();
        QCOMPARE(!combo.isEmpty(), refreshed);
        QCOMPARE(!lockIcon.isEmpty(), refreshed);
        QCOMPARE(m_list->filter(), refreshed ? -1 : Email);
        QCOMPARE(m_list->shownRowCount(), refreshed ? 2 : 1);
    }
};

QTEST_MAIN(TstCategoryDialogs)
#include "tst_categorydialogs.moc"
