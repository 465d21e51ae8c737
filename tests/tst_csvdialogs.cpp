// The file chooser and the Import and Export commands, driven through real
// dialogs and message boxes.
#include "dialogtest.h"

#include "ui/csvcommands.h"
#include "ui/dlgfileopen.h"
#include "ui/vxlistview.h"

#include <QLabel>
#include <QListWidget>
#include <QSignalSpy>

namespace {

QStringList entries(QDialog* d)
{
    QStringList out;
    auto* list = child<QListWidget>(d, "fileList");
    for (int i = 0; i < list->count(); ++i)
        out << list->item(i)->text();
    return out;
}

// Taps the entry of that text, as the pen would.
void tapEntry(QDialog* d, const QString& text)
{
    auto* list = child<QListWidget>(d, "fileList");
    const QList<QListWidgetItem*> found = list->findItems(text, Qt::MatchExactly);
    QVERIFY2(!found.isEmpty(), qPrintable(text));
    list->scrollToItem(found.first());
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(found.first()).center());
}

} // namespace

class TestCsvDialogs : public DialogTestCase
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_work;

    // Chooses in.csv in the file chooser.
    static void chooseInput(DialogDriver& driver)
    {
        driver.actions.push_back([](QDialog* d) {
            tapEntry(d, "in.csv");
            d->accept(); // the title bar's OK
        });
    }

