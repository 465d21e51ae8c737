#include "dialogtest.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/keyplan.h"
#include "vault/records.h"
#include "vault/session.h"
#include "vault/password.h"
#include "storage/cxfile.h"
#include "storage/readcurrent.h"
#include "ui/dlgcategoryedit.h"
#include "ui/dlgcategoryselect.h"
#include "ui/vxlistview.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <cstring>
#include <memory>

namespace {

const QString Duplicate = "Edit Category|A category with this name\nalready exists.\nPlease use another name.";
const QString NoRemove = "Edit Category|Unable to remove password\nprotection.\nPlease unlock the data first.";
const QString NoAdd = "Edit Category|Unable to add password\nprotection.\nPlease unlock the data first.";

// Ids of the default database.
constexpr int Bank = 0, CreditCard = 1, Email = 3;

QPushButton* button(QWidget* d, const QString& text)
{
    for (QPushButton* b : d->findChildren<QPushButton*>()) {
        if (b->text() == text)
            return b;
    }
    return nullptr;
}

// The chooser's combo at the category's place, then its button.
void choose(QDialog* d, const QString& category, const QString& text)
{
    auto* combo = d->findChild<QComboBox*>();
    combo->setCurrentIndex(combo->findText(category));
    QTest::mouseClick(button(d, text), Qt::LeftButton);
}

void retype(QLineEdit* edit, const QString& text)
{
    edit->selectAll();
    QTest::keyClick(edit, Qt::Key_Delete);
    QTest::keyClicks(edit, text);
}

// Accepts through the title bar's OK; a refused accept is then cancelled.
void acceptOrCancel(QDialog* d)
{
    d->accept();
    if (d->isVisible())
        QTest::keyClick(d, Qt::Key_Escape);
}

struct Texts
{
    int category;
    QStringList texts;
};

void addRecord(int category, const QStringList& t)
{
    CRecord r;
    r.category = category;
    r.encrypted = _AppCfg->hasPassword() && (category == Bank || category == CreditCard);
    r.SetDataText(t.value(0), t.value(1), t.value(2), t.value(3), t.value(4), t.value(5), t.value(6));
    r.WriteRecord(false);
}

QByteArray stored(int key)
{
    QByteArray bytes;
    if (_AppFile->FindRecord(key))
        ReadCurrentRecord(*_AppFile, bytes);
    return bytes;
}

QString storedName(int id)
{
    const QByteArray b = stored(KeyPlan::CategoryKey(id));
    return b.size() < 72 ? QString() : QString::fromLatin1(b.constData() + 40, int(qstrnlen(b.constData() + 40, 32)));
}

// Everything the file holds under record keys, by key.
QMap<int, QByteArray> storedRecords()
{
    QMap<int, QByteArray> out;
    for (int key = KeyPlan::RecordMarker + 1; key < KeyPlan::RecordMarker + 20; ++key) {
        const QByteArray b = stored(key);
        if (!b.isEmpty())
            out[key] = b;
    }
    return out;
}

} // namespace

class TstCategoryDialogs : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;
    std::unique_ptr<QWidget> m_window;
    CvxListView* m_list = nullptr;
    int m_files = 0;

    // The list loads the collections from the file, as the application does.
    void makeList()
    {
        m_window = std::make_unique<QWidget>();
        m_window->setGeometry(100, 50, 240, 320);
        m_list = new CvxListView(m_window.get());
        m_list->setGeometry(0, 40, 240, 250);
        m_list->slotShowFilteredByCategory(-1);
        m_window->show();
    }
    bool run() { return CdlgCategorySelect::RunCategoryCommand(m_list, m_list->records(), m_list->categories()); }

    static std::unique_ptr<CCategories> reloaded()
    {
        auto c = std::make_unique<CCategories>();
        c->LoadAll();
        return c;
    }

