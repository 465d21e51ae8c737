#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/categories.h"
#include "storage/cxfile.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <memory>

class TstCategories : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_files = 0;

    static CCategory* make(int id, const QString& name)
    {
        auto* c = new CCategory;
        c->id = id;
        c->name = name;
        return c;
    }

    static QStringList names(const CCategories& cats, bool protectedOnly = false)
    {
        QStringList out;
        for (CCategory* c = cats.first(); c; c = CCategories::nextOf(c))
            if (!protectedOnly || c->isProtected)
                out << c->name;
        return out;
    }

private slots:
    void init()
    {
        _AppFile = new CxFile(_AppSignature);
        _AppCfg = new CvxConfig(m_dir.filePath(QStringLiteral("c%1.dat").arg(m_files++)));
    }
    void cleanup()
    {
        delete _AppCfg;
        _AppCfg = nullptr;
        delete _AppFile;
        _AppFile = nullptr;
    }

    void defaultDatabase()
    {
        QMap<int, int> sizes, expected{{0, 88}, {100, 1}, {1000, 1}};
        for (int k = 101; k <= 112; ++k)
            expected[k] = 264;
        for (bool ok = _AppFile->FindFirstRecord(); ok; ok = _AppFile->FindNextRecord()) {
            int32_t key = 0, size = 0;
            _AppFile->ReadRecordKey(key);
            _AppFile->ReadRecordSize(size);
            sizes[key] = size;
        }
        QCOMPARE(sizes, expected);

        CCategories cats;
        cats.LoadAll();
        QCOMPARE(names(cats),
                 QStringList({"Bank", "Calling Card", "Combination lock", "Computer Login",
                              "Credit Card", "Email", "Frequent Flyer", "Personal ID",
                              "Serial No.", "Software", "Voice Mail", "Web Login"}));
        QCOMPARE(names(cats, true), QStringList({"Bank", "Combination lock", "Credit Card"}));
        CCategory* mail = cats.find(QStringLiteral("EMAIL"));
        QVERIFY(mail);
        QCOMPARE(mail->id, 3);
        QCOMPARE(mail->icon, QStringLiteral("icon_mail"));
        QCOMPARE(mail->labels[4], QStringLiteral("SMTP"));
        QVERIFY(!cats.find(QStringLiteral("Bank account")));
        QCOMPARE(cats.GetCategory(7)->name, QStringLiteral("Web Login"));
        QCOMPARE(cats.GetCategory(500)->name, QStringLiteral("Bank")); // unknown id: the first
    }

    void createNew_data()
    {
        QTest::addColumn<QList<int>>("ids");
        QTest::addColumn<int>("expected");
        QTest::newRow("empty") << QList<int>{} << 0;
        QTest::newRow("defaults") << QList<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11} << 12;
        QTest::newRow("5 deleted") << QList<int>{0, 1, 2, 3, 4, 6, 7, 8, 9, 10, 11} << 5;
        QTest::newRow("no gap below lowest") << QList<int>{5, 3, 2} << 4;
    }
    void createNew()
    {
        QFETCH(QList<int>, ids);
        QFETCH(int, expected);
        CCategories cats;
        for (int id : ids)
            QVERIFY(cats.InsertSeq(make(id, QStringLiteral("n%1").arg(id)), false));
        std::unique_ptr<CCategory> c(cats.CreateNew());
        QCOMPARE(c->id, expected);
        QCOMPARE(cats.count, int(ids.size())); // not linked
    }

    void duplicatesAndIdRange()
    {
        // A second "Bank" on file is dropped on load; the first one read stays.
        std::unique_ptr<CCategory> dup(make(20, QStringLiteral("Bank")));
        QVERIFY(dup->WriteRecord());
        // Id 899 would be stored on the record marker's key.
        std::unique_ptr<CCategory> far(make(899, QStringLiteral("Far")));
        QVERIFY(!far->WriteRecord());
        CCategories loaded;
        loaded.LoadAll();
        QCOMPARE(loaded.count, 12);
        QCOMPARE(loaded.find(QStringLiteral("Bank"))->id, 0);
    }

    void storedForm()
    {
        CCategory c;
        c.id = 0x01020304;
        c.isProtected = true;
        c.icon = QStringLiteral("icon_x");
        c.name = QString(40, QLatin1Char('N')); // longer than its slot
        c.labels[5] = QStringLiteral("L6");
        char out[CCategory::StoredSize];
        std::memset(out, 0x55, sizeof out);
        c.Encode(out);
        QCOMPARE(QByteArray(out, 8), QByteArray("\x04\x03\x02\x01\x01\x00\x00\x00", 8));
        QCOMPARE(QByteArray(out + 8, 32), QByteArray("icon_x") + QByteArray(26, '\0'));
        QCOMPARE(QByteArray(out + 40, 32), QByteArray(31, 'N') + '\0');
        QCOMPARE(QByteArray(out + 72 + 5 * 32, 3), QByteArray("L6\0", 3));

        // Damaged: a slot without its NUL is cut at the slot; a short record
        // leaves the rest empty.
        std::memset(out + 40, 'Q', 32);
        CCategory back;
        back.Decode(out, sizeof out);
        QCOMPARE(back.name, QString(32, QLatin1Char('Q')));
        QCOMPARE(back.labels[5], QStringLiteral("L6"));
        back.Decode(out, 50);
        QCOMPARE(back.id, c.id);
        QCOMPARE(back.name, QString(10, QLatin1Char('Q')));
        QCOMPARE(back.labels[5], QString());
    }
};

QTEST_GUILESS_MAIN(TstCategories)
#include "tst_categories.moc"
