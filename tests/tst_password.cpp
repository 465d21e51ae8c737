#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/records.h"
#include "vault/session.h"
#include "vault/password.h"
#include "vault/passwordchange.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <memory>

class TstPassword : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;
    int m_files = 0;

    static QByteArray verifier() { return QByteArray(reinterpret_cast<const char*>(_AppCfg->verifier), 8); }

private slots:
    void init()
    {
        m_session = std::make_unique<CSession>(m_dir.filePath(QStringLiteral("p%1.dat").arg(m_files++)));
        m_session->open();
    }
    void cleanup() { m_session.reset(); }

    void verifierAndCheck()
    {
        // Blowfish of "KESTR_ZU" (halves as little-endian words), from a separate Blowfish implementation.
        EncryptAddNewPwd(QStringLiteral("secret"));
        _AppCfg->load(); // as saved
        QCOMPARE(verifier().toHex(), "78891e640eaffe2f");
        QVERIFY(CheckValidPwd(QStringLiteral("secret")) && !CheckValidPwd(QStringLiteral("Secret")));
        // The key is used cyclically, so "abab" keys the cipher exactly as "ab"
        // does; only the stored length tells them apart.
        EncryptAddNewPwd(QStringLiteral("ab"));
        QVERIFY(CheckValidPwd(QStringLiteral("ab")) && !CheckValidPwd(QStringLiteral("abab")));
    }

    void setChangeRemove()
    {
        // A "Bank" record (protected) and an "Email" one, read back from the
        // file after each step; the raw file never holds a protected text.
        CCategories cats;
        cats.LoadAll();
        const QStringList plain = {"My bank", "ACCT-31415", "", "PIN-2718", "", "", "Branch note",
                                   "Mail", "alice", "MAILPASS-99", "pop", "smtp", "", ""};
        CRecords records, loaded;
        for (int i : {0, 7}) {
            auto* r = new CRecord;
            r->category = i ? 3 : 0;
            r->SetDataText(plain[i], plain[i + 1], plain[i + 2], plain[i + 3], plain[i + 4], plain[i + 5],
                           plain[i + 6]);
            r->WriteRecord(false);
            records.Append(r);
        }
        const auto change = [&](const QString& oldPwd, const QString& newPwd) {
            CPasswordChange d;
            d.Decide(oldPwd, newPwd, newPwd);
            ApplyPasswordChange(d.status, d.newPassword, &records, &cats);
            loaded.DeleteAll();
            loaded.LoadAll(&cats);
            QStringList texts;
            for (CRecords* list : {&records, &loaded})
                for (CRecord* r = list->first(); r; r = CRecords::nextOf(r))
                    for (int n = 0; n < CRecord::TextCount; ++n)
                        r->GetDataText(n, texts.emplace_back());
            QFile f(_AppCfg->dataFile);
            const QByteArray raw = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
            const bool plainOnDisk = raw.contains("ACCT-31415") || raw.contains("PIN-2718")
                                     || raw.contains("Branch note");
            return QString::number(d.status) + (plainOnDisk ? " plain " : " hidden ") + texts.join(',');
        };
        const QString readable = " " + (plain + plain).join(',');
        _AppCfg->locked = false;
        QCOMPARE(change(QString(), QStringLiteral("first")), "1 hidden" + readable);
        QCOMPARE(change(QStringLiteral("first"), QStringLiteral("second")), "3 hidden" + readable);
        QVERIFY(CheckValidPwd(QStringLiteral("second")));
        _AppCfg->locked = true;
        QCOMPARE(change(QStringLiteral("second"), QString()), "2 plain" + readable);
        QVERIFY(!_AppCfg->anyVerifierByte() && _AppCfg->passwordLength == 0);
    }
};

QTEST_GUILESS_MAIN(TstPassword)
#include "tst_password.moc"
