#include "vaulttest.h"

#include "vault/keyplan.h"
#include "vault/passwordchange.h"

#include <functional>

namespace {

const QString Plain[7] = {"My bank", "ACCT-31415", "", "PIN-2718", "", "", "Branch note"};
const QString Mail[7] = {"Mail", "alice", "MAILPASS-99", "pop", "smtp", "", ""};
constexpr int Bank = 0;    // protected in the default database
constexpr int Email = 3;   // plain
constexpr int Phone = 6;   // plain, no records

int firstKey(const CVault& vault)
{
    return vault.records().first() ? vault.records().first()->key : -1;
}

QStringList texts(const CVault& vault)
{
    QStringList out;
    for (const CRecord* r = vault.records().first(); r; r = CRecords::nextOf(r))
        out << recordTexts(vault, r);
    return out;
}

using Change = std::function<CVaultResult(CVault&)>;

} // namespace

class TstVault : public QObject
{
    Q_OBJECT

    // A file with a password, a protected and a plain record, unlocked.
    static void fill(TestVault& t)
    {
        QVERIFY(t.open());
        QVERIFY(t.vault->changePassword(QString(), "first pass").ok());
        QVERIFY(t.vault->unlock("first pass"));
        QVERIFY(t.vault->addRecord(Bank, Plain).ok());
        QVERIFY(t.vault->addRecord(Email, Mail).ok());
    }

private slots:
    // The verifier of "secret" comes from a separate Blowfish; the key is
    // used cyclically, so only the stored length tells "ab" from "abab".
    void verifierAndPasswordRules()
    {
        TestVault t;
        QVERIFY(t.open());
        QVERIFY(t.vault->changePassword(QString(), "secret").ok());
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(t.vault->settings().verifier), 8).toHex(),
                 "78891e640eaffe2f");
        QVERIFY(t.vault->verifyPassword("secret") && !t.vault->verifyPassword("Secret"));
        QVERIFY(t.vault->changePassword("secret", "ab").ok());
        QVERIFY(t.vault->verifyPassword("ab") && !t.vault->verifyPassword("abab"));

        // A password Latin-1 cannot hold would key the cipher with "?"s.
        const QByteArray before = t.bytes();
        const CVaultResult refused = t.vault->changePassword("ab", QStringLiteral("парольпароль"));
        QVERIFY(!refused.ok() && refused.error().contains("Latin-1"));
        QCOMPARE(t.bytes(), before);
        CPasswordChange decision;
        decision.Decide(*t.vault, "ab", QStringLiteral("парольпароль"), QStringLiteral("парольпароль"));
        QCOMPARE(decision.error, CPasswordChange::NotLatin1);
        QVERIFY(!t.vault->unlock(QStringLiteral("????????????")));
    }

    // A mistyped old password while unlocked leaves the live key alone: the
    // record still reads, and one saved now is readable after a reopen.
    void wrongPasswordCheckKeepsKey()
    {
        TestVault t;
        fill(t);
        const int key = firstKey(*t.vault);
        CPasswordChange decision;
        decision.Decide(*t.vault, "wrong pass", "new", "new");
        QCOMPARE(decision.error, CPasswordChange::WrongOldPassword);
        QVERIFY(!t.vault->unlock("wrong pass"));
        QVERIFY(!t.vault->changePassword("wrong pass", "new").ok());
        QCOMPARE(t.vault->text(*t.vault->records().find(key), 1), Plain[1]);
        QString edited[7] = {"My bank", "ACCT-2", "", "PIN-2", "", "", "note"};
        QVERIFY(t.vault->updateRecord(key, edited).ok());
        QVERIFY(t.open());
        QVERIFY(t.vault->unlock("first pass"));
        QCOMPARE(t.vault->text(*t.vault->records().find(key), 1), QString("ACCT-2"));
    }

    // Set, change, remove: memory and a reload agree, the verifier and
    // length are stored, and the file never holds a protected text.
    void passwordFlows()
    {
        TestVault t;
        fill(t);
        const QStringList readable = texts(*t.vault);
        const struct { const char* oldPwd; const char* newPwd; bool hidden; } steps[] = {
            {"first pass", "second", true}, {"second", "", false}, {"", "third", true}};
        for (const auto& step : steps) {
            t.vault->lock(); // a change needs no unlocking and keeps the lock
            QVERIFY(t.vault->changePassword(step.oldPwd, step.newPwd).ok());
            QVERIFY(t.vault->isLocked());
            const QByteArray raw = t.bytes();
            QCOMPARE(!raw.contains("ACCT-31415") && !raw.contains("Branch note"), step.hidden);
            QVERIFY(t.open());
            QCOMPARE(t.vault->settings().passwordLength, int(strlen(step.newPwd)));
            QCOMPARE(t.vault->hasPassword(), step.hidden);
            if (step.hidden)
                QVERIFY(t.vault->unlock(step.newPwd));
            QCOMPARE(texts(*t.vault), readable);
        }
    }

    // Every kind of change, failing at its first, a middle and its last
    // write-side call: the caller hears why, the file is byte for byte as
    // before (also after the next open has seen the journal), and memory
    // equals a fresh load.
    void failedChange_data()
    {
        QTest::addColumn<Change>("change");
        const QString row[7] = {"Row", "f2", "f3", "", "", "", "n"};
        QTest::newRow("add record") << Change([row](CVault& v) { return v.addRecord(Bank, row); });
        QTest::newRow("update record") << Change([row](CVault& v) { return v.updateRecord(firstKey(v), row); });
        QTest::newRow("delete record") << Change([](CVault& v) { return v.deleteRecord(firstKey(v)); });
        QTest::newRow("change password") << Change([](CVault& v) { return v.changePassword("first pass", "x"); });
        QTest::newRow("remove password") << Change([](CVault& v) { return v.changePassword("first pass", ""); });
        QTest::newRow("add category") << Change([](CVault& v) {
            CCategory c;
            c.name = "Keys";
            return v.addCategory(c);
        });
        QTest::newRow("protection off") << Change([](CVault& v) {
            CCategory c;
            c.id = Bank;
            c.name = "Bank";
            return v.updateCategory(c);
        });
        QTest::newRow("delete category") << Change([](CVault& v) { return v.deleteCategory(Phone); });
        QTest::newRow("settings") << Change([](CVault& v) {
            CvxConfig s = v.settings();
            s.autolockMinutes = 9;
            return v.saveSettings(s);
        });
        QTest::newRow("import") << Change([](CVault& v) {
            CVault::ImportRow a, b;
            a.category = "Bank";
            b.category = "Brand new";
            a.texts[0] = b.texts[0] = "imported";
            int added = 0;
            return v.importRows({a, b}, QString(), &added, nullptr);
        });
    }

    void failedChange()
    {
        QFETCH(Change, change);
        TestVault t;
        fill(t);
        const QByteArray before = t.bytes();
        const QString state = vaultState(*t.vault);

        // How many write-side calls the change makes, on a copy.
        t.countdown.calls = 0;
        QVERIFY(change(*t.vault).ok());
        const int calls = t.countdown.calls;
        QVERIFY(calls >= 3);

        for (int at : {0, calls / 2, calls - 1}) {
            for (int error : {ENOSPC, EIO}) {
                QFile file(t.path());
                QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
                file.write(before);
                file.close();
                QVERIFY(t.open());
                QVERIFY(t.vault->unlock("first pass"));
                t.failAt(at, error);
                const CVaultResult result = change(*t.vault);
                t.healthy();
                const QString where = QString("call %1 of %2, errno %3").arg(at).arg(calls).arg(error);
                if (result.ok()) {
                    // A failure after the change was whole on disk (the
                    // journal could not be removed but was emptied).
                    QVERIFY2(t.bytes() != before, qPrintable(where));
                    continue;
                }
                QVERIFY2(result.error().contains(error == ENOSPC ? "The disk is full." : strerror(EIO)),
                         qPrintable(where + ": " + result.error()));
                QVERIFY2(result.error().contains("Nothing was changed."), qPrintable(where));
                QCOMPARE(t.bytes(), before);
                QCOMPARE(vaultState(*t.vault), state);
                QVERIFY(t.open());
                QVERIFY(t.vault->unlock("first pass"));
                QCOMPARE(t.bytes(), before);
                QCOMPARE(vaultState(*t.vault), state);
            }
        }
    }

    void refusals()
    {
        TestVault t;
        fill(t);
        t.vault->lock();
        const QByteArray before = t.bytes();
        QVERIFY(!t.vault->addRecord(Bank, Plain).ok());
        QVERIFY(!t.vault->updateRecord(firstKey(*t.vault), Plain).ok());
        QVERIFY(!t.vault->deleteRecord(firstKey(*t.vault)).ok());
        QVERIFY(!t.vault->deleteCategory(Email).ok()); // still holds a record
        QVERIFY(!t.vault->addRecord(4242, Plain).ok());
        QCOMPARE(t.bytes(), before);
        QCOMPARE(t.vault->records().count, 2);
    }
};

QTEST_GUILESS_MAIN(TstVault)
#include "tst_vault.moc"
