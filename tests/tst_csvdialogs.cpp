// The file chooser and the Import and Export commands, driven through real
// dialogs and message boxes.
#include "dialogtest.h"
#include "vaulttest.h"

#include "csv/csvimport.h"
#include "ui/csvcommands.h"
#include "ui/dlgfileopen.h"
#include "ui/vxlistview.h"

#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QSignalSpy>

#include <memory>

namespace {

QListWidget* fileList(QDialog* d)
{
    return d->findChild<QListWidget*>(QStringLiteral("fileList"));
}

QStringList entries(QDialog* d)
{
    QStringList out;
    QListWidget* list = fileList(d);
    for (int i = 0; i < list->count(); ++i)
        out << list->item(i)->text();
    return out;
}

// Taps the entry of that text, as the pen would.
void tapEntry(QDialog* d, const QString& text)
{
    QListWidget* list = fileList(d);
    const QList<QListWidgetItem*> found = list->findItems(text, Qt::MatchExactly);
    QVERIFY2(!found.isEmpty(), qPrintable(text));
    list->scrollToItem(found.first());
    QTest::mouseClick(list->viewport(), Qt::LeftButton, {}, list->visualItemRect(found.first()).center());
}

QString dirLabel(QDialog* d)
{
    return d->findChild<QLabel*>(QStringLiteral("dirLabel"))->text();
}

bool writeFile(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

QByteArray readFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

class TestCsvDialogs : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_work;
    std::unique_ptr<TestVault> m_tv;

    CVault& vault() { return *m_tv->vault; }
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
        QVERIFY(writeFile(m_work + "/in.csv", "Shop,login,pw\nbank,acc,1\n"));
        QVERIFY(writeFile(m_work + "/old.csv", "keep me\n"));
    }
    void init()
    {
        QVERIFY(QDir::setCurrent(m_work));
        m_tv = std::make_unique<TestVault>();
        QVERIFY(m_tv->open());
    }
    void cleanup() { m_tv.reset(); }

    void listing()
    {
        TestMainWindow main;
        CDlgFileOpen dlg(main.list, true);
        QCOMPARE(dlg.windowTitle(), QString("Import from File"));
        // Directories first and marked; the way up kept.
        QCOMPARE(entries(&dlg), (QStringList{"./", "../", "sub/", "in.csv", "old.csv"}));
        QCOMPARE(dirLabel(&dlg), m_work.size() < 20 ? m_work : dirLabel(&dlg));
        // Accepted at once: the directory and the label's single space.
        QCOMPARE(dlg.GetFileName(), m_work + "/ ");
        tapEntry(&dlg, "in.csv");
        QCOMPARE(dlg.GetFileName(), m_work + "/in.csv");
        tapEntry(&dlg, "sub/");
        QCOMPARE(dlg.currentDir().canonicalPath(), m_work + "/sub");
        QCOMPARE(dlg.GetFileName(), QString());
        tapEntry(&dlg, "../");
        QCOMPARE(dlg.currentDir().canonicalPath(), m_work);
    }

    void exportName()
    {
        TestMainWindow main;
        CDlgFileOpen dlg(main.list, false);
        QCOMPARE(dlg.windowTitle(), QString("Export to File"));
        QCOMPARE(dlg.GetFileName(), QString());
        auto* edit = dlg.findChild<QLineEdit*>(QStringLiteral("fileEdit"));
        dlg.show();
        QTest::keyClicks(edit, "new.csv");
        QCOMPARE(dlg.GetFileName(), m_work + "/new.csv");
        tapEntry(&dlg, "old.csv");
        QCOMPARE(edit->text(), QString("old.csv"));
    }

    void labelShortened_data()
    {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("shown");
        QTest::newRow("short") << "/home/user" << "/home/user";
        QTest::newRow("root") << "/" << "/";
        QTest::newRow("deep") << "/home/someone/projects/very-long-folder-name/another-long-one/csv"
                              << "/home/..../another-long-one/csv";
        // Nothing to leave out: shown whole, the label clips it.
        QTest::newRow("one long name") << "/" + QString(60, 'x') << "/" + QString(60, 'x');
        QTest::newRow("two, the last long") << "/a/" + QString(60, 'x') << "/a/" + QString(60, 'x');
    }
    void labelShortened()
    {
        QFETCH(QString, path);
        QFETCH(QString, shown);
        TestMainWindow main;
        CDlgFileOpen dlg(main.list, true);
        dlg.SetDirLabel(path);
        const QString text = dirLabel(&dlg);
        QCOMPARE(text, shown);
        auto* label = dlg.findChild<QLabel*>(QStringLiteral("dirLabel"));
        if (text.contains("...."))
            QVERIFY(label->fontMetrics().horizontalAdvance(text) <= 189);
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
        QCOMPARE(list.topLevelItemCount(), records + 2);

        // Cancelled: nothing, not even a message.
        driver.boxes.clear();
        combo.clear();
        list.slotMenuImport();
        QVERIFY(driver.boxes.isEmpty());
        QVERIFY(combo.isEmpty());
    }

