// Helper for tst_cxfile_crash: runs the vault's changes that rewrite many
// records (password change, protection switch of a category) and single
// adds, updates and deletes on a made-up data file. Before each flow it
// copies the file to PATH.before and announces the flow on stdout; it skips
// fsync and sends itself SIGKILL before the N-th write, truncation, sync or
// removal of the file or its journal, so the kill always lands inside a
// flow.
//
// Usage: flowwriter PATH N
#include "storage/cxio.h"
#include "tools/demodata.h"
#include "vault/vault.h"

#include <QFile>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>

#include <unistd.h>

namespace {

long dieAt = 0;
long events = 0;

void event()
{
    if (++events == dieAt)
        ::raise(SIGKILL);
}

class KillingIo : public CxPosixIo
{
public:
    bool write(int64_t offset, const void* buffer, int64_t length) override
    {
        event();
        return CxPosixIo::write(offset, buffer, length);
    }
    bool truncate(int64_t length) override
    {
        event();
        return CxPosixIo::truncate(length);
    }
    bool sync() override
    {
        event();
        return isOpen();
    }
    bool remove(const char* path) override
    {
        event();
        return ::unlink(path) == 0 || errno == ENOENT;
    }
};

void announce(const char* flow, const QString& path)
{
    QFile::remove(path + ".before");
    if (!QFile::copy(path, path + ".before"))
        std::exit(4);
    std::printf("%s\n", flow);
    std::fflush(stdout);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    const QString path = QString::fromLocal8Bit(argv[1]);
    QFile::remove(path);
    if (!WriteDemoData(path, 40, QStringLiteral("one")))
        return 1;

    KillingIo data, journal;
    CVault vault(path);
    vault.session().setIo(&data, &journal);
    if (!vault.session().lock() || !vault.open() || !vault.unlock(QStringLiteral("one")))
        return 1;

    events = 0;
    dieAt = std::strtol(argv[2], nullptr, 10);
    QString password = QStringLiteral("one");
    int key = 0; // the record the last flow worked on
    for (int flow = 0; flow < 1000; ++flow) {
        // The records change under the flows: take the next one by key.
        const CRecord* next = nullptr;
        for (const CRecord* r = vault.records().first(); r; r = CRecords::nextOf(r)) {
            if (r->key > key && (!next || r->key < next->key))
                next = r;
        }
        if (!next)
            next = vault.records().first();
        key = next ? next->key : 0;
        CVaultResult done = CVaultResult::success();
        switch (flow % 5) {
        case 0: {
            announce("password", path);
            const QString to = flow % 10 ? QStringLiteral("one") : QStringLiteral("two");
            done = vault.changePassword(password, to);
            password = to;
            break;
        }
        case 1: {
            announce("protection", path);
            const CCategory* stored = vault.categories().byId(flow % 3);
            if (!stored)
                return 3;
            CCategory category = *stored;
            category.isProtected = !category.isProtected;
            done = vault.updateCategory(category);
            break;
        }
        case 2: {
            announce("update", path);
            const CVault::Texts texts = {QStringLiteral("Changed %1").arg(flow), QString(), QString(), QString(),
                                         QString(), QString(),
                                         QStringLiteral("A longer note that takes a second block %1").arg(flow)};
            done = vault.updateRecord(key, texts);
            break;
        }
        case 3:
            announce("delete", path);
            done = vault.deleteRecord(key);
            break;
        default: {
            // Keeps the number of records from running down.
            announce("add", path);
            const CVault::Texts texts = {QStringLiteral("Added %1").arg(flow), QStringLiteral("secret"), QString(),
                                         QString(), QString(), QString(), QString()};
            done = vault.addRecord(flow % 12, texts);
            break;
        }
        }
        if (!done.ok())
            return 3;
    }
    return 0;
}
