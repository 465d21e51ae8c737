#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/records.h"
#include "vault/session.h"
#include "vault/password.h"

#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <cstring>
#include <memory>

class TstRecords : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;
    int m_files = 0;

    static QByteArray le(qint32 v) { QByteArray b(4, '\0'); qToLittleEndian(v, b.data()); return b; }

    static std::unique_ptr<CRecord> newRecord(int category, const QStringList& t, bool encrypted = false)
    {
        auto r = std::make_unique<CRecord>();
        r->category = category;
        r->encrypted = encrypted;
        r->SetDataText(t.value(0), t.value(1), t.value(2), t.value(3), t.value(4), t.value(5), t.value(6));
        return r;
    }

    static QStringList texts(const CRecord* r)
    {
        QStringList out;
        for (int n = 0; n < CRecord::TextCount; ++n)
            r->GetDataText(n, out.emplace_back());
        return out;
    }

private slots:
    void init()
    {
        m_session = std::make_unique<CSession>(m_dir.filePath(QStringLiteral("r%1.dat").arg(m_files++)));
        m_session->open();
    }
    void cleanup() { m_session.reset(); }

    void storedForm()
    {
        // The field bytes are rounded up to whole cipher blocks: 8 stay 8, 9 take 16, none take 0.
        for (const auto& [t, dataLength] : {std::pair(QStringList{"d", "abc", "", "12345", "", "", ""}, 8),
                                            std::pair(QStringList{"d", "1234", "", "", "", "", "56789"}, 16),
                                            std::pair(QStringList{"desc", "", "", "", "", "", ""}, 0)}) {
            const QByteArray stored = newRecord(3, t)->Encode();
            QCOMPARE(stored.mid(32, 4), le(dataLength));
            QCOMPARE(stored.size(), 36 + t[0].size() + dataLength);
            CRecord back;
            back.Decode(stored.constData(), int(stored.size()));
            QCOMPARE(texts(&back), t);
        }
    }

    void damaged()
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
        CCategories cats;
        cats.LoadAll();
        EncryptAddNewPwd(QStringLiteral("k"));
        for (const auto& row : rows) {
            // A heap block of exactly the input's size, so ASan sees any overread.
            std::unique_ptr<char[]> input(new char[size_t(row.bytes.size())]);
            std::memcpy(input.get(), row.bytes.constData(), size_t(row.bytes.size()));
            CRecord r;
            r.Decode(input.get(), int(row.bytes.size()));
            QCOMPARE(texts(&r).mid(0, 3), QStringList({row.first, row.text1, row.text2}));
            QVERIFY(r.Encode().size() <= qMax<qsizetype>(36, row.bytes.size()));

            r.category = 0; // "Bank", protected: enciphered, then read locked and unlocked
            QVERIFY(r.EncryptRecord(&cats));
            r.encrypted = true;
            _AppCfg->locked = true;
            texts(&r);
            _AppCfg->locked = false;
            QCOMPARE(texts(&r)[1], QString::fromLatin1(row.text1));
        }
    }
};

QTEST_GUILESS_MAIN(TstRecords)
#include "tst_records.moc"
