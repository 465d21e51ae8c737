#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/categories.h"
#include "model/records.h"
#include "security/blowfish.h"
#include "security/password.h"
#include "security/passwordchange.h"
#include "storage/cxfile.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

class TstPassword : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_path;
    int m_files = 0;

    void open()
    {
        _AppFile = new CxFile(_AppSignature);
        _AppCfg = new CvxConfig(m_path);
    }

    // Straight from the cipher core: "KESTR_ZU" as two little-endian halves.
    static QByteArray expectedVerifier(const QByteArray& key)
    {
        BLOWFISH_CTX c;
        Blowfish_Init(&c, reinterpret_cast<const unsigned char*>(key.constData()), int(key.size()));
        quint32 l = qFromLittleEndian<quint32>("KEST"), r = qFromLittleEndian<quint32>("R_ZU");
        Blowfish_Encrypt(&c, &l, &r);
        QByteArray out(8, '\0');
        qToLittleEndian(l, out.data());
        qToLittleEndian(r, out.data() + 4);
        return out;
    }

    static QByteArray verifier() { return QByteArray(reinterpret_cast<const char*>(_AppCfg->verifier), 8); }

    static QStringList readAll(CRecords& records)
    {
        QStringList out;
        for (CRecord* r = records.first(); r; r = CRecords::nextOf(r))
            for (int n = 0; n < CRecord::TextCount; ++n) {
                out << QString();
                r->GetDataText(n, out.last());
            }
        return out;
    }

private slots:
    void init()
    {
        m_path = m_dir.filePath(QStringLiteral("p%1.dat").arg(m_files++));
        open();
    }
    void cleanup()
    {
        delete _AppCfg;
        _AppCfg = nullptr;
        delete _AppFile;
        _AppFile = nullptr;
    }

    void verifierAndCheck()
    {
        EncryptAddNewPwd(QStringLiteral("secret"));
        QCOMPARE(verifier(), expectedVerifier("secret"));
        QCOMPARE(_AppCfg->passwordLength, 6);
        cleanup();
        open(); // saved with the settings
        QCOMPARE(verifier(), expectedVerifier("secret"));
        QVERIFY(CheckValidPwd(QStringLiteral("secret")));
        QVERIFY(!CheckValidPwd(QStringLiteral("Secret")));

        // The key is used cyclically, so "abab" keys the cipher exactly as
        // "ab" does; only the stored length tells them apart.
        EncryptAddNewPwd(QStringLiteral("ab"));
        QCOMPARE(expectedVerifier("abab"), verifier());
        QVERIFY(!CheckValidPwd(QStringLiteral("abab")));
        QVERIFY(CheckValidPwd(QStringLiteral("ab")));
    }

    void decide_data()
    {
        QTest::addColumn<QString>("current");
        QTest::addColumn<QString>("oldPwd");
        QTest::addColumn<QString>("newPwd");
        QTest::addColumn<QString>("confirm");
        QTest::addColumn<int>("status");
        QTest::addColumn<int>("error");
        const int ok = CPasswordChange::NoError, wrong = CPasswordChange::WrongOldPassword,
                  differ = CPasswordChange::NewPasswordsDiffer;
        QTest::newRow("none, all empty") << "" << "" << "" << "" << 0 << ok;
        QTest::newRow("none, set") << "" << "" << "new" << "new" << 1 << ok;
        QTest::newRow("none, old given") << "" << "x" << "new" << "new" << 0 << wrong;
        QTest::newRow("set, remove") << "pw" << "pw" << "" << "" << 2 << ok;
        QTest::newRow("set, change") << "pw" << "pw" << "n2" << "n2" << 3 << ok;
        QTest::newRow("set, old empty") << "pw" << "" << "n2" << "n2" << 0 << wrong;
        QTest::newRow("set, old wrong") << "pw" << "px" << "" << "" << 0 << wrong;
        QTest::newRow("set, mismatch") << "pw" << "pw" << "n2" << "n3" << 0 << differ;
    }
    void decide()
    {
        QFETCH(QString, current);
        QFETCH(QString, oldPwd);
        QFETCH(QString, newPwd);
        QFETCH(QString, confirm);
        QFETCH(int, status);
        QFETCH(int, error);
        if (!current.isEmpty())
            EncryptAddNewPwd(current);
        CPasswordChange d;
        d.Decide(oldPwd, newPwd, confirm);
        QCOMPARE(d.status, status);
        QCOMPARE(int(d.error), error);
        QCOMPARE(d.newPassword, (status == 1 || status == 3) ? newPwd : QString());
    }

    void setChangeRemove()
    {
        CCategories cats;
        cats.LoadAll();
        const QStringList plain = {"My bank", "ACCT-31415", "", "PIN-2718", "", "", "Branch note",
                                   "Mail", "alice", "MAILPASS-99", "pop", "smtp", "", ""};
        CRecords records;
        for (int i : {0, 7}) {
            auto* r = new CRecord;
            r->category = cats.find(i ? QStringLiteral("Email") : QStringLiteral("Bank"))->id;
            r->SetDataText(plain[i], plain[i + 1], plain[i + 2], plain[i + 3], plain[i + 4],
                           plain[i + 5], plain[i + 6]);
            r->WriteRecord(false);
            records.Append(r);
        }
        CRecords loaded;
        QByteArray raw;
        auto change = [&](const QString& oldPwd, const QString& newPwd) {
            CPasswordChange d;
            d.Decide(oldPwd, newPwd, newPwd);
            ApplyPasswordChange(d.status, d.newPassword, &records, &cats);
            loaded.DeleteAll();
            loaded.LoadAll(&cats);
            QFile f(m_path);
            raw = f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
            return d.status;
        };
        auto secretOnDisk = [&] {
            return raw.contains("ACCT-31415") || raw.contains("PIN-2718") || raw.contains("Branch note");
        };

        QCOMPARE(change(QString(), QStringLiteral("first")), int(CPasswordChange::Set));
        QVERIFY(!secretOnDisk());
        QVERIFY(raw.contains("MAILPASS-99")); // unprotected stays plain
        QCOMPARE(readAll(loaded).mid(0, 4), QStringList({"My bank", "******", "", "******"}));
        _AppCfg->locked = false;
        QCOMPARE(readAll(loaded), plain);

        QCOMPARE(change(QStringLiteral("first"), QStringLiteral("second")), int(CPasswordChange::Changed));
        QVERIFY(!secretOnDisk());
        QCOMPARE(readAll(records), plain);
        QCOMPARE(readAll(loaded), plain);
        QVERIFY(CheckValidPwd(QStringLiteral("second")));

        QCOMPARE(change(QStringLiteral("second"), QString()), int(CPasswordChange::Removed));
        QVERIFY(secretOnDisk());
        QVERIFY(!_AppCfg->anyVerifierByte());
        QCOMPARE(_AppCfg->passwordLength, 0);
        _AppCfg->locked = true;
        QCOMPARE(readAll(loaded), plain);
    }
};

QTEST_GUILESS_MAIN(TstPassword)
#include "tst_password.moc"
