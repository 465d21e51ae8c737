// Times the record file's basic operations with real fsync and counts the
// flushes. Usage: bench_cxfile [DIRECTORY] (default /tmp).
#include "storage/cxfile.h"

#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <vector>

#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace {

class CountingFile : public CxFile
{
public:
    CountingFile() : CxFile("Vaultix0001") {}
    void FlushToDisk() override
    {
        ++flushes;
        CxFile::FlushToDisk();
    }
    long flushes = 0;
};

using Clock = std::chrono::steady_clock;

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void row(const char* what, long count, double seconds, long flushes)
{
    std::printf("%-34s %8ld %10.3f %12.1f %10.2f\n", what, count, seconds, seconds * 1e6 / double(count),
                double(flushes) / double(count));
}

const char* filesystemOf(const std::string& dir)
{
    struct statfs info;
    if (statfs(dir.c_str(), &info) != 0)
        return "unknown";
    switch (info.f_type) {
    case 0xEF53: return "ext2/3/4";
    case 0x01021994: return "tmpfs";
    case 0x794C7630: return "overlayfs";
    case 0x58465342: return "xfs";
    case 0x9123683E: return "btrfs";
    default: return "other";
    }
}

} // namespace

int main(int argc, char** argv)
{
    const std::string dir = argc > 1 ? argv[1] : "/tmp";
    const std::string path = dir + "/bench_cxfile_" + std::to_string(getpid()) + ".dat";
    const int records = 10000;
    const int updates = 1000;
    const std::string data(100, 'd');

    CountingFile file;
    if (file.Create(path.c_str(), 128, 1, 0) != 0) {
        std::fprintf(stderr, "cannot create %s\n", path.c_str());
        return 1;
    }
    std::printf("file %s (%s), block size 128, %d-byte records\n\n", path.c_str(), filesystemOf(dir),
                int(data.size()));
    std::printf("%-34s %8s %10s %12s %10s\n", "operation", "count", "seconds", "us each", "fsync each");

    long flushes = file.flushes;
    auto start = Clock::now();
    for (int key = 1; key <= records; ++key)
        file.AddRecord(key, data.data(), int32_t(data.size()));
    row("add, ascending keys", records, secondsSince(start), file.flushes - flushes);

    std::vector<char> buffer(4096);
    long walked = 0;
    start = Clock::now();
    for (bool more = file.FindFirstRecord(); more; more = file.FindNextRecord()) {
        int32_t size = 0;
        file.ReadRecordSize(size);
        file.ReadRecord(buffer.data(), size);
        ++walked;
    }
    row("walk and read all", walked, secondsSince(start), 0);

    std::mt19937 rng(42);
    std::uniform_int_distribution<int> anyKey(1, records);
    long found = 0;
    start = Clock::now();
    for (int i = 0; i < records; ++i)
        found += file.FindRecord(anyKey(rng));
    row("find random key", records, secondsSince(start), 0);

    flushes = file.flushes;
    start = Clock::now();
    for (int i = 0; i < updates; ++i) {
        if (file.FindRecord(anyKey(rng)))
            file.UpdateRecord(data.data(), int32_t(data.size()));
    }
    row("find and update random key", updates, secondsSince(start), file.flushes - flushes);

    struct stat info = {};
    stat(path.c_str(), &info);
    std::printf("\n%ld of %d lookups found; file size %ld bytes\n", found, records, long(info.st_size));
    file.Close();
    unlink(path.c_str());
    return found == records ? 0 : 1;
}