    // All lines are one change: the disk failing anywhere in it leaves the
    // file, the collections and the list as they were.
    void importOnAFullDisk_data()
    {
        QTest::addColumn<QString>("at");
        QTest::newRow("first write") << "first";
        QTest::newRow("a middle write") << "middle";
        QTest::newRow("the last write") << "last";
    }
    void importOnAFullDisk()
    {
        QFETCH(QString, at);
        // The import's write-side calls, counted on a healthy disk.
        TestVault twin;
        QVERIFY(twin.open());
        const int start = twin.countdown.calls;
        int added = 0;
        QVERIFY(ImportCSVBytes(readFile(m_work + "/in.csv"), *twin.vault, &added).ok());
        QCOMPARE(added, 2);
        const int calls = twin.countdown.calls - start;

        CvxListView list(vault());
        list.slotShowFilteredByCategory(-1);
        const int rows = list.topLevelItemCount();
        const QString state = vaultState(vault());
        const QByteArray before = m_tv->bytes();
        // A failed removal of the journal, the very last call, is made good
        // by emptying it: the change then stands.
        m_tv->failAt(at == "first" ? 0 : at == "middle" ? calls / 2 : calls - 2);
        DialogDriver driver;
        chooseInput(driver);
        list.slotMenuImport();
        QVERIFY(m_tv->countdown.fired);
        QCOMPARE(driver.boxes, QStringList{"Vaultix|The imported records could not be saved.\n"
                                           "The disk is full.\nNothing was changed."});
        QCOMPARE(m_tv->bytes(), before);
        QCOMPARE(vaultState(vault()), state);
        QCOMPARE(list.topLevelItemCount(), rows);
        CVault fresh(m_tv->path());
        fresh.session().setReadOnly(true);
        QVERIFY(fresh.open());
        QCOMPARE(vaultState(fresh), state);
        // The next start finds nothing to undo.
        m_tv->healthy();
        QVERIFY(m_tv->open());
        QCOMPARE(m_tv->bytes(), before);
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
        QFETCH(QString, box);
        TestMainWindow main;
        const QByteArray before = m_tv->bytes();
        DialogDriver driver;
        driver.actions.push_back([tap](QDialog* d) {
            if (!tap.isEmpty())
                tapEntry(d, tap);
            d->accept(); // the title bar's OK
        });
        QVERIFY(!importFromCSV(vault(), main.list));
        QCOMPARE(driver.boxes, QStringList{box});
        QCOMPARE(m_tv->bytes(), before);
    }

    void lockedData()
    {
        TestMainWindow main;
        QVERIFY(vault().changePassword(QString(), "pw").ok());
        QVERIFY(vault().isLocked());
        DialogDriver driver;
        driver.answers = {QMessageBox::Ok, QMessageBox::No};
        QVERIFY(!importFromCSV(vault(), main.list));
        exportToCSV(vault(), main.list);
        QCOMPARE(driver.shown, 0);
        QCOMPARE(driver.boxes,
                 (QStringList{"Import|Unable to import while the data\nis locked.\nPlease unlock the data first.",
                              "Export|The data is locked. Encrypted\nrecords will not be exported\ncorrectly.\n"
                              "Do you still want to export?"}));
    }

    // An existing file: No leaves it as it was, Yes replaces it.
    void exportOverExisting()
    {
        TestMainWindow main;
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
        exportToCSV(vault(), main.list);
        QCOMPARE(readFile(m_work + "/old.csv"), QByteArray("keep me\n"));
        exportToCSV(vault(), main.list);
        const QString question = "Export|The file you have specified\nexists.\nWould you like to overwrite it ?";
        QCOMPARE(driver.boxes, (QStringList{question, question, QString("Export|2 records exported\nsuccessfully.")}));
        QCOMPARE(readFile(m_work + "/old.csv").count('\n'), 2);
        QVERIFY(writeFile(m_work + "/old.csv", "keep me\n"));
    }

    // The open data file is never written over.
    void exportOverDataFile()
    {
        TestMainWindow main;
        const QByteArray before = m_tv->bytes();
        DialogDriver driver;
        QString name = vault().dataFile();
        QVERIFY(!CheckFileName(name, false, main.list, vault().dataFile()));
        QCOMPARE(driver.boxes, QStringList{"Export|The file you have specified\nholds the Vaultix data."});
        QCOMPARE(m_tv->bytes(), before);
    }
};

QTEST_MAIN(TestCsvDialogs)
#include "tst_csvdialogs.moc"
