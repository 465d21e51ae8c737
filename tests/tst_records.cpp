// Records and categories as plain data: their stored forms, damaged input,
// the ids new categories take, and the keys that categories may use.
#include "vaulttest.h"

#include "crypto/cipherkey.h"
#include "vault/keyplan.h"
#include "vault/password.h"

#include <QtEndian>

#include <cstring>

namespace {

QByteArray le(qint32 v)
{
    QByteArray b(4, '\0');
    qToLittleEndian(v, b.data());
    return b;
}

QStringList texts(const CRecord& r)
{
    QStringList out;
    for (int n = 0; n < CRecord::TextCount; ++n)
        r.GetDataText(n, out.emplace_back(), nullptr);
    return out;
}

} // namespace

class TstRecords : public QObject
{
    Q_OBJECT

private slots:
    // The stored forms are pinned by the golden-file test. The key is the
    // password's Latin-1 bytes, one per character: files keyed so must keep
    // opening.
    void keyIsLatin1()
    {
        char a[8] = {'b', 'l', 'o', 'c', 'k'}, b[8] = {'b', 'l', 'o', 'c', 'k'};
        Password::KeyFor(QString::fromLatin1("P\xe4ssw\xf6rd")).encrypt(a, 8);
        CCipherKey(QByteArray("P\xe4ssw\xf6rd")).encrypt(b, 8);
        QCOMPARE(QByteArray(a, 8), QByteArray(b, 8));
    }

    // What a record with lying lengths reads as (that any input decodes,
    // enciphers and encodes safely is the model fuzzer's).
    void damagedRecord()
    {
        // Lying lengths in the head.
        const QByteArray lens = le(3) + le(0) + le(0) + le(0) + le(0) + le(0);
        const struct { QByteArray bytes; const char *first, *text1, *text2; } rows[] = {
            {QByteArray("\x01\x00\x00", 3), "", "", ""},
            {le(0) + lens + le(1000) + le(8) + "abc", "abc", "", ""},               // first length too long
            {le(0) + lens + le(2) + le(64) + "abxyz", "ab", "xyz", ""},             // data length too long
            {le(0) + le(-5) + le(-1) + le(0) + le(0) + le(0) + le(-9) + le(-2) + le(-8) + "zz", "", "", ""},
            {le(0) + lens + le(1) + le(5) + "axyz12", "a", "xyz", ""},              // not whole blocks
            {le(0) + le(6) + le(50) + le(0) + le(0) + le(0) + le(0x7fffffff) + le(0) + le(8) + "12345678", "",
             "123456", "78"}};                                                         // fields past the data
        for (const auto& row : rows) {
            // A heap block of exactly the input's size, so ASan sees any overread.
            std::unique_ptr<char[]> input(new char[size_t(row.bytes.size())]);
            std::memcpy(input.get(), row.bytes.constData(), size_t(row.bytes.size()));
            CRecord r;
            r.Decode(input.get(), int(row.bytes.size()));
            QCOMPARE(texts(r).mid(0, 3), QStringList({row.first, row.text1, row.text2}));
            QVERIFY(r.Encode().size() <= qMax<qsizetype>(36, row.bytes.size()));
        }
    }

    // A damaged category record: a slot without its NUL is cut at the
    // slot; a short record leaves the rest empty.
    void damagedCategory()
    {
        char bytes[CCategory::StoredSize];
        std::memset(bytes, 'Q', sizeof bytes);
        CCategory back;
        back.Decode(bytes, sizeof bytes);
        QCOMPARE(back.name, QString(32, QLatin1Char('Q')));
        back.Decode(bytes, 50);
        QCOMPARE(back.name + back.labels[5], QString(10, QLatin1Char('Q')));
    }

    // A new category takes the first free id above the lowest one.
    void newCategoryId()
    {
        const QList<QPair<QList<int>, int>> rows = {{{}, 0},
                                                   {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, 12},
                                                   {{0, 1, 2, 3, 4, 6, 7, 8, 9, 10, 11}, 5},
                                                   {{5, 3, 2}, 4}};
        for (const auto& [ids, expected] : rows) {
            CCategories cats;
            for (int id : ids) {
                auto* c = new CCategory;
                c->id = id;
                c->name = QString::number(id);
                QVERIFY(cats.InsertSeq(c, false));
            }
            std::unique_ptr<CCategory> c(cats.CreateNew());
            QCOMPARE(c->id, expected);
            QCOMPARE(cats.count, int(ids.size())); // not linked
        }
    }

    void defaultAndStoredCategories()
    {
        TestVault t;
        QVERIFY(t.open());
        const CCategories& cats = t.vault->categories();
        QCOMPARE(cats.count, 12);
        QStringList protectedOnes;
        for (const CCategory* c = cats.first(); c; c = CCategories::nextOf(c))
            if (c->isProtected)
                protectedOnes << c->name;
        QCOMPARE(protectedOnes, QStringList({"Bank", "Combination lock", "Credit Card"}));
        QCOMPARE(cats.find(QStringLiteral("eMAIL")), cats.GetCategory(3));
        QVERIFY(!cats.find(QStringLiteral("Bank account")));
        QCOMPARE(cats.GetCategory(500), cats.first()); // unknown id

        // Categories written straight to the file.
        const auto store = [](CVault& vault, int id, const QString& name) {
            CCategory c;
            c.id = id;
            c.name = name;
            char bytes[CCategory::StoredSize];
            c.Encode(bytes);
            return vault.session().file()->AddRecord(KeyPlan::CategoryKey(id), bytes, sizeof bytes);
        };
        // A second "Bank" in the file: dropped on load, the first one read stays.
        QVERIFY(store(*t.vault, 20, QStringLiteral("Bank")));
        QVERIFY(t.open());
        QCOMPARE(t.vault->categories().count, 12);
        QCOMPARE(t.vault->categories().find(QStringLiteral("bank"))->id, 0);

        // Category ids end below the record marker's key: once all are
        // taken, new categories are refused (what an import then does is the
        // CSV test's).
        TestVault full;
        QVERIFY(full.open());
        full.vault->session().file()->BeginTransaction();
        for (int id = 12; id <= KeyPlan::MaxCategoryId; ++id)
            QVERIFY(store(*full.vault, id, QStringLiteral("c%1").arg(id)));
        QVERIFY(full.vault->session().file()->CommitTransaction());
        QVERIFY(full.open());
        QCOMPARE(full.vault->categories().count, KeyPlan::MaxCategoryId + 1);
        const QByteArray before = full.bytes();
        CCategory more;
        more.name = QStringLiteral("More");
        QVERIFY(!full.vault->addCategory(more).ok());
        QCOMPARE(full.bytes(), before);
    }
};

QTEST_GUILESS_MAIN(TstRecords)
#include "tst_records.moc"
