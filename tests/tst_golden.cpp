// Reads the checked-in data file tests/golden/vaultix-1.dat, written once by
// an earlier build and never regenerated: whatever the code does to its
// formats, files that users already have must read back exactly. Its master
// password is "golden pass 42"; record 1005 was deleted, leaving a free list.
#include "vaulttest.h"

#include "storage/readcurrent.h"
#include "vault/keyplan.h"

#include <QFileInfo>

namespace {

const QString Golden = QStringLiteral(VX_TEST_SOURCE_DIR "/tests/golden/vaultix-1.dat");
const QString Password = QStringLiteral("golden pass 42");

struct Row
{
    int key;
    int category;
    QStringList texts; // as unlocked
    bool isProtected;
};

QList<Row> expectedRows()
{
    const QString l1 = QString::fromLatin1("Caf\xe9 site");
    const QString l2 = QString::fromLatin1("pa\xdf");
    return {
        {1001, 0, {"Main account", "12345678", "4321", "", "", "", "line one\nline two"}, true},
        {1002, 3, {"Work mail", "me@example.org", "hunter2", "pop.example.org", "smtp.example.org", "", ""}, false},
        {1003, 7, {l1, "https://cafe.example", "anna", l2, "", "", ""}, false},
        {1004, 8, {"Bike", "1234", "", "", "", "", "blue one"}, true},
        {1006, 12, {"Chess", "ABCD-EFGH-1234", "", "", "", "", ""}, true},
    };
}

QByteArray storedBytes(CVault& vault, int32_t key)
{
    QByteArray bytes;
    CxFile* file = vault.session().file();
    if (!file->FindRecord(key) || !ReadCurrentRecord(*file, bytes))
        return "<missing>";
    return bytes;
}

} // namespace

class TstGolden : public QObject
{
    Q_OBJECT

    // A copy in a folder of its own, so that the checked-in file is never written.
    static bool openCopy(TestVault& t)
    {
        if (!QFile::copy(Golden, t.path()))
            return false;
        QFile::setPermissions(t.path(), QFile::ReadOwner | QFile::WriteOwner);
        return CSession(t.path()).probe() == CSession::Sound && t.open();
    }

    static void compareRows(const CVault& vault)
    {
        const QList<Row> rows = expectedRows();
        int i = 0;
        for (const CRecord* r = vault.records().first(); r; r = CRecords::nextOf(r), ++i) {
            QVERIFY(i < rows.size());
            QCOMPARE(r->key, rows[i].key);
            QCOMPARE(r->category, rows[i].category);
            QStringList want = rows[i].texts;
            // Locked, protected texts other than field 1 are masked, empty ones stay empty.
            for (int n = 1; vault.isLocked() && rows[i].isProtected && n < want.size(); ++n)
                want[n] = want[n].isEmpty() ? QString() : QString("******");
            QCOMPARE(recordTexts(vault, r), want);
        }
        QCOMPARE(i, rows.size());
    }

private slots:
    void readAsStoredThenChanged()
    {
        TestVault t;
        QVERIFY(openCopy(t));
        CVault& vault = *t.vault;
        const CvxConfig& s = vault.settings();
        QCOMPARE(s.colourOdd, CvxConfig::Colour({250, 240, 230}));
        QCOMPARE(s.colourEven, CvxConfig::Colour({200, 220, 210}));
        QCOMPARE(s.autolockMinutes, 7);
        QVERIFY(s.cleartextPwd && s.showNoPwdWarning && vault.hasPassword());
        QCOMPARE(s.passwordLength, 14);
        char encoded[CvxConfig::StoredSize];
        s.Encode(encoded);
        QCOMPARE(QByteArray(encoded, sizeof encoded), storedBytes(vault, 0));

        QCOMPARE(vault.categories().count, 13);
        const CCategory* games = vault.categories().find("Games");
        QVERIFY(games);
        QCOMPARE(games->id, 12);
        QVERIFY(games->isProtected);
        QCOMPARE(games->icon, QString("icon_disk"));
        QCOMPARE(games->labels[1], QString("Licence"));
        for (const CCategory* c = vault.categories().first(); c; c = CCategories::nextOf(c)) {
            char bytes[CCategory::StoredSize];
            c->Encode(bytes);
            QCOMPARE(QByteArray(bytes, sizeof bytes), storedBytes(vault, KeyPlan::CategoryKey(c->id)));
        }

        QVERIFY(vault.isLocked());
        compareRows(vault);
        QVERIFY(!vault.unlock("golden pass 41"));
        QVERIFY(vault.unlock(Password));
        compareRows(vault);
        // Written back, every record keeps its stored bytes.
        for (const CRecord* r = vault.records().first(); r; r = CRecords::nextOf(r))
            QCOMPARE(r->Encode(), storedBytes(vault, r->key));

        // Changed: the freed record's blocks are taken first, and the
        // records survive a password change.
        QVERIFY(t.vault->session().file()->header().freeListHead != 0);
        const qint64 size = QFileInfo(t.path()).size();
        const QString texts[7] = {"New", "x"};
        int key = 0;
        QVERIFY(t.vault->addRecord(3, texts, &key).ok());
        QCOMPARE(key, 1005);
        QCOMPARE(QFileInfo(t.path()).size(), size); // freed blocks taken first

        QVERIFY(t.vault->changePassword(Password, "other").ok());
        QVERIFY(t.open());
        QVERIFY(!t.vault->unlock(Password));
        QVERIFY(t.vault->unlock("other"));
        QVERIFY(t.vault->deleteRecord(1005).ok());
        compareRows(*t.vault);
    }
};

QTEST_GUILESS_MAIN(TstGolden)
#include "tst_golden.moc"
