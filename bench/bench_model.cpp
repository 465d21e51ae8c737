// Loading a large database, and the password set/change/remove passes over it.
// Usage: bench_model [record count]   (default 10000)
#include "crypto/cipherkey.h"
#include "storage/cxfile.h"
#include "vault/password.h"
#include "vault/vault.h"

#include <QElapsedTimer>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <malloc.h>

namespace {

const QString BenchPassword = QStringLiteral("bench password");

// Half the records in the three protected default categories, half in the
// others; enciphered as the application would hold them. Written straight
// under consecutive keys, in one transaction, to keep preparation short.
bool prepare(const QString& path, int count)
{
    CVault vault(path);
    if (!vault.session().lock() || !vault.open() || !vault.changePassword(QString(), BenchPassword).ok())
        return false;
    QList<int> plainIds, protectedIds;
    for (const CCategory* c = vault.categories().first(); c; c = CCategories::nextOf(c))
        (c->isProtected ? protectedIds : plainIds) << c->id;
    const CCipherKey key = Password::KeyFor(BenchPassword);
    CxFile& file = *vault.session().file();
    file.BeginTransaction();
    for (int i = 0; i < count; ++i) {
        CRecord r;
        const bool prot = i % 2 == 0;
        r.category = prot ? protectedIds[i % protectedIds.size()] : plainIds[i % plainIds.size()];
        r.encrypted = prot;
        const QString texts[CRecord::TextCount] = {
            QStringLiteral("Record %1").arg(i), QStringLiteral("account-%1").arg(i * 7919),
            QStringLiteral("user%1").arg(i), QStringLiteral("%1").arg(i % 10000, 4, 10, QLatin1Char('0')),
            QString(), QString(), QStringLiteral("A note of a typical length for record %1.").arg(i)};
        r.SetDataText(texts, &key);
        const QByteArray bytes = r.Encode();
        if (!file.AddRecord(1001 + i, bytes.constData(), int32_t(bytes.size()))) {
            file.AbortTransaction();
            file.CommitTransaction();
            return false;
        }
    }
    return file.CommitTransaction();
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
    if (!prepare(path, count)) {
        std::fprintf(stderr, "cannot prepare %s\n", qPrintable(path));
        return 1;
    }
    std::printf("prepare %d records:            %9.1f ms\n", count, ms(t));

    CVault vault(path);
    if (!vault.session().lock())
        return 1;
    const size_t before = mallinfo2().uordblks;
    t.restart();
    if (!vault.open())
        return 1;
    const double loadMs = ms(t);
    const size_t after = mallinfo2().uordblks;
    const int records = vault.records().count;
    std::printf("open and load:                 %9.1f ms  (%d categories, %d records)\n", loadMs,
                vault.categories().count, records);
    std::printf("heap held per record:          %9.1f bytes\n", double(after - before) / double(records ? records : 1));

    const struct { const char* what; QString oldPassword, newPassword; } steps[] = {
        {"change password:", BenchPassword, QStringLiteral("another one")},
        {"remove password:", QStringLiteral("another one"), QString()},
        {"set password:", QString(), BenchPassword},
    };
    for (const auto& step : steps) {
        t.restart();
        const CVaultResult result = vault.changePassword(step.oldPassword, step.newPassword);
        std::printf("%-30s %9.1f ms%s\n", step.what, ms(t), result.ok() ? "" : "  FAILED");
        if (!result.ok())
            return 1;
    }
    return 0;
}
