// The comma-separated format without widgets: the import into a real data
// file, the export read back and where an export may be written.
#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "csv/csvexport.h"
#include "csv/csvimport.h"
#include "csv/csvoutputfile.h"
#include "csv/csvreader.h"
#include "model/appfile.h"
#include "model/categories.h"
#include "model/record.h"
#include "model/records.h"
#include "model/session.h"
#include "security/password.h"
#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace {

QStringList Texts(const CRecord* r)
{
    QStringList out;
    QString t;
    for (int i = 0; i < CRecord::TextCount; ++i) {
        r->GetDataText(i, t);
        out << t;
    }
    return out;
}

bool WriteFile(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

QByteArray ReadFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

class TestCsv : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;
    int m_n = 0;

    CCategories* cats() { return m_session->categories(); }
    CRecords* recs() { return m_session->records(); }

    // A new default data file for each test.
    void openFresh()
    {
        closeSession();
        m_session = std::make_unique<CSession>(m_dir.filePath(QString("data%1.dat").arg(++m_n)));
        QVERIFY(m_session->open());
        m_session->loadCollections();
    }
    void reopen()
    {
        const QString path = m_session->dataFile();
        closeSession();
        m_session = std::make_unique<CSession>(path);
        QVERIFY(m_session->open());
        m_session->loadCollections();
    }
    void closeSession()
    {
        if (m_session)
            m_session->close();
        m_session.reset();
    }
    int import(const QByteArray& bytes, CCsvImportReport* report = nullptr)
    {
        const QString path = m_dir.filePath("in.csv");
        if (!WriteFile(path, bytes))
            return -1;
        QString name = path;
        return DoTheImport(name, cats(), recs(), report);
    }
    bool fileSound()
    {
        CxFileCheck check(ReadFile(m_session->dataFile()), _AppSignature);
        return check.run();
    }
    QStringList categoryNames()
    {
        QStringList names;
        for (CCategory* c = cats()->first(); c; c = CCategories::nextOf(c))
            names << c->name;
        return names;
    }

private slots:
    void cleanup() { closeSession(); }

    // Every line a record; categories found ignoring case or created once,
    // in their sorted place.
    void importLines()
    {
        openFresh();
        const int before = recs()->count;
        const int categoriesBefore = cats()->count;
        const QByteArray csv = "\"Shop\",\"login\",\"pw\"\n"
                               "\n"
                               "shop,second\r\n"
                               "BANK,Current,12345678,0000,,,,note,extra,columns\n"
                               "   \n"
                               "Category,Field 1,Field 2,Field 3,Field 4,Field 5,Field 6,Note";
        QCOMPARE(import(csv), 5);
        QCOMPARE(recs()->count, before + 5);
        // "Shop", "" and the header's "Category"; "BANK" went into "Bank".
        QCOMPARE(cats()->count, categoriesBefore + 3);
        const QStringList names = categoryNames();
        QCOMPARE(names.count("Shop"), 1);
        QCOMPARE(names.count(""), 1);
        QVERIFY(names.indexOf("Shop") > names.indexOf("Serial No."));

        // Category and the first three texts of the new records, in order.
        QStringList got;
        for (auto* r = static_cast<CRecord*>(recs()->tail); got.size() < 5; r = static_cast<CRecord*>(r->prev))
            got.prepend(cats()->GetCategory(r->category)->name + '|' + Texts(r).mid(0, 3).join('|') + '|' + Texts(r)[6]);
        QCOMPARE(got, (QStringList{"Shop|login|pw||", "Shop|second|||", "Bank|Current|12345678|0000|note",
                                   "||||", "Category|Field 1|Field 2|Field 3|Note"}));
        const CCategory* made = cats()->find("Shop");
        QCOMPARE(made->labels[5], QString("Field 6"));
        QVERIFY(!made->isProtected);
        QCOMPARE(made->icon, _AppCfg->iconNames.value(0));

        // All of it was written through.
        QVERIFY(fileSound());
        reopen();
        QCOMPARE(recs()->count, before + 5);
        QCOMPARE(categoryNames().count("Shop"), 1);
    }

    // Imported records take the smallest free keys, as any new record does.
    void keysFillGaps()
    {
        openFresh();
        QCOMPARE(import("a\nb\nc\n"), 3);
        QVERIFY(_AppFile->FindRecord(1002) && _AppFile->DeleteRecord());
        QCOMPARE(import("d\ne\n"), 2);
        const auto* last = static_cast<CRecord*>(recs()->tail);
        QCOMPARE(last->key, 1004);
        QCOMPARE(static_cast<CRecord*>(last->prev)->key, 1002);
        QVERIFY(fileSound());
    }

    void limits()
    {
        openFresh();
        const QByteArray c(40, 'c'), f(100, 'f'), n(400, 'n');
        QCOMPARE(import(c + ',' + f + ",,,,,," + n + '\n'), 1);
        const auto* r = static_cast<CRecord*>(recs()->tail);
        const QStringList t = Texts(r);
        QCOMPARE(t[0], QString(64, 'f'));
        QCOMPARE(t[6], QString(256, 'n'));
        QCOMPARE(cats()->GetCategory(r->category)->name, QString(31, 'c'));
    }

    void encodings_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        const QString text = QString::fromUtf8("Caf\u00e9,Z\u00fcrich \u00bd,\u00ff");
        QTest::newRow("utf-8") << text.toUtf8();
        QTest::newRow("utf-8 with mark") << QByteArray("\xEF\xBB\xBF") + text.toUtf8();
        QTest::newRow("latin-1") << text.toLatin1();
    }
    void encodings()
    {
        QFETCH(QByteArray, bytes);
        openFresh();
        QCOMPARE(import(bytes), 1);
        const auto* r = static_cast<CRecord*>(recs()->tail);
        QCOMPARE(cats()->GetCategory(r->category)->name, QString::fromUtf8("Caf\u00e9"));
        QCOMPARE(Texts(r).mid(0, 2), (QStringList{QString::fromUtf8("Z\u00fcrich \u00bd"), QString::fromUtf8("\u00ff")}));
    }

    // What the export writes comes back the same, note line breaks as blanks.
    void exportReimport()
    {
        openFresh();
        QVERIFY(import("\"We \"\"quote\"\"\",\"a, b\",\" pad \",\"x\"\n") == 1);
        auto* r = static_cast<CRecord*>(recs()->tail);
        r->SetDataText("first", "two", "th\"ree", "", "a\rb", "", "line one\nline two");
        r->WriteRecord(true);
        auto* orphan = new CRecord;
        orphan->category = 777;
        orphan->SetDataText("lost", "", "", "", "", "", "");
        orphan->WriteRecord(false);
        recs()->Append(orphan);

        const QByteArray orphanLine = ExportCSVLine(cats(), orphan);
        QCOMPARE(orphanLine, QByteArray("\"Category\",\"lost\",\"\",\"\",\"\",\"\",\"\",\"\"\n"));
        QCOMPARE(ExportCSVLine(cats(), r),
                 QByteArray("\"We \"\"quote\"\"\",\"first\",\"two\",\"th\"\"ree\",\"\",\"a\rb\",\"\",\"line one line two\"\n"));

        QString out = m_dir.filePath("out.csv");
        QCOMPARE(DoTheExport(out, cats(), recs()), recs()->count);
        const QByteArray written = ReadFile(out);
        QCOMPARE(written.count('\n'), recs()->count);
        QVERIFY(written.endsWith(orphanLine));

        // Into a file of its own.
        QList<QPair<QString, QStringList>> expected;
        for (CRecord* e = recs()->first(); e; e = CRecords::nextOf(e)) {
            const CCategory* c = cats()->GetCategory(e->category);
            QStringList t = Texts(e);
            t.last().replace('\n', ' ');
            expected << qMakePair(c->id == e->category ? c->name : QString("Category"), t);
        }
        openFresh();
        const int base = recs()->count;
        QCOMPARE(DoTheImport(out, cats(), recs()), expected.size());
        CRecord* e = recs()->first();
        for (int i = 0; i < base; ++i)
            e = CRecords::nextOf(e);
        for (const auto& [name, texts] : expected) {
            QVERIFY(e);
            QCOMPARE(cats()->GetCategory(e->category)->name, name);
            QCOMPARE(Texts(e), texts);
            e = CRecords::nextOf(e);
        }
    }

    void emptyExport()
    {
        CCategories categories;
        CRecords records;
        QString out = m_dir.filePath("empty.csv");
        QVERIFY(WriteFile(out, "old"));
        QCOMPARE(DoTheExport(out, &categories, &records), 0);
        QCOMPARE(ReadFile(out), QByteArray());
    }

    // A protected category's texts are stored enciphered under the password.
    void protectedCategory()
    {
        openFresh();
        EncryptAddNewPwd("secret");
        _AppCfg->locked = false;
        QCOMPARE(import("bank,Main,1234,9999\n"), 1);
        auto* r = static_cast<CRecord*>(recs()->tail);
        QVERIFY(r->encrypted);
        QVERIFY(QByteArray(r->fieldData, r->fieldDataLength).indexOf("1234") < 0);
        reopen();
        QVERIFY(CheckValidPwd("secret"));
        _AppCfg->locked = false;
        QCOMPARE(Texts(static_cast<CRecord*>(recs()->tail)).mid(0, 3), (QStringList{"Main", "1234", "9999"}));
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
        QTest::newRow("line ends only") << QByteArray("\n\r\n\n") << 0 << 0 << QString();
        QTest::newRow("lone CR line ends") << QByteArray("a,1\rb,2\rc,3\r") << 3 << 0 << QString();
        QTest::newRow("quoted line break") << QByteArray("Web,\"one\nbreak\",x\n") << 1 << 0 << QString();
        QTest::newRow("nul bytes") << QByteArray("a\0b,c\0\n\0\nok\n", 12) << 1 << 2
                                   << "Column 1 holds a character that is not text (U+0000).";
        QTest::newRow("stray quotes") << QByteArray("\"\"\"\n\",\"\",\"\n\"") << 1 << 0 << QString();
        QTest::newRow("long line") << QByteArray(3 << 20, ',') << 1 << 0 << QString();
        QByteArray many;
        for (int i = 0; i < 1000; ++i)
            many += "c" + QByteArray::number(i) + ",x\n";
        QTest::newRow("no category id left") << many << 887 << 113 << "No category id is left for its category.";
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
        openFresh();
        CCsvImportReport report;
        const int got = import(bytes, &report);
        if (count >= 0)
            QCOMPARE(got, count);
        if (skipped >= 0)
            QCOMPARE(report.skipped(), skipped);
        // Every row the reader finds is accounted for.
        int rows = 0;
        CCsvReader reader(CCsvReader::decode(bytes));
        for (CCsvRow row; reader.next(row);)
            ++rows;
        QCOMPARE(report.imported() + report.skipped(), rows);
        if (!reason.isNull())
            QCOMPARE(report.listed().value(0).second, reason);
        QVERIFY(fileSound());
        const int held = recs()->count;
        reopen();
        QCOMPARE(recs()->count, held);
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
        const QString dir = m_dir.filePath(QString("target-%1").arg(++m_n));
        QVERIFY(QDir().mkpath(dir));
        const QString path = dir + "/out.csv";
        const QString victim = dir + "/victim";
        QVERIFY(WriteFile(victim, "victim"));
        if (existing == "file")
            QVERIFY(WriteFile(path, "old") && ::chmod(QFile::encodeName(path), 0644) == 0);
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
            QCOMPARE(ReadFile(path), QByteArray(opened ? "new" : "old"));
        QCOMPARE(ReadFile(victim), QByteArray("victim"));
        QVERIFY(!QFile::exists(dir + "/absent"));
    }
};

QTEST_GUILESS_MAIN(TestCsv)
#include "tst_csv.moc"
