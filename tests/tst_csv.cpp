// The comma-separated format without widgets: the import into a real data
// file, the export read back and where an export may be written.
#include "vaulttest.h"

#include "csv/csvexport.h"
#include "csv/csvimport.h"
#include "csv/csvoutputfile.h"
#include "csv/csvreader.h"
#include "storage/cxfilecheck.h"
#include "vault/keyplan.h"

#include <QBuffer>

#include <sys/stat.h>
#include <unistd.h>

class TestCsv : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestVault> m_t;

    CVault& vault() { return *m_t->vault; }
    const CCategories& cats() { return vault().categories(); }
    const CRecords& recs() { return vault().records(); }
    const CRecord* last() { return static_cast<const CRecord*>(recs().tail); }
    QStringList texts(const CRecord* r) { return recordTexts(vault(), r); }

    // The number of records added, -1 when the import failed.
    int import(const QByteArray& bytes, QVector<CVault::ImportSkip>* skipped = nullptr)
    {
        int added = 0;
        return ImportCSVBytes(bytes, vault(), &added, skipped).ok() ? added : -1;
    }
    bool fileSound() { return CxFileCheck(m_t->bytes(), KeyPlan::Signature).run(); }
    QStringList categoryNames()
    {
        QStringList names;
        for (const CCategory* c = cats().first(); c; c = CCategories::nextOf(c))
            names << c->name;
        return names;
    }

