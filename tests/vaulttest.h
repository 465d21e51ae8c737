#ifndef VAULTIX_TESTS_VAULTTEST_H
#define VAULTIX_TESTS_VAULTTEST_H

// A vault on a data file in a temporary folder, and a disk that fails on
// demand, for the tests of everything that changes data.

#include "storage/cxfile.h"
#include "storage/cxio.h"
#include "vault/vault.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <memory>

inline QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline bool writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(bytes) == bytes.size();
}

// The real file system, but the Nth write-side call from now on (a write,
// sync, truncate or removal, of the file or its journal) fails with `error`.
// Two of them, one for the file and one for the journal, share a countdown.
class FailingIo : public CxPosixIo
{
public:
    struct Countdown
    {
        int left = -1; // -1: never fail
        int error = ENOSPC;
        int calls = 0;  // write-side calls seen
        bool fired = false;
    };

    explicit FailingIo(Countdown& countdown) : m_countdown(countdown) {}

    int open(const char* path, Mode mode) override
    {
        m_error = 0;
        return CxPosixIo::open(path, mode);
    }
    bool write(int64_t offset, const void* buffer, int64_t length) override
    {
        return pass() && CxPosixIo::write(offset, buffer, length);
    }
    bool sync() override { return pass() && CxPosixIo::sync(); }
    bool truncate(int64_t length) override { return pass() && CxPosixIo::truncate(length); }
    bool remove(const char* path) override { return pass() && CxPosixIo::remove(path); }
    int lastError() const override { return m_error ? m_error : CxPosixIo::lastError(); }

private:
    bool pass()
    {
        ++m_countdown.calls;
        if (m_countdown.left < 0 || m_countdown.left-- > 0)
            return true;
        m_countdown.fired = true;
        m_error = m_countdown.error;
        errno = m_error;
        return false;
    }

    Countdown& m_countdown;
    int m_error = 0;
};

// A vault on `<temp>/Vaultix.Dat`, opened as the application opens it.
struct TestVault
{
    QTemporaryDir dir;
    FailingIo::Countdown countdown;
    FailingIo io{countdown};
    FailingIo journalIo{countdown};
    std::unique_ptr<CVault> vault;

    QString path() const { return dir.filePath(QStringLiteral("Vaultix.Dat")); }

    // A fresh vault on the file, through the failing disk.
    bool open()
    {
        vault.reset();
        vault = std::make_unique<CVault>(path());
        vault->session().setIo(&io, &journalIo);
        return vault->session().lock() && vault->open();
    }

    QByteArray bytes() const { return fileBytes(path()); }

    // The Nth write-side call from now on fails (0: the next one).
    void failAt(int n, int error = ENOSPC)
    {
        countdown.left = n;
        countdown.error = error;
        countdown.fired = false;
    }
    void healthy() { countdown.left = -1; }
};

// Saves the vault's settings as `edit` changes them.
template <class Edit> void editSettings(CVault& vault, const Edit& edit)
{
    CvxConfig settings = vault.settings();
    edit(settings);
    QVERIFY(vault.saveSettings(settings).ok());
}

// A record's texts as the vault shows them now; empty for no record.
inline QStringList recordTexts(const CVault& vault, const CRecord* r)
{
    QStringList out;
    for (int i = 0; r && i < CRecord::TextCount; ++i)
        out << vault.text(*r, i);
    return out;
}

// Adds a record of that category (texts not given are empty); its key.
inline int addRecord(CVault& vault, int category, const QStringList& texts)
{
    CVault::Texts all;
    for (int i = 0; i < CVault::TextCount; ++i)
        all[i] = texts.value(i);
    int key = -1;
    const CVaultResult result = vault.addRecord(category, all, &key);
    if (!result.ok())
        qWarning("%s", qPrintable(result.error()));
    return key;
}

