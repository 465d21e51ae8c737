#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/categories.h"
#include "model/records.h"
#include "security/password.h"
#include "storage/cxfile.h"

#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <cstring>
#include <memory>

class TstRecords : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_files = 0;

    static QByteArray le(qint32 v)
    {
        const qint32 x = qToLittleEndian(v);
        return QByteArray(reinterpret_cast<const char*>(&x), 4);
    }

    static CRecord* newRecord(int category, const QStringList& t, bool encrypted = false)
    {
        auto* r = new CRecord;
        r->category = category;
        r->encrypted = encrypted;
        r->SetDataText(t.value(0), t.value(1), t.value(2), t.value(3), t.value(4), t.value(5),
                       t.value(6));
        return r;
    }

    static QStringList texts(const CRecord* r)
    {
        QStringList out;
        for (int n = 0; n < CRecord::TextCount; ++n) {
            QString s;
            r->GetDataText(n, s);
            out << s;
        }
        return out;
    }

private slots:
    void init()
    {
        _AppFile = new CxFile(_AppSignature);
        _AppCfg = new CvxConfig(m_dir.filePath(QStringLiteral("r%1.dat").arg(m_files++)));
    }
    void cleanup()
    {
        delete _AppCfg;
        _AppCfg = nullptr;
        delete _AppFile;
        _AppFile = nullptr;
    }

    void lengths_data()
    {
        QTest::addColumn<QStringList>("t");
        QTest::addColumn<QList<int>>("lengths");
        QTest::addColumn<int>("dataLength");
        QTest::newRow("mixed") << QStringList{"d", "abc", "", "12345", "", "", ""}
                               << QList<int>{3, 0, 5, 0, 0, 0} << 8;
        QTest::newRow("9 bytes") << QStringList{"d", "1234", "", "", "", "", "56789"}
                                 << QList<int>{4, 0, 0, 0, 0, 5} << 16;
        QTest::newRow("empty") << QStringList{"desc", "", "", "", "", "", ""}
                               << QList<int>{0, 0, 0, 0, 0, 0} << 0;
    }
    void lengths()
    {
        QFETCH(QStringList, t);
        QFETCH(QList<int>, lengths);
        QFETCH(int, dataLength);
        std::unique_ptr<CRecord> r(newRecord(3, t));
        QCOMPARE(QList<int>(r->fieldLength, r->fieldLength + 6), lengths);
        QCOMPARE(r->fieldDataLength, dataLength);
        QCOMPARE(texts(r.get()), t);
        const QByteArray stored = r->Encode();
        QCOMPARE(stored.size(), 36 + t[0].size() + dataLength);
        CRecord back;
        back.Decode(stored.constData(), int(stored.size()));
        QCOMPARE(back.Encode(), stored);
        QCOMPARE(texts(&back), t);
    }

    void maskedWhileLocked()
    {
        EncryptAddNewPwd(QStringLiteral("pw"));
        std::unique_ptr<CRecord> r(newRecord(0, {"desc", "acct", "", "1234", "", "", "note"}, true));
        QVERIFY(!r->Encode().contains("acct"));
        QVERIFY(_AppCfg->locked);
        QCOMPARE(texts(r.get()), QStringList({"desc", "******", "", "******", "", "", "******"}));
        _AppCfg->locked = false;
        QCOMPARE(texts(r.get()), QStringList({"desc", "acct", "", "1234", "", "", "note"}));
    }

    void keysAndLoad()
    {
        CRecords records;
        for (int i = 0; i < 4; ++i) {
            CRecord* r = newRecord(i == 1 ? 0 : 3, {QStringLiteral("r%1").arg(i), "x"});
            r->WriteRecord(false);
            records.Append(r);
        }
        QVERIFY(_AppFile->FindRecord(1003));
        _AppFile->DeleteRecord();
        std::unique_ptr<CRecord> gap(newRecord(3, {"gap"}));
        gap->WriteRecord(false);
        QCOMPARE(gap->key, 1003);
        gap->SetDataText("gap2", "", "", "", "", "", "");
        gap->WriteRecord(true);

        CCategories cats;
        cats.LoadAll();
        CRecords loaded;
        loaded.LoadAll(&cats);
        QStringList seen;
        for (CRecord* r = loaded.first(); r; r = CRecords::nextOf(r)) {
            seen << QStringLiteral("%1 %2").arg(r->key).arg(texts(r)[0]);
            QVERIFY(!r->encrypted); // "Bank" is protected, but no password is set
        }
        QCOMPARE(seen, QStringList({"1001 r0", "1002 r1", "1003 gap2", "1004 r3"}));
    }

    void damaged_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("first");
        QTest::addColumn<QString>("text1");
        const QByteArray lens = le(3) + le(0) + le(0) + le(0) + le(0) + le(0);
        QTest::newRow("short head") << QByteArray("\x01\x00\x00", 3) << "" << "";
        QTest::newRow("lying first length") << le(0) + lens + le(1000) + le(8) + "abc" << "abc" << "";
        QTest::newRow("lying data length") << le(0) + lens + le(2) + le(64) + "abxyz" << "ab" << "xyz";
        QTest::newRow("negative lengths")
            << le(0) + le(-5) + le(-1) + le(0) + le(0) + le(0) + le(-9) + le(-2) + le(-8) + "zz"
            << "" << "";
        QTest::newRow("data length not a multiple of 8")
            << le(0) + lens + le(1) + le(5) + "axyz12" << "a" << "xyz";
        QTest::newRow("lengths past the data")
            << le(0) + le(6) + le(50) + le(0) + le(0) + le(0) + le(0x7fffffff) + le(0) + le(8)
                   + "12345678"
            << "" << "123456";
    }
    void damaged()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, first);
        QFETCH(QString, text1);
        // A heap block of exactly the input's size, so ASan sees any overread.
        std::unique_ptr<char[]> input(new char[size_t(bytes.size())]);
        std::memcpy(input.get(), bytes.constData(), size_t(bytes.size()));
        CRecord r;
        r.Decode(input.get(), int(bytes.size()));
        QCOMPARE(texts(&r).mid(0, 2), QStringList({first, text1}));
        QVERIFY(r.Encode().size() <= qMax<qsizetype>(36, bytes.size()));

        // The same bytes read as ciphertext, locked and unlocked, stay in bounds.
        CCategories cats;
        cats.LoadAll();
        r.category = 0; // "Bank", protected
        EncryptAddNewPwd(QStringLiteral("k"));
        r.encrypted = true;
        texts(&r);
        _AppCfg->locked = false;
        texts(&r);
        r.encrypted = false;
        QVERIFY(r.EncryptRecord(&cats));
        r.encrypted = true;
        QCOMPARE(texts(&r)[1], text1);
    }
};

QTEST_GUILESS_MAIN(TstRecords)
#include "tst_records.moc"