private slots:
    // A new default data file for each test.
    void init()
    {
        m_t = std::make_unique<TestVault>();
        QVERIFY(m_t->open());
    }
    void cleanup() { m_t.reset(); }

    // Every line a record; categories found ignoring case or created once,
    // in their sorted place.
    void importLines()
    {
        const int categoriesBefore = cats().count;
        const QByteArray csv = "\"Shop\",\"login\",\"pw\"\n"
                               "\n"
                               "shop,second\r\n"
                               "BANK,Current,12345678,0000,,,,note,extra,columns\n"
                               "   \n"
                               "Category,Field 1,Field 2,Field 3,Field 4,Field 5,Field 6,Note";
        QCOMPARE(import(csv), 5);
        QCOMPARE(recs().count, 5);
        // "Shop", "" and the header's "Category"; "BANK" went into "Bank".
        QCOMPARE(cats().count, categoriesBefore + 3);
        const QStringList names = categoryNames();
        QCOMPARE(names.count("Shop"), 1);
        QCOMPARE(names.count(""), 1);
        QVERIFY(names.indexOf("Shop") > names.indexOf("Serial No."));

        // Category and the first three texts and the note of the records, in order.
        QStringList got;
        for (const CRecord* r = recs().first(); r; r = CRecords::nextOf(r))
            got << cats().GetCategory(r->category)->name + '|' + texts(r).mid(0, 3).join('|') + '|' + texts(r)[6];
        QCOMPARE(got, (QStringList{"Shop|login|pw||", "Shop|second|||", "Bank|Current|12345678|0000|note",
                                   "||||", "Category|Field 1|Field 2|Field 3|Note"}));
        const CCategory* made = cats().find("Shop");
        QCOMPARE(made->labels[5], QString("Field 6"));
        QVERIFY(!made->isProtected);
        QCOMPARE(made->icon, vault().settings().iconNames.value(0));

        // All of it was written through.
        QVERIFY(fileSound());
        QVERIFY(m_t->open());
        QCOMPARE(recs().count, 5);
        QCOMPARE(categoryNames().count("Shop"), 1);
    }

    void limits()
    {
        const QByteArray c(40, 'c'), f(100, 'f'), n(400, 'n');
        QCOMPARE(import(c + ',' + f + ",,,,,," + n + '\n'), 1);
        const QStringList t = texts(last());
        QCOMPARE(t[0], QString(64, 'f'));
        QCOMPARE(t[6], QString(256, 'n'));
        QCOMPARE(cats().GetCategory(last()->category)->name, QString(31, 'c'));
    }

    // What the export writes comes back the same, note line breaks as blanks.
    void exportReimport()
    {
        // Nothing to write: an old file is emptied.
        const QString out = m_t->dir.filePath("out.csv");
        QVERIFY(writeBytes(out, "old"));
        int count = -1;
        QVERIFY(DoTheExport(out, vault(), &count).ok());
        QCOMPARE(count, 0);
        QCOMPARE(fileBytes(out), QByteArray());

        QCOMPARE(import("\"We \"\"quote\"\"\",\"a, b\",\" pad \",\"x\"\n"), 1);
        const QString edited[7] = {"first", "two", "th\"ree", "", "a\rb", "", "line one\nline two"};
        QVERIFY(vault().updateRecord(last()->key, edited).ok());
        // A record whose category is gone, as a damaged file may hold.
        QVERIFY(addOrphan(vault(), 5000, {"lost"}));
        QVERIFY(m_t->open());

        const QByteArray orphanLine = ExportCSVLine(vault(), last());
        QCOMPARE(orphanLine, QByteArray("\"Category\",\"lost\",\"\",\"\",\"\",\"\",\"\",\"\"\n"));
        QCOMPARE(ExportCSVLine(vault(), recs().first()),
                 QByteArray("\"We \"\"quote\"\"\",\"first\",\"two\",\"th\"\"ree\",\"\",\"a\rb\",\"\",\"line one line two\"\n"));
        QVERIFY(DoTheExport(out, vault(), &count).ok());
        QCOMPARE(count, 2);
        const QByteArray written = fileBytes(out);
        QCOMPARE(written.count('\n'), 2);
        QVERIFY(written.endsWith(orphanLine));

        // Into a file of its own, and out again the same.
        const auto exported = std::move(m_t); // keeps the folder of out.csv
        init();
        QVERIFY(DoTheImport(out, vault(), &count).ok());
        QCOMPARE(count, 2);
        QBuffer again;
        QVERIFY(again.open(QIODevice::WriteOnly));
        QCOMPARE(ExportCSV(again, vault()), 2);
        QCOMPARE(again.data(), written);
    }

    // A protected category's texts are stored enciphered under the password;
    // locked, its lines are skipped.
    void protectedCategory()
    {
        QVERIFY(vault().changePassword({}, "secret").ok());
        QVector<CVault::ImportSkip> skipped;
        QCOMPARE(import("bank,Main,1234,9999\nEmail,open\n", &skipped), 1);
        QCOMPARE(skipped.size(), 1);
        QCOMPARE(skipped[0].line, 1);
        QVERIFY(vault().unlock("secret"));
        QCOMPARE(import("bank,Main,1234,9999\n"), 1);
        QVERIFY(vault().isEncrypted(*last()));
        QVERIFY(!m_t->bytes().contains("1234"));
        QVERIFY(m_t->open());
        QVERIFY(vault().unlock("secret"));
        QCOMPARE(texts(last()).mid(0, 3), (QStringList{"Main", "1234", "9999"}));
    }

    // Whatever the bytes, the data file stays sound and readable, and every
    // row is either imported or reported.
    void badInput_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("count");
        QTest::addColumn<int>("skipped");
        QTest::addColumn<QString>("reason"); // of the first skipped line
        QTest::newRow("empty") << QByteArray() << 0 << 0 << QString();
        QTest::newRow("nul bytes") << QByteArray("a\0b,c\0\n\0\nok\n", 12) << 1 << 2
                                   << "Column 1 holds a character that is not text (U+0000).";
        QTest::newRow("long line") << QByteArray(3 << 20, ',') << 1 << 0 << QString();
        QByteArray many;
        for (int i = 0; i < 1000; ++i)
            many += "c" + QByteArray::number(i) + ",x\n";
        QTest::newRow("no category id left") << many << 887 << 113
                                             << "No category id is left for the category \"c887\".";
        QByteArray noise;
        quint32 seed = 7;
        for (int i = 0; i < 20000; ++i) {
            seed = seed * 1103515245u + 12345u;
            noise += char(seed >> 24);
        }
        QTest::newRow("noise") << noise << -1 << -1 << QString();
    }
    void badInput()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, count);
        QFETCH(int, skipped);
        QFETCH(QString, reason);
        QVector<CVault::ImportSkip> skips;
        const int got = import(bytes, &skips);
        QVERIFY(got >= 0);
        if (count >= 0)
            QCOMPARE(got, count);
        if (skipped >= 0)
            QCOMPARE(int(skips.size()), skipped);
        // Every row the reader finds is accounted for.
        int rows = 0;
        CCsvReader reader(CCsvReader::decode(bytes));
        for (CCsvRow row; reader.next(row);)
            ++rows;
        QCOMPARE(got + int(skips.size()), rows);
        if (!reason.isNull())
            QCOMPARE(skips.value(0).reason, reason);
        QVERIFY(fileSound());
        QVERIFY(m_t->open());
        QCOMPARE(recs().count, got);
    }

    // Exports hold every secret in plain text: owner-only files, never
    // written through a link or into a file that has other names.
    void exportTarget_data()
    {
        QTest::addColumn<QString>("existing");
        QTest::addColumn<bool>("overwrite");
        QTest::addColumn<QString>("refused");
        QTest::newRow("new") << "" << false << "";
        QTest::newRow("file overwritten") << "file" << true << "";
        QTest::newRow("file kept") << "file" << false << "exists already";
        QTest::newRow("link") << "link" << false << "symbolic link";
        QTest::newRow("link, overwrite") << "link" << true << "symbolic link";
        QTest::newRow("dangling link, overwrite") << "dangling" << true << "symbolic link";
        QTest::newRow("hard link, overwrite") << "hardlink" << true << "other names";
        QTest::newRow("folder, overwrite") << "folder" << true << "is a folder";
    }
    void exportTarget()
    {
        QFETCH(QString, existing);
        QFETCH(bool, overwrite);
        QFETCH(QString, refused);
        const QString dir = m_t->dir.path();
        const QString path = dir + "/out.csv";
        const QString victim = dir + "/victim";
        QVERIFY(writeBytes(victim, "victim"));
        if (existing == "file")
            QVERIFY(writeBytes(path, "old") && ::chmod(QFile::encodeName(path), 0644) == 0);
        else if (existing == "link")
            QVERIFY(QFile::link(victim, path));
        else if (existing == "dangling")
            QVERIFY(QFile::link(dir + "/absent", path));
        else if (existing == "hardlink")
            QVERIFY(::link(QFile::encodeName(victim), QFile::encodeName(path)) == 0);
        else if (existing == "folder")
            QVERIFY(QDir().mkdir(path));

        const mode_t umaskWas = ::umask(0);
        QFile file;
        QString error;
        const bool opened = CCsvOutputFile::open(file, path, overwrite, error);
        ::umask(umaskWas);
        QCOMPARE(opened, refused.isEmpty());
        QVERIFY2(error.contains(refused), qPrintable(error));
        // Asked ahead, the same answer (but for what only open() can know).
        if (existing != "file" || overwrite)
            QCOMPARE(CCsvOutputFile::refusal(path), error);
        if (opened) {
            QVERIFY(file.write("new") == 3);
            file.close();
            QCOMPARE(QFile::permissions(path), QFile::ReadOwner | QFile::WriteOwner | QFile::ReadUser | QFile::WriteUser);
        }
        if (opened || existing == "file")
            QCOMPARE(fileBytes(path), QByteArray(opened ? "new" : "old"));
        QCOMPARE(fileBytes(victim), QByteArray("victim"));
        QVERIFY(!QFile::exists(dir + "/absent"));
    }
};

QTEST_GUILESS_MAIN(TestCsv)
#include "tst_csv.moc"
