// Plaintext and keys must be cleared before their memory goes back. This
// binary replaces the array allocation functions, which the wiping buffer
// uses, to look at every block as it is freed.
#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/record.h"
#include "vault/session.h"
#include "crypto/fieldcrypt.h"
#include "vault/password.h"

#include <QTemporaryDir>
#include <QtTest>

#include <cstdlib>
#include <cstring>
#include <new>

namespace {

// Blocks freed while `watching`: whether any held the secret.
bool watching = false;
const char* secret = nullptr;
int freedWithSecret = 0;
int freedWatched = 0;

struct alignas(std::max_align_t) Head
{
    std::size_t size;
};

bool contains(const unsigned char* p, std::size_t n, const char* needle)
{
    const std::size_t k = std::strlen(needle);
    for (std::size_t i = 0; i + k <= n; ++i) {
        if (std::memcmp(p + i, needle, k) == 0)
            return true;
    }
    return false;
}

} // namespace

void* operator new[](std::size_t n)
{
    auto* head = static_cast<Head*>(std::malloc(sizeof(Head) + (n ? n : 1)));
    if (!head)
        throw std::bad_alloc();
    head->size = n;
    return head + 1;
}

void operator delete[](void* p) noexcept
{
    if (!p)
        return;
    Head* head = static_cast<Head*>(p) - 1;
    if (watching) {
        ++freedWatched;
        if (secret && contains(static_cast<unsigned char*>(p), head->size, secret))
            ++freedWithSecret;
    }
    std::free(head);
}

void operator delete[](void* p, std::size_t) noexcept
{
    operator delete[](p);
}

class TstWipe : public QObject
{
    Q_OBJECT

private slots:
    void plaintextNeverFreedUnwiped_data()
    {
        QTest::addColumn<QString>("secretText");
        QTest::newRow("field") << QString("4711-0815-secret");
        QTest::newRow("password") << QString("golden pass 42");
    }

    void plaintextNeverFreedUnwiped()
    {
        QFETCH(QString, secretText);
        QTemporaryDir dir;
        CSession session(dir.filePath("w.dat"));
        QVERIFY(session.open());
        const QByteArray needle = secretText.toLatin1();
        secret = needle.constData();
        freedWithSecret = freedWatched = 0;

        watching = true;
        EncryptAddNewPwd(QStringLiteral("golden pass 42"));
        _AppCfg->locked = false;
        {
            CRecord r;
            r.category = 0;
            r.encrypted = true; // enciphered as it is set
            r.SetDataText("desc", "4711-0815-secret", "", "", "", "", "note");
            QString text;
            r.GetDataText(1, text); // deciphers a temporary copy
            QCOMPARE(text, QString("4711-0815-secret"));
            QVERIFY(CheckValidPwd(QStringLiteral("golden pass 42")));
            CRecord plain;
            plain.SetDataText("x", "4711-0815-secret", "", "", "", "", "");
        } // the plain record's buffers go back here
        watching = false;
        secret = nullptr;

        QVERIFY(freedWatched > 0);
        QCOMPARE(freedWithSecret, 0);
    }

    void bufferBasics()
    {
        CWipedBuffer empty;
        QVERIFY(!empty.data() && empty.size() == 0);
        CWipedBuffer b(16);
        QVERIFY(b.data() && b.size() == 16);
        QCOMPARE(QByteArray(b, 16), QByteArray(16, '\0')); // zero-filled
        std::memcpy(b, "abc", 3);
        CWipedBuffer moved(std::move(b));
        QVERIFY(!b.data() && b.size() == 0);
        QCOMPARE(QByteArray(moved, 3), QByteArray("abc"));
        moved = CWipedBuffer(4);
        QCOMPARE(moved.size(), std::size_t(4));
    }
};

QTEST_GUILESS_MAIN(TstWipe)
#include "tst_wipe.moc"