private slots:
    void initTestCase()
    {
        qputenv("QPEDIR", VX_TEST_SOURCE_DIR);
        m_work = QDir(m_dir.path()).canonicalPath() + QStringLiteral("/work");
        QVERIFY(QDir().mkpath(m_work + "/sub"));
        QVERIFY(writeBytes(m_work + "/in.csv", "Shop,login,pw\nbank,acc,1\n"));
        QVERIFY(writeBytes(m_work + "/old.csv", "keep me\n"));
    }
    void init()
    {
        QVERIFY(QDir::setCurrent(m_work));
        DialogTestCase::init();
    }

    void listing()
    {
        CDlgFileOpen dlg(m_main->list, true);
        // Directories first and marked; the way up kept.
        QCOMPARE(entries(&dlg), (QStringList{"./", "../", "sub/", "in.csv", "old.csv"}));
        // Accepted at once: the directory and the label's single space.
        QCOMPARE(dlg.GetFileName(), m_work + "/ ");
        tapEntry(&dlg, "in.csv");
        QCOMPARE(dlg.GetFileName(), m_work + "/in.csv");
        tapEntry(&dlg, "sub/");
        QCOMPARE(dlg.currentDir().canonicalPath(), m_work + "/sub");
        QCOMPARE(dlg.GetFileName(), QString());
        tapEntry(&dlg, "../");
        QCOMPARE(dlg.currentDir().canonicalPath(), m_work);
        // A long folder shown with its middle left out.
        dlg.SetDirLabel("/home/someone/projects/very-long-folder-name/another-long-one/csv");
        QCOMPARE(child<QLabel>(&dlg, "dirLabel")->text(), QString("/home/..../another-long-one/csv"));

        // For an export, a name typed or tapped.
        CDlgFileOpen save(m_main->list, false);
        QCOMPARE(save.GetFileName(), QString());
        auto* edit = save.findChild<QLineEdit*>(QStringLiteral("fileEdit"));
        save.show();
        QTest::keyClicks(edit, "new.csv");
        QCOMPARE(save.GetFileName(), m_work + "/new.csv");
        tapEntry(&save, "old.csv");
        QCOMPARE(edit->text(), QString("old.csv"));
    }

    // After an import the combo is refilled and the rows rebuilt: both
    // show every category, so the new records are in sight.
    void importCommand()
    {
        CvxListView list(vault());
        const int bank = list.categories()->find("Bank")->id;
        list.slotShowFilteredByCategory(bank);
        const int records = list.records()->count;
        QSignalSpy combo(&list, &CvxListView::signalUpdateCategoryCombo);

        DialogDriver driver;
        chooseInput(driver);
        list.slotMenuImport();
        QCOMPARE(driver.boxes, QStringList{"Import|2 records imported\nsuccessfully."});
        QCOMPARE(list.records()->count, records + 2);
        QVERIFY(list.categories()->find("Shop"));
        QVERIFY(!combo.isEmpty());
        QCOMPARE(list.filter(), -1);
        QCOMPARE(list.shownRowCount(), records + 2);
    }

    // All lines are one change: the disk failing leaves the file, the
    // collections and the list as they were.
    void importOnAFullDisk()
    {
        CvxListView list(vault());
        list.slotShowFilteredByCategory(-1);
        const int rows = list.shownRowCount();
        const QByteArray before = m_tv->bytes();
        m_tv->failAt(0);
        DialogDriver driver;
        chooseInput(driver);
        list.slotMenuImport();
        verifyDiskFullShown(*m_tv, driver.boxes, "The imported records could not be saved.", before);
        QCOMPARE(list.shownRowCount(), rows);
    }

    void importRefusals_data()
    {
        QTest::addColumn<QString>("tap");
        QTest::addColumn<QString>("box");
        QTest::newRow("nothing tapped") << QString() << "Import|Can not find the file\nyou have specified.";
        QTest::newRow("after a directory") << "sub/" << "Import|You have not specified\na file.";
    }
    void importRefusals()
    {
        QFETCH(QString, tap);
        const QByteArray before = m_tv->bytes();
        DialogDriver driver;
        driver.actions.push_back([tap](QDialog* d) {
            if (!tap.isEmpty())
                tapEntry(d, tap);
            d->accept(); // the title bar's OK
        });
        QVERIFY(!importFromCSV(vault(), m_main->list));
        QTEST(driver.boxes.join(""), "box");
        QCOMPARE(m_tv->bytes(), before);
    }

    void lockedData()
    {
        QVERIFY(vault().changePassword(QString(), "pw").ok());
        QVERIFY(vault().isLocked());
        DialogDriver driver;
        driver.answers = {QMessageBox::Ok, QMessageBox::No};
        QVERIFY(!importFromCSV(vault(), m_main->list));
        exportToCSV(vault(), m_main->list);
        QCOMPARE(driver.shown, 0);
        QCOMPARE(driver.boxes,
                 (QStringList{"Import|Unable to import while the data\nis locked.\nPlease unlock the data first.",
                              "Export|The data is locked. Encrypted\nrecords will not be exported\ncorrectly.\n"
                              "Do you still want to export?"}));
    }

    // An existing file: No leaves it as it was, Yes replaces it.
    void exportOverExisting()
    {
        CVault::Texts texts = {"r1", "f2"};
        QVERIFY(vault().addRecord(0, texts).ok());
        QVERIFY(vault().addRecord(3, texts).ok());
        DialogDriver driver;
        auto choose = [](QDialog* d) {
            tapEntry(d, "old.csv");
            d->accept(); // the title bar's OK
        };
        driver.actions = {choose, choose};
        driver.answers = {QMessageBox::No, QMessageBox::Yes, QMessageBox::Ok};
        exportToCSV(vault(), m_main->list);
        QCOMPARE(fileBytes(m_work + "/old.csv"), QByteArray("keep me\n"));
        exportToCSV(vault(), m_main->list);
        const QString question = "Export|The file you have specified\nexists.\nWould you like to overwrite it ?";
        QCOMPARE(driver.boxes, (QStringList{question, question, QString("Export|2 records exported\nsuccessfully.")}));
        QCOMPARE(fileBytes(m_work + "/old.csv").count('\n'), 2);
        QVERIFY(writeBytes(m_work + "/old.csv", "keep me\n"));
    }

    // The open data file is never written over.
    void exportOverDataFile()
    {
        const QByteArray before = m_tv->bytes();
        DialogDriver driver;
        QString name = vault().dataFile();
        QVERIFY(!CheckFileName(name, false, m_main->list, vault().dataFile()));
        QCOMPARE(driver.boxes, QStringList{"Export|The file you have specified\nholds the Vaultix data."});
        QCOMPARE(m_tv->bytes(), before);
    }
};

QTEST_MAIN(TestCsvDialogs)
#include "tst_csvdialogs.moc"
