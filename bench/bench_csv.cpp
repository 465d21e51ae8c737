// Times the CSV import into the default database (1,000 and 10,000 lines)
// and the export of 10,000 records, counting the data file's system calls
// and fsyncs, next to the time one fsync takes on the same disk.
//
// Usage: bench_csv [folder]   (default: the system's temporary folder)
#include "csv/csvexport.h"
#include "csv/csvimport.h"
#include "vault/vault.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <chrono>
#include <cstdio>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

namespace {
long g_syncs = 0;
long g_calls = 0;
} // namespace

// Counted on their way to the C library: every read, write and sync of the
// record file (and of a journal beside it) passes here.
extern "C" {
int fsync(int fd)
{
    static auto real = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fsync"));
    ++g_syncs;
    ++g_calls;
    return real(fd);
}
int fdatasync(int fd)
{
    static auto real = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fdatasync"));
    ++g_syncs;
    ++g_calls;
    return real(fd);
}
ssize_t pread(int fd, void* buf, size_t n, off_t off)
{
    static auto real = reinterpret_cast<ssize_t (*)(int, void*, size_t, off_t)>(dlsym(RTLD_NEXT, "pread"));
    ++g_calls;
    return real(fd, buf, n, off);
}
ssize_t pwrite(int fd, const void* buf, size_t n, off_t off)
{
    static auto real = reinterpret_cast<ssize_t (*)(int, const void*, size_t, off_t)>(dlsym(RTLD_NEXT, "pwrite"));
    ++g_calls;
    return real(fd, buf, n, off);
}
}

namespace {

using Clock = std::chrono::steady_clock;

double msSince(Clock::time_point t)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - t).count();
}

// Lines over the default categories and a few new ones, with texts of a
// usual length.
QByteArray MakeCSV(int lines)
{
    const char* categories[] = {"Bank", "Email", "Web Login", "Software", "Club", "Shop"};
    QByteArray csv;
    for (int i = 0; i < lines; ++i) {
        csv += QByteArray("\"") + categories[i % 6] + "\",\"entry " + QByteArray::number(i)
               + "\",\"user" + QByteArray::number(i) + "\",\"pw-" + QByteArray::number(i * 7919)
               + "\",\"https://example.org/" + QByteArray::number(i) + "\",\"\",\"\",\"a note for line "
               + QByteArray::number(i) + "\"\n";
    }
    return csv;
}

double FsyncMs(const QString& folder)
{
    const QByteArray path = QFile::encodeName(folder + "/fsync.probe");
    const int fd = ::open(path.constData(), O_RDWR | O_CREAT | O_TRUNC, 0600);
    if (fd < 0)
        return -1;
    char block[128] = {};
    const int rounds = 200;
    const auto t = Clock::now();
    for (int i = 0; i < rounds; ++i) {
        pwrite(fd, block, sizeof block, off_t(i % 16) * 128);
        fsync(fd);
    }
    const double ms = msSince(t) / rounds;
    ::close(fd);
    ::unlink(path.constData());
    return ms;
}

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir(argc > 1 ? QString::fromLocal8Bit(argv[1]) + "/bench_csv-XXXXXX"
                               : QDir::tempPath() + "/bench_csv-XXXXXX");
    if (!dir.isValid()) {
        std::fprintf(stderr, "usage: bench_csv [folder]\n");
        return 2;
    }
    const double fsyncMs = FsyncMs(dir.path());
    std::printf("one fsync (128-byte write + fsync): %.3f ms\n\n", fsyncMs);
    std::printf("%-24s %10s %10s %8s %10s %14s %12s\n", "", "wall ms", "calls/rec", "fsyncs", "fsync/rec", "fsyncs alone",
                "wall/fsyncs");

    for (int lines : {1000, 10000}) {
        CVault vault(dir.filePath(QString("import%1.dat").arg(lines)));
        if (!vault.session().lock() || !vault.open())
            return 1;
        QByteArray csv = MakeCSV(lines);
        g_calls = g_syncs = 0;
        const auto t = Clock::now();
        int count = 0;
        if (!ImportCSVBytes(csv, vault, &count).ok() || count < 1)
            return 1;
        const double ms = msSince(t);
        const double syncOnly = double(g_syncs) * fsyncMs;
        std::printf("import %-5d lines        %10.1f %10.2f %8ld %10.4f %11.1f ms %12.2f\n", lines, ms,
                    double(g_calls) / count, g_syncs, double(g_syncs) / count, syncOnly,
                    syncOnly > 0 ? ms / syncOnly : 0.0);

        if (lines == 10000) {
            QFile out(dir.filePath("export.csv"));
            if (!out.open(QIODevice::WriteOnly))
                return 1;
            g_calls = g_syncs = 0;
            const auto e = Clock::now();
            const int written = ExportCSV(out, vault);
            out.close();
            std::printf("export %-5d records      %10.1f\n", written, msSince(e));
        }
    }
    return 0;
}