private slots:
    void initTestCase()
    {
        qputenv("QPEDIR", VX_TEST_SOURCE_DIR);
        CSession first(m_dir.filePath("template.dat"));
        QVERIFY(first.open());
    }
    void init()
    {
        const QString path = m_dir.filePath(QString("c%1.dat").arg(m_files++));
        QVERIFY(QFile::copy(m_dir.filePath("template.dat"), path));
        m_session = std::make_unique<CSession>(path);
        QVERIFY(m_session->open());
    }
    void cleanup()
    {
        m_window.reset();
        m_session.reset();
    }

    void chooserActions_data()
    {
        QTest::addColumn<QString>("press"); // a button, "<ok>" or "<esc>"
        QTest::addColumn<bool>("accepted");
        QTest::addColumn<int>("action");
        QTest::addColumn<QString>("selected");
        QTest::newRow("edit") << "&Edit" << true << 1 << "Email";
        QTest::newRow("new") << "&New" << true << 2 << "";
        QTest::newRow("delete") << "&Delete" << true << 3 << "Email";
        QTest::newRow("closed by OK") << "<ok>" << true << 0 << "";
        QTest::newRow("cancelled") << "<esc>" << false << 0 << "";
    }
    void chooserActions()
    {
        QFETCH(QString, press);
        makeList();
        CdlgCategorySelect d(m_list, m_list->categories());
        QCOMPARE(d.findChild<QComboBox*>()->itemText(1), QString("Calling Card")); // collection order

        DialogDriver driver;
        driver.actions.push_back([press](QDialog* dlg) {
            if (press == "<ok>")
                dlg->accept();
            else if (press == "<esc>")
                QTest::keyClick(dlg, Qt::Key_Escape);
            else
                choose(dlg, "Email", press);
        });
        QTEST(d.exec() == QDialog::Accepted, "accepted");
        QTEST(d.GetSelectedAction(), "action");
        QTEST(d.GetSelectedCategory() ? d.GetSelectedCategory()->name : QString(), "selected");
    }

    // Renaming is not checked against the other names; a new name is,
    // ignoring case.
    void names_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("changed");
        QTest::addColumn<QStringList>("boxes");
        QTest::addColumn<int>("named"); // categories of that exact name in the file
        QTest::newRow("rename onto another") << "&Edit" << "Email" << true << QStringList() << 2;
        QTest::newRow("rename, last in order") << "&Edit" << "Zebra" << true << QStringList() << 1;
        QTest::newRow("new, case differs") << "&New" << "eMAIL" << false << QStringList{Duplicate} << 0;
        QTest::newRow("new") << "&New" << "Zoo" << true << QStringList() << 1;
    }
    void names()
    {
        QFETCH(QString, command);
        QFETCH(QString, name);
        makeList();
        DialogDriver driver;
        driver.actions.push_back([command](QDialog* d) { choose(d, "Bank", command); });
        driver.actions.push_back([name](QDialog* d) {
            retype(d->findChild<QLineEdit*>("name"), name);
            acceptOrCancel(d);
        });
        QTEST(run(), "changed");
        QTEST(driver.boxes, "boxes");

        int named = 0;
        for (int id = 0; id < 20; ++id)
            named += storedName(id) == name;
        QTEST(named, "named");
        QCOMPARE(m_list->categories()->count, 12 + (command == "&New" && driver.boxes.isEmpty()));
        // The collection stays in name order, a renamed category included.
        for (CCategory* c = m_list->categories()->first(); c->next; c = CCategories::nextOf(c))
            QVERIFY(m_list->categories()->CompareFunc(c, c->next) <= 0);
    }

    void textsAreLimited()
    {
        makeList();
        const QString long40 = QString(40, 'n');
        DialogDriver driver;
        driver.actions.push_back([](QDialog* d) { choose(d, "Email", "&Edit"); });
        driver.actions.push_back([long40](QDialog* d) {
            for (QLineEdit* edit : d->findChildren<QLineEdit*>())
                retype(edit, long40);
            d->accept();
        });
        QVERIFY(run());
        const auto fromFile = reloaded();
        CCategory* email = fromFile->GetCategory(Email);
        QCOMPARE(email->name, long40.left(31));
        for (const QString& label : email->labels)
            QCOMPARE(label, long40.left(31));
    }

    void iconCombo_data()
    {
        QTest::addColumn<bool>("icons"); // the settings list the installed icons
        QTest::addColumn<QString>("edit");
        QTest::addColumn<QString>("icon"); // stored after OK
        QTest::newRow("edit") << true << "Email" << "icon_mail";
        QTest::newRow("new") << true << "" << "icon_air2";
        QTest::newRow("edit, no icons") << false << "Email" << "icon_mail";
        QTest::newRow("new, no icons") << false << "" << "";
    }
    void iconCombo()
    {
        QFETCH(bool, icons);
        QFETCH(QString, edit);
        QFETCH(QString, icon);
        if (!icons)
            _AppCfg->iconNames.clear();
        QCOMPARE(_AppCfg->iconNames.size(), icons ? 12 : 0);
        makeList();
        DialogDriver driver;
        driver.actions.push_back([edit](QDialog* d) { choose(d, edit, edit.isEmpty() ? "&New" : "&Edit"); });
        driver.actions.push_back([edit, icons](QDialog* d) {
            auto* combo = d->findChild<QComboBox*>();
            QCOMPARE(combo->count(), icons ? 12 : 0);
            QCOMPARE(combo->isEnabled(), icons);
            if (icons) {
                QCOMPARE(combo->itemText(0), QString());
                QVERIFY(!combo->itemIcon(0).isNull());
                QCOMPARE(combo->currentIndex(), edit.isEmpty() ? 0 : _AppCfg->iconNames.indexOf("icon_mail"));
            }
            if (edit.isEmpty())
                QTest::keyClicks(d->findChild<QLineEdit*>("name"), "Zoo");
            d->accept();
        });
        QVERIFY(run());
        QTEST(reloaded()->find(edit.isEmpty() ? "Zoo" : edit)->icon, "icon");
    }

    // Records of Bank and Credit Card (protected) and Email (not). Only a real
    // change of protection under a password converts, and only that
    // category's records; a refusal changes nothing, even when cancelled.
    void protection_data()
    {
        QTest::addColumn<QString>("password");
        QTest::addColumn<bool>("locked");
        QTest::addColumn<int>("category");
        QTest::addColumn<QStringList>("boxes");
        QTest::addColumn<bool>("flag");      // stored afterwards
        QTest::addColumn<bool>("rewritten"); // that category's records

        QTest::newRow("tick, no password") << "" << true << Email << QStringList() << true << false;
        QTest::newRow("untick, no password") << "" << true << Bank << QStringList() << false << false;
        QTest::newRow("untick, unlocked") << "pw" << false << Bank << QStringList() << false << true;
        QTest::newRow("tick, unlocked") << "pw" << false << Email << QStringList() << true << true;
        QTest::newRow("untick, locked") << "pw" << true << Bank << QStringList{NoRemove} << true << false;
        QTest::newRow("tick, locked") << "pw" << true << Email << QStringList{NoAdd} << false << false;
    }
    void protection()
    {
        QFETCH(QString, password);
        QFETCH(bool, locked);
        QFETCH(int, category);
        QFETCH(bool, rewritten);
        if (!password.isEmpty())
            EncryptAddNewPwd(password);
        _AppCfg->locked = locked;
        const QList<Texts> texts = {
            {Bank, {"b1", "acct", "1234", "", "", "", "note"}},
            {Email, {"e1", "me", "secret"}},
            {CreditCard, {"c1", "4111", "12/30", "999"}},
            {Bank, {"b2", "x", "", "", "", "", "a longer note than eight bytes"}},
        };
        for (const Texts& t : texts)
            addRecord(t.category, t.texts);
        const QMap<int, QByteArray> before = storedRecords();
        makeList();

        const QString name = m_list->categories()->GetCategory(category)->name;
        DialogDriver driver;
        driver.actions.push_back([name](QDialog* d) { choose(d, name, "&Edit"); });
        driver.actions.push_back([](QDialog* d) {
            QTest::mouseClick(d->findChild<QCheckBox*>(), Qt::LeftButton);
            acceptOrCancel(d);
        });
        run();
        QTEST(driver.boxes, "boxes");
        QTEST(m_list->categories()->GetCategory(category)->isProtected, "flag");
        QTEST(reloaded()->GetCategory(category)->isProtected, "flag");

        const QMap<int, QByteArray> after = storedRecords();
        QCOMPARE(after.keys(), before.keys());
        int i = 0;
        for (int key : before.keys()) {
            const bool ours = texts[i++].category == category;
            QCOMPARE(after[key] != before[key], ours && rewritten);
        }

        // Read back from the file, unlocked: every text is whole, so nothing
        // was enciphered twice or left in the wrong state.
        _AppCfg->locked = false;
        auto categories = reloaded();
        CRecords records;
        records.LoadAll(categories.get());
        i = 0;
        for (CRecord* r = records.first(); r; r = CRecords::nextOf(r), ++i) {
            for (int n = 0; n < 7; ++n) {
                QString text;
                r->GetDataText(n, text);
                QCOMPARE(text, texts[i].texts.value(n));
            }
        }
        QCOMPARE(i, texts.size());
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
        QTest::newRow("empty, No") << "Email" << QMessageBox::No << ask << false;
        QTest::newRow("empty, Yes") << "Email" << QMessageBox::Yes << ask << true;
    }
    void deletion()
    {
        QFETCH(QString, name);
        QFETCH(QMessageBox::StandardButton, answer);
        QFETCH(bool, gone);
        QFETCH(QString, box);
        addRecord(Bank, {"b1"});
        makeList();
        const int id = m_list->categories()->find(name)->id;
        DialogDriver driver;
        driver.actions.push_back([name](QDialog* d) { choose(d, name, "&Delete"); });
        driver.answers.push_back(answer);
        QCOMPARE(run(), gone);
        QCOMPARE(driver.boxes, QStringList{box});
        QCOMPARE(m_list->categories()->find(name) == nullptr, gone);
        QCOMPARE(m_list->categories()->count, gone ? 11 : 12);
        QCOMPARE(_AppFile->FindRecord(KeyPlan::CategoryKey(id)), !gone);
        QCOMPARE(reloaded()->count, gone ? 11 : 12);
    }

    // After a change all categories show and the combo is refilled; a
    // cancelled chooser, or one closed without a choice, rebuilds nothing.
    void commandRefreshes_data()
    {
        QTest::addColumn<QString>("press");
        QTest::addColumn<bool>("refreshed");
        QTest::newRow("cancelled") << "<esc>" << false;
        QTest::newRow("no choice") << "<ok>" << false;
        QTest::newRow("new category") << "&New" << true;
    }
    void commandRefreshes()
    {
        QFETCH(QString, press);
        QFETCH(bool, refreshed);
        addRecord(Bank, {"b1"});
        addRecord(Email, {"e1"});
        makeList();
        m_list->slotShowFilteredByCategory(Email);
        QSignalSpy combo(m_list, &CvxListView::signalUpdateCategoryCombo);
        QSignalSpy lockIcon(m_list, &CvxListView::signalUpdateLockIcon); // once per rebuild
        DialogDriver driver;
        driver.actions.push_back([press](QDialog* d) {
            if (press == "<esc>")
                QTest::keyClick(d, Qt::Key_Escape);
            else if (press == "<ok>")
                d->accept();
            else
                QTest::mouseClick(button(d, press), Qt::LeftButton);
        });
        driver.actions.push_back([](QDialog* d) {
            QTest::keyClicks(d->findChild<QLineEdit*>("name"), "Zoo");
            d->accept();
        });
        m_list->slotMenuCategory();
        QCOMPARE(combo.count(), int(refreshed));
        QCOMPARE(lockIcon.count(), int(refreshed));
        QCOMPARE(m_list->filter(), refreshed ? -1 : Email);
        QCOMPARE(m_list->topLevelItemCount(), refreshed ? 2 : 1);
    }
};

QTEST_MAIN(TstCategoryDialogs)
#include "tst_categorydialogs.moc"
