// Reads the checked-in data file tests/golden/vaultix-1.dat, written once by
// an earlier build and never regenerated: whatever the code does to its
// formats, files that users already have must read back exactly. Its master
// password is "golden pass 42"; record 1005 was deleted, leaving a free list.
#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/records.h"
#include "vault/session.h"
#include "vault/password.h"
#include "vault/passwordchange.h"
#include "storage/cxfile.h"
#include "storage/readcurrent.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

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

const QString L1 = QString::fromLatin1("Caf\xe9 site");
const QString L2 = QString::fromLatin1("pa\xdf");

QList<Row> expectedRows()
{
    return {
        {1001, 0, {"Main account", "12345678", "4321", "", "", "", "line one\nline two"}, true},
        {1002, 3, {"Work mail", "me@example.org", "hunter2", "pop.example.org", "smtp.example.org", "", ""}, false},
        {1003, 7, {L1, "https://cafe.example", "anna", L2, "", "", ""}, false},
        {1004, 8, {"Bike", "1234", "", "", "", "", "blue one"}, true},
        {1006, 12, {"Chess", "ABCD-EFGH-1234", "", "", "", "", ""}, true},
    };
}

QStringList texts(const CRecord* r)
{
    QStringList out;
    for (int n = 0; n < CRecord::TextCount; ++n)
        r->GetDataText(n, out.emplace_back());
    return out;
}

QByteArray storedBytes(int32_t key)
{
    QByteArray bytes;
    if (!_AppFile->FindRecord(key) || !ReadCurrentRecord(*_AppFile, bytes))
        return "<missing>";
    return bytes;
}

} // namespace

class TstGolden : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;

    // A copy, so that the checked-in file is never written.
    QString copy()
    {
        const QString path = m_dir.filePath(QString("g%1.dat").arg(m_copies++));
        QFile::remove(path);
        if (!QFile::copy(Golden, path))
            return QString();
        QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner);
        return path;
    }
    int m_copies = 0;

    void openCopy()
    {
        m_session = std::make_unique<CSession>(copy());
        QCOMPARE(m_session->probe(), CSession::Sound);
        QVERIFY(m_session->open());
        m_session->loadCollections();
    }

    void compareRows(bool unlocked)
    {
        const QList<Row> rows = expectedRows();
        int i = 0;
        for (CRecord* r = m_session->records()->first(); r; r = CRecords::nextOf(r), ++i) {
            QVERIFY(i < rows.size());
            QCOMPARE(r->key, rows[i].key);
            QCOMPARE(r->category, rows[i].category);
            QStringList want = rows[i].texts;
            // Locked, protected texts other than field 1 are masked, empty ones stay empty.
            for (int n = 1; !unlocked && rows[i].isProtected && n < want.size(); ++n)
                want[n] = want[n].isEmpty() ? QString() : QString("******");
            QCOMPARE(texts(r), want);
        }
        QCOMPARE(i, rows.size());
    }

private slots:
    void cleanup() { m_session.reset(); }

    void settingsReadAndWrittenAsStored()
    {
        openCopy();
        QCOMPARE(_AppCfg->colourOdd, QColor(250, 240, 230));
        QCOMPARE(_AppCfg->colourEven, QColor(200, 220, 210));
        QCOMPARE(_AppCfg->autolockMinutes, 7);
        QVERIFY(_AppCfg->cleartextPwd);
        QVERIFY(_AppCfg->showNoPwdWarning);
        QCOMPARE(_AppCfg->passwordLength, 14);
        QVERIFY(_AppCfg->locked);
        char encoded[CvxConfig::StoredSize];
        _AppCfg->Encode(encoded);
        QCOMPARE(QByteArray(encoded, sizeof encoded), storedBytes(0));
    }

    void categoriesAndRecords()
    {
        openCopy();
        QStringList names;
        for (CCategory* c = m_session->categories()->first(); c; c = CCategories::nextOf(c))
            names << c->name;
        QCOMPARE(names.size(), 13);
        const CCategory* games = m_session->categories()->find("Games");
        QVERIFY(games);
        QCOMPARE(games->id, 12);
        QVERIFY(games->isProtected);
        QCOMPARE(games->icon, QString("icon_disk"));
        QCOMPARE(games->labels[1], QString("Licence"));

        compareRows(false);
        QVERIFY(!CheckValidPwd("golden pass 41"));
        QVERIFY(CheckValidPwd(Password));
        _AppCfg->locked = false;
        compareRows(true);
        // Written back, every record keeps its stored bytes.
        for (CRecord* r = m_session->records()->first(); r; r = CRecords::nextOf(r))
            QCOMPARE(r->Encode(), storedBytes(r->key));
    }

    void freeListReusedAndPasswordChanged()
    {
        openCopy();
        QVERIFY(_AppFile->header().freeListHead != 0);
        const qint64 size = QFileInfo(m_session->dataFile()).size();
        CRecord added;
        added.category = 3;
        added.SetDataText("New", "x", "", "", "", "", "");
        added.WriteRecord(false);
        QCOMPARE(added.key, 1005);
        QCOMPARE(QFileInfo(m_session->dataFile()).size(), size); // freed blocks taken first

        QVERIFY(CheckValidPwd(Password));
        ApplyPasswordChange(CPasswordChange::Changed, "other", m_session->records(), m_session->categories());
        const QString path = m_session->dataFile();
        m_session = std::make_unique<CSession>(path);
        QVERIFY(m_session->open());
        m_session->loadCollections();
        QVERIFY(CheckValidPwd("other"));
        _AppCfg->locked = false;
        m_session->records()->Delete(m_session->records()->first()->next->next->next->next); // the added one
        compareRows(true);
    }
};

QTEST_GUILESS_MAIN(TstGolden)
#include "tst_golden.moc"
