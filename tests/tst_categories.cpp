#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/session.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <memory>

class TstCategories : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;

private slots:
    void cleanup() { m_session.reset(); }

    void defaultDatabase()
    {
        m_session = std::make_unique<CSession>(m_dir.filePath(QStringLiteral("c.dat")));
        m_session->open();
        CCategory extra;
        extra.name = QStringLiteral("Bank");
        extra.id = 899; // would be stored on the record marker's key
        QVERIFY(!extra.WriteRecord());
        extra.id = 20; // a second "Bank": dropped on load, the first one read stays
        QVERIFY(extra.WriteRecord());
        CCategories cats;
        cats.LoadAll();
        QStringList protectedOnes;
        for (CCategory* c = cats.first(); c; c = CCategories::nextOf(c))
            if (c->isProtected)
                protectedOnes << c->name;
        QCOMPARE(cats.count, 12);
        QCOMPARE(protectedOnes, QStringList({"Bank", "Combination lock", "Credit Card"}));
        QCOMPARE(cats.find(QStringLiteral("eMAIL")), cats.GetCategory(3));
        QVERIFY(!cats.find(QStringLiteral("Bank account")));
        QCOMPARE(cats.find(QStringLiteral("bank"))->id, 0); // the "Bank" read first stays
        QCOMPARE(cats.GetCategory(500), cats.first());      // unknown id
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
        const auto slot = [](const QByteArray& s) { return s + QByteArray(32 - s.size(), '\0'); };
        QCOMPARE(QByteArray(out, sizeof out), QByteArray("\x04\x03\x02\x01\x01\x00\x00\x00", 8)
                                                  + slot("icon_x") + slot(QByteArray(31, 'N'))
                                                  + QByteArray(5 * 32, '\0') + slot("L6"));
        // Reading is pinned by the golden-file test. Damaged: a slot without its
        // NUL is cut at the slot; a short record (on the heap, so ASan sees an
        // overread) leaves the rest empty.
        std::memset(out + 40, 'Q', 32);
        CCategory back;
        back.Decode(out, sizeof out);
        QCOMPARE(back.name, QString(32, QLatin1Char('Q')));
        const std::unique_ptr<char[]> head(new char[50]);
        std::memcpy(head.get(), out, 50);
        back.Decode(head.get(), 50);
        QCOMPARE(back.name + back.labels[5], QString(10, QLatin1Char('Q')));
    }
};

QTEST_GUILESS_MAIN(TstCategories)
#include "tst_categories.moc"
