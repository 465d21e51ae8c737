// A deciphered text, a password and the plaintext of a CSV file are only
// ever held in memory that is wiped before it goes back. This binary stands
// in for the C library's free and realloc, which every heap block passes
// through (operator delete, QByteArray, QString), and looks into each block
// as it is released.
#include "vaulttest.h"

#include "csv/csvexport.h"
#include "csv/csvimport.h"

#include <atomic>
#include <cstring>
#include <functional>

#include <execinfo.h>
#include <malloc.h>
#include <unistd.h>

#if defined(__SANITIZE_ADDRESS__)
#define VX_NO_WATCHER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define VX_NO_WATCHER 1
#endif
#endif

namespace {

const char Field[] = "4711-0815-secret";
const char Pass[] = "golden pass 42";
constexpr int Bank = 0; // protected in the default database

// What is looked for while `watching`: the Latin-1 bytes and, for copies
// inside a QString, the UTF-16 ones.
std::atomic<bool> watching{false};
char latin1[64];
char utf16[128];
std::size_t needleSize = 0;
std::atomic<int> releasedCount{0};
std::atomic<int> releasedWithSecret{0};
bool tellWhere = false; // not for the controls

// Watches the blocks released in its lifetime for `needle`.
struct Watch
{
    Watch(const char* needle, bool expected)
    {
        tellWhere = !expected;
        needleSize = std::strlen(needle);
        std::memcpy(latin1, needle, needleSize);
        for (std::size_t i = 0; i < needleSize; ++i) {
            utf16[2 * i] = needle[i];
            utf16[2 * i + 1] = 0;
        }
        releasedCount = releasedWithSecret = 0;
        watching = true;
    }
    ~Watch() { watching = false; }
};

} // namespace

#ifndef VX_NO_WATCHER
namespace {

bool holdsSecret(const void* p, std::size_t n)
{
    return memmem(p, n, latin1, needleSize) || memmem(p, n, utf16, 2 * needleSize);
}

void released(bool withSecret)
{
    ++releasedCount;
    if (withSecret) {
        ++releasedWithSecret;
        if (!tellWhere)
            return;
        // Where it happened, for whoever has to find it; writes without allocating.
        void* frames[24];
        backtrace_symbols_fd(frames, backtrace(frames, 24), STDERR_FILENO);
    }
}

} // namespace

extern "C" void __libc_free(void*);
extern "C" void* __libc_realloc(void*, std::size_t);

extern "C" void free(void* p) noexcept
{
    if (p && watching)
        released(holdsSecret(p, malloc_usable_size(p)));
    __libc_free(p);
}

// A block that moves goes back as it was.
extern "C" void* realloc(void* p, std::size_t n) noexcept
{
    if (!p || !watching)
        return __libc_realloc(p, n);
    const bool held = holdsSecret(p, malloc_usable_size(p));
    void* q = __libc_realloc(p, n);
    if (q != p)
        released(held);
    return q;
}
#endif

// What a flow read is handed back, so that it is released after the watch.
using Flow = std::function<QVariantList(TestVault&)>;

class TstWipe : public QObject
{
    Q_OBJECT

    // Sets the password, stores a protected record and reads it back,
    // changes the password twice, reopens and reads it, exports it as CSV
    // and imports a line, then locks; holds the texts in a record that is
    // not enciphered. Its inputs are literals, which are never released.
    static QVariantList vaultFlow(TestVault& t)
    {
        const QString texts[7] = {QStringLiteral("desc"), QStringLiteral("4711-0815-secret"), {}, {}, {}, {},
                                  QStringLiteral("note")};
        const QString pass = QStringLiteral("golden pass 42");
        static const QByteArray csv("Bank,imported,4711-0815-secret,,,,,note\n");
        QVariantList out;
        int key = 0;
        int added = 0;
        out << QString::number(t.open() && t.vault->changePassword({}, pass).ok() && t.vault->unlock(pass)
                               && t.vault->addRecord(Bank, texts, &key).ok());
        out << t.vault->text(*t.vault->records().find(key), 1);
        out << QString::number(t.vault->updateRecord(key, texts).ok()
                               && t.vault->changePassword(pass, QStringLiteral("other")).ok()
                               && t.vault->changePassword(QStringLiteral("other"), pass).ok() && t.open()
                               && t.vault->unlock(pass));
        out << t.vault->text(*t.vault->records().find(key), 1);
        out << ExportCSVLine(*t.vault, t.vault->records().find(key));
        out << QString::number(ImportCSVBytes(csv, *t.vault, &added).ok() && added == 1);
        out << t.vault->text(*static_cast<CRecord*>(t.vault->records().tail), 1);
        t.vault->lock();
        CRecord plain;
        plain.SetDataText(texts, nullptr);
        QString read;
        plain.GetDataText(1, read, nullptr);
        return out << read;
    }

private slots:
    void secretNeverReleasedUnwiped_data()
    {
        QTest::addColumn<Flow>("flow");
        QTest::addColumn<QByteArray>("needle");
        QTest::addColumn<bool>("leaks");
        QTest::addColumn<QVariantList>("products");
        // The watcher sees what it must.
        QTest::newRow("control: QString") << Flow([](TestVault&) {
            QString s = QString::fromLatin1(Field);
            return QVariantList();
        }) << QByteArray(Field) << true << QVariantList();
        QTest::newRow("control: moved by realloc") << Flow([](TestVault&) {
            QByteArray b(Field);
            b.reserve(1 << 20);
            b.data()[0] = 'x'; // the new block no longer holds it
            return QVariantList();
        }) << QByteArray(Field) << true << QVariantList();
        QTest::newRow("control: delete[]") << Flow([](TestVault&) {
            // Called by name: a new-expression and its delete may be left out.
            void* p = ::operator new[](sizeof Field);
            std::memcpy(p, Field, sizeof Field);
            ::operator delete[](p);
            return QVariantList();
        }) << QByteArray(Field) << true << QVariantList();

        const QString f = QString::fromLatin1(Field);
        const QVariantList products{"1", f, "1", f,
                                    "\"Bank\",\"desc\",\"" + QByteArray(Field) + "\",\"\",\"\",\"\",\"\",\"note\"\n", "1", f, f};
        QTest::newRow("field") << Flow(vaultFlow) << QByteArray(Field) << false << products;
        QTest::newRow("password") << Flow(vaultFlow) << QByteArray(Pass) << false << products;
    }

    void secretNeverReleasedUnwiped()
    {
#ifdef VX_NO_WATCHER
        QSKIP("AddressSanitizer owns free and realloc");
#endif
        QFETCH(Flow, flow);
        QFETCH(QByteArray, needle);
        QFETCH(bool, leaks);
        TestVault t;
        QVariantList products;
        {
            const Watch watch(needle.constData(), leaks);
            products = flow(t);
            t.vault.reset();
        }
        QVERIFY(releasedCount > 0);
        QCOMPARE(releasedWithSecret > 0, leaks);
        QTEST(products, "products");
    }
};

QTEST_GUILESS_MAIN(TstWipe)
#include "tst_wipe.moc"
