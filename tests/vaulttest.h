#ifndef VAULTIX_TESTS_VAULTTEST_H
#define VAULTIX_TESTS_VAULTTEST_H

// A vault on a data file in a temporary folder, and a disk that fails on
// demand, for the tests of everything that changes data.

#include "storage/cxio.h"
#include "vault/vault.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <memory>

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

    QByteArray bytes() const
    {
        QFile file(path());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    // The Nth write-side call from now on fails (0: the next one).
    void failAt(int n, int error = ENOSPC)
    {
        countdown.left = n;
        countdown.error = error;
        countdown.fired = false;
    }
    void healthy() { countdown.left = -1; }
};

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
        for (int i = 0; i < CRecord::TextCount; ++i)
            out += u'|' + vault.text(*r, i);
        out += u'\n';
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

#endif