// A record whose category the file does not hold (777), written past the
// vault, which never makes one; it shows once the file is read again.
inline bool addOrphan(CVault& vault, int key, const QStringList& texts)
{
    CRecord orphan;
    orphan.category = 777;
    QString all[CRecord::TextCount];
    std::copy(texts.begin(), texts.end(), all);
    orphan.SetDataText(all, nullptr);
    const QByteArray bytes = orphan.Encode();
    return vault.session().file()->AddRecord(key, bytes.constData(), int32_t(bytes.size()));
}

struct SampleRecord
{
    int category;
    QStringList texts;
};

// Records of Bank and Credit Card (protected in the default database) and
// of Email (plain).
inline const QList<SampleRecord> Sample = {
    {0, {"b1", "acct", "1234", "", "", "", "note"}},
    {3, {"e1", "me", "secret"}},
    {1, {"c1", "4111", "12/30", "999"}},
    {0, {"b2", "x", "", "", "", "", "a longer note than eight bytes"}},
};

inline void addRecords(CVault& vault, const QList<SampleRecord>& records = Sample)
{
    for (const SampleRecord& r : records)
        QVERIFY(addRecord(vault, r.category, r.texts) >= 0);
}

// Every text of every record reads as it was written.
inline void verifyTexts(const CVault& vault, const QList<SampleRecord>& records = Sample)
{
    QStringList got, want;
    for (const CRecord* r = vault.records().first(); r; r = CRecords::nextOf(r))
        got << recordTexts(vault, r);
    for (const SampleRecord& r : records) {
        for (int i = 0; i < CRecord::TextCount; ++i)
            want << r.texts.value(i);
    }
    QCOMPARE(got, want);
}

// What a vault holds, as text: settings, categories, records (texts as
// the vault shows them now), for comparing memory with a fresh load.
inline QString vaultState(const CVault& vault)
{
    QString out;
    char settings[CvxConfig::StoredSize];
    vault.settings().Encode(settings);
    out += QString::fromLatin1(QByteArray(settings, CvxConfig::StoredSize).toHex()) + u'\n';
    for (const CCategory* c = vault.categories().first(); c; c = CCategories::nextOf(c))
        out += QStringLiteral("C %1 %2 %3 %4\n").arg(c->id).arg(c->name).arg(c->isProtected).arg(c->labels[0]);
    for (const CRecord* r = vault.records().first(); r; r = CRecords::nextOf(r)) {
        out += QStringLiteral("R %1 %2 %3 %4").arg(r->key).arg(r->category).arg(r->encrypted)
                   .arg(QString::fromLatin1(r->Encode().toHex()));
        out += u'|' + recordTexts(vault, r).join(u'|') + u'\n';
    }
    return out;
}

// The file as the next start reads it, beside the open vault (read-only,
// so it shares the file with a vault that holds its lock); null when it
// cannot be opened or the password is wrong.
inline std::unique_ptr<CVault> reload(const TestVault& tv, const QString& password = QString())
{
    auto fresh = std::make_unique<CVault>(tv.path());
    fresh->session().setReadOnly(true);
    if (!fresh->open() || (!password.isEmpty() && !fresh->unlock(password)))
        fresh.reset();
    return fresh;
}

inline QString reloadedState(const TestVault& tv, const QString& password = QString())
{
    const std::unique_ptr<CVault> fresh = reload(tv, password);
    return fresh ? vaultState(*fresh) : QStringLiteral("unreadable");
}

// A change the application tried when the disk was full: the message box
// named what and why, the file is as it was, and memory holds what it holds.
inline void verifyDiskFullShown(const TestVault& tv, const QStringList& boxes, const QString& what,
                                const QByteArray& before, const QString& password = QString())
{
    QVERIFY(tv.countdown.fired);
    QCOMPARE(boxes.value(boxes.size() - 1), "Vaultix|" + what + "\nThe disk is full.\nNothing was changed.");
    QCOMPARE(tv.bytes(), before);
    QCOMPARE(vaultState(*tv.vault), reloadedState(tv, password));
}

#endif
