// The comma-separated format without widgets: the field reader, the import
// into a real data file and the export read back.
#include "vaulttest.h"

#include "csv/csvexport.h"
#include "csv/csvfield.h"
#include "csv/csvimport.h"
#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"
#include "vault/keyplan.h"

#include <QBuffer>

#include <memory>

namespace {

QByteArray ReadFile(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

} // namespace

class TestCsv : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestVault> m_t;

    CVault& vault() { return *m_t->vault; }
    const CCategories& cats() { return vault().categories(); }
    const CRecords& recs() { return vault().records(); }
    const CRecord* last() { return static_cast<const CRecord*>(recs().tail); }
    QStringList texts(const CRecord* r)
    {
        QStringList out;
        for (int i = 0; i < CRecord::TextCount; ++i)
            out << vault().text(*r, i);
        return out;
    }

    // The number of records added, -1 when the import failed.
    int import(const QByteArray& bytes, QVector<CVault::ImportSkip>* skipped = nullptr)
    {
        int added = 0;
        return ImportCSVBytes(bytes, vault(), &added, skipped).ok() ? added : -1;
    }
    bool fileSound()
    {
        CxFileCheck check(m_t->bytes(), KeyPlan::Signature);
        return check.run();
    }
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

    void fieldReader_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("values");
        QTest::newRow("unquoted") << "a,b,c" << QStringList{"a", "b", "c"};
        QTest::newRow("trailing blank kept") << "abc ,def" << QStringList{"abc ", "def"};
        QTest::newRow("leading blanks dropped") << " \t abc,\tdef" << QStringList{"abc", "def"};
        QTest::newRow("quoted comma") << "\"a,b\",c" << QStringList{"a,b", "c"};
        QTest::newRow("doubled quotes") << "\"say \"\"hi\"\" \"\"x\"\"\",next"
                                        << QStringList{"say \"hi\" \"x\"", "next"};
        QTest::newRow("blanks inside quotes") << "\" a \"  , b" << QStringList{" a ", "b"};
        QTest::newRow("quote inside unquoted") << "ab\"c,d" << QStringList{"ab\"c", "d"};
        QTest::newRow("text after closing quote") << "\"ab\"cd,ef" << QStringList{"ab", "cd", "ef"};
        QTest::newRow("unclosed quote") << "\"abc,def" << QStringList{"abc,def", ""};
        QTest::newRow("empty values") << ",,x" << QStringList{"", "", "x"};
        QTest::newRow("carriage return kept") << "a\rb,c" << QStringList{"a\rb", "c"};
        QTest::newRow("blanks only") << "   " << QStringList{"", ""};
    }
    void fieldReader()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, values);
        int pos = 0;
        QString value;
        for (const QString& expected : values) {
            pos = GetNextCSVfield(line, pos, value);
            QCOMPARE(value, expected);
        }
        // At the end: empty, and the position stays.
        QCOMPARE(pos, int(line.size()));
        QCOMPARE(GetNextCSVfield(line, pos, value), pos);
        QVERIFY(value.isEmpty());
        QCOMPARE(GetNextCSVfield(line, pos + 7, value), pos + 7);
    }

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
        QCOMPARE(import(bytes), 1);
        QCOMPARE(cats().GetCategory(last()->category)->name, QString::fromUtf8("Caf\u00e9"));
        QCOMPARE(texts(last()).mid(0, 2), (QStringList{QString::fromUtf8("Z\u00fcrich \u00bd"), QString::fromUtf8("\u00ff")}));
    }

    void beyondLatin1()
    {
        // One "?" per character, also for one outside the basic plane.
        QCOMPARE(DecodeCSV(QString::fromUtf8("a\u20ac\U0001F600b").toUtf8()), QString("a??b"));
        // Not UTF-8: every byte a character; NULs, which no stored text can
        // hold, dropped.
        QCOMPARE(DecodeCSV(QByteArray("\xff\x00\xc3", 3)), QString::fromLatin1("\xff\xc3"));
    }

    // What the export writes comes back the same, note line breaks as blanks.
    void exportReimport()
    {
        // Nothing to write: an old file is emptied.
        const QString out = m_t->dir.filePath("out.csv");
        QFile old(out);
        QVERIFY(old.open(QIODevice::WriteOnly) && old.write("old") == 3);
        old.close();
        int count = -1;
        QVERIFY(DoTheExport(out, vault(), &count).ok());
        QCOMPARE(count, 0);
        QCOMPARE(ReadFile(out), QByteArray());

        QCOMPARE(import("\"We \"\"quote\"\"\",\"a, b\",\" pad \",\"x\"\n"), 1);
        const QString edited[7] = {"first", "two", "th\"ree", "", "a\rb", "", "line one\nline two"};
        QVERIFY(vault().updateRecord(last()->key, edited).ok());
        // A record whose category is gone, as a damaged file may hold.
        CRecord orphan;
        orphan.category = 777;
        const QString lost[7] = {"lost"};
        orphan.SetDataText(lost, nullptr);
        const QByteArray bytes = orphan.Encode();
        QVERIFY(vault().session().file()->AddRecord(5000, bytes.constData(), int32_t(bytes.size())));
        QVERIFY(m_t->open());

        const QByteArray orphanLine = ExportCSVLine(vault(), last());
        QCOMPARE(orphanLine, QByteArray("\"Category\",\"lost\",\"\",\"\",\"\",\"\",\"\",\"\"\n"));
        QCOMPARE(ExportCSVLine(vault(), recs().first()),
                 QByteArray("\"We \"\"quote\"\"\",\"first\",\"two\",\"th\"\"ree\",\"\",\"a\rb\",\"\",\"line one line two\"\n"));
        QVERIFY(DoTheExport(out, vault(), &count).ok());
        QCOMPARE(count, 2);
        const QByteArray written = ReadFile(out);
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

    // Whatever the bytes, the data file stays sound and readable.
    void badInput_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("count");
        QTest::newRow("empty") << QByteArray() << 0;
        QTest::newRow("line ends only") << QByteArray("\n\r\n\n") << 0;
        QTest::newRow("nul bytes") << QByteArray("a\0b,c\0\n\0\n", 9) << 1;
        QTest::newRow("stray quotes") << QByteArray("\"\"\"\n\",\"\",\"\n\"") << 3;
        QTest::newRow("long line") << QByteArray(3 << 20, ',') << 1;
        QByteArray noise;
        quint32 seed = 7;
        for (int i = 0; i < 20000; ++i) {
            seed = seed * 1103515245u + 12345u;
            noise += char(seed >> 24);
        }
        QTest::newRow("noise") << noise << -1;
    }
    void badInput()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, count);
        const int got = import(bytes);
        QVERIFY(got >= 0);
        if (count >= 0)
            QCOMPARE(got, count);
        QVERIFY(fileSound());
        QVERIFY(m_t->open());
        QCOMPARE(recs().count, got);
    }
};

QTEST_GUILESS_MAIN(TestCsv)
#include "tst_csv.moc"
