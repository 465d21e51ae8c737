// Helper for tst_cxfile_crash: runs the flows that rewrite many records
// (password change, protection switch of a category) and single updates and
// deletes on a made-up data file. Before each flow it copies the file to
// PATH.before and announces the flow on stdout; it skips fsync and sends
// itself SIGKILL before the N-th write, truncation, sync or removal of the
// file or its journal, so the kill always lands inside a flow.
//
// Usage: flowwriter PATH N
#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/records.h"
#include "vault/password.h"
#include "vault/passwordchange.h"
#include "storage/cxfile.h"
#include "storage/cxtransaction.h"
#include "tools/demodata.h"

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
    _AppFile = new CxFile(_AppSignature, &data, &journal);
    if (_AppFile->Open(argv[1]) != 0)
        return 1;
    _AppCfg = new CvxConfig(path);
    CCategories categories;
    categories.LoadAll();
    CRecords records;
    records.LoadAll(&categories);
    if (!CheckValidPwd(QStringLiteral("one")))
        return 1;

    dieAt = std::strtol(argv[2], nullptr, 10);
    CRecord* next = records.first();
    for (int flow = 0; flow < 1000; ++flow) {
        switch (flow % 4) {
        case 0: {
            announce("password", path);
            const QString to = flow % 8 ? QStringLiteral("one") : QStringLiteral("two");
            ApplyPasswordChange(CPasswordChange::Changed, to, &records, &categories);
            break;
        }
        case 1: {
            announce("protection", path);
            CCategory* c = categories.GetCategory(flow % 3);
            CxTransaction change(_AppFile);
            c->isProtected = !c->isProtected;
            c->WriteRecord();
            if (c->isProtected)
                records.EncryptCategoryRecords(c);
            else
                records.DecryptCategoryRecords(c);
            break;
        }
        case 2:
            announce("update", path);
            if (!next->encrypted) {
                next->SetDataText(QStringLiteral("Changed %1").arg(flow), QString(), QString(), QString(), QString(),
                                  QString(), QStringLiteral("A longer note that takes a second block %1").arg(flow));
            }
            next->WriteRecord(true);
            break;
        default:
            announce("delete", path);
            if (_AppFile->FindRecord(next->key))
                _AppFile->DeleteRecord();
            break;
        }
        next = CRecords::nextOf(next) ? CRecords::nextOf(next) : records.first();
    }
    return 0;
}
