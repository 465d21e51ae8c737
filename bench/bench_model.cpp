// Loading a large database, and the password set/change/remove passes over it.
// Usage: bench_model [record count]   (default 10000)
#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/records.h"
#include "vault/password.h"
#include "vault/passwordchange.h"
#include "vault/session.h"
#include "storage/cxfile.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <malloc.h>

namespace {

const QString Password = QStringLiteral("bench password");

std::unique_ptr<CSession> session;

void openFile(const QString& path)
{
    session = std::make_unique<CSession>(path);
    session->open();
}

void closeFile()
{
    session.reset();
}

// Half the records in the three protected default categories, half in the
// others; enciphered as the application would hold them. Written straight
// under consecutive keys to keep preparation short.
void prepare(const QString& path, int count)
{
    openFile(path);
    CCategories cats;
    cats.LoadAll();
    QList<int> plainIds, protectedIds;
    for (CCategory* c = cats.first(); c; c = CCategories::nextOf(c))
        (c->isProtected ? protectedIds : plainIds) << c->id;
    EncryptAddNewPwd(Password);
    for (int i = 0; i < count; ++i) {
        CRecord r;
        const bool prot = i % 2 == 0;
        r.category = prot ? protectedIds[i % protectedIds.size()] : plainIds[i % plainIds.size()];
        r.encrypted = prot;
        r.SetDataText(QStringLiteral("Record %1").arg(i), QStringLiteral("account-%1").arg(i * 7919),
                      QStringLiteral("user%1").arg(i), QStringLiteral("%1").arg(i % 10000, 4, 10, QLatin1Char('0')),
                      QString(), QString(),
                      QStringLiteral("A note of a typical length for record %1.").arg(i));
        const QByteArray bytes = r.Encode();
        _AppFile->AddRecord(1001 + i, bytes.constData(), int32_t(bytes.size()));
    }
    closeFile();
}

double ms(const QElapsedTimer& t)
{
    return double(t.nsecsElapsed()) / 1e6;
}

} // namespace

int main(int argc, char** argv)
{
    const int count = argc > 1 ? std::atoi(argv[1]) : 10000;
    if (count < 1) {
        std::fprintf(stderr, "usage: bench_model [record count]\n");
        return 2;
    }
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Vaultix.Dat"));

    QElapsedTimer t;
    t.start();
    prepare(path, count);
    std::printf("prepare %d records:            %9.1f ms\n", count, ms(t));

    openFile(path);
    auto* cats = new CCategories;
    auto* records = new CRecords;
    const size_t before = mallinfo2().uordblks;
    t.restart();
    cats->LoadAll();
    records->LoadAll(cats);
    const double loadMs = ms(t);
    const size_t after = mallinfo2().uordblks;
    std::printf("load categories + records:     %9.1f ms  (%d categories, %d records)\n", loadMs,
                cats->count, records->count);
    std::printf("heap held per record:          %9.1f bytes\n",
                double(after - before) / double(records->count ? records->count : 1));

    CheckValidPwd(Password); // the change dialog's check keys the cipher
    t.restart();
    ApplyPasswordChange(CPasswordChange::Changed, QStringLiteral("another one"), records, cats);
    std::printf("change password (status 3):    %9.1f ms\n", ms(t));

    t.restart();
    ApplyPasswordChange(CPasswordChange::Removed, QString(), records, cats);
    std::printf("remove password (status 2):    %9.1f ms\n", ms(t));

    t.restart();
    ApplyPasswordChange(CPasswordChange::Set, Password, records, cats);
    std::printf("set password (status 1):       %9.1f ms\n", ms(t));

    delete records;
    delete cats;
    closeFile();
    return 0;
}
