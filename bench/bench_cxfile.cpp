// Times the record file's operations with real fsync on one sequence, and
// counts the system calls each makes.
// Every change goes through the rollback journal; its system calls and
// syncs are counted with the file's.
// Then salvages the file into a new one, as `vaultix-tool salvage` does.
// Usage: bench_cxfile [DIRECTORY] [RECORDS] (default /tmp, 10000).
#include "storage/cxfile.h"
#include "storage/cxsalvage.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include <sys/statfs.h>
#include <unistd.h>

namespace {

// The real file system, counting what it is asked: each call is one
// system call (pread, pwrite, fsync, ftruncate, lseek or unlink), and each
// fsync of a folder (after a new file's first sync, and after a removal)
// counts as one more.
class CountingIo : public CxPosixIo
{
public:
    int open(const char* path, Mode mode) override
    {
        ++calls;
        fresh = (mode == Mode::Create || mode == Mode::CreateNew) && access(path, F_OK) != 0;
        return CxPosixIo::open(path, mode);
    }
    bool truncate(int64_t length) override
    {
        ++calls;
        return CxPosixIo::truncate(length);
    }
    bool remove(const char* path) override
    {
        calls += 2;
        ++syncs;
        return CxPosixIo::remove(path);
    }
    bool read(int64_t offset, void* buffer, int64_t length) override
    {
        ++calls;
        return CxPosixIo::read(offset, buffer, length);
    }
    bool write(int64_t offset, const void* buffer, int64_t length) override
    {
        ++calls;
        return CxPosixIo::write(offset, buffer, length);
    }
    int64_t size() override
    {
        ++calls;
        return CxPosixIo::size();
    }
    bool sync() override
    {
        calls += fresh ? 2 : 1;
        syncs += fresh ? 2 : 1;
        fresh = false;
        return CxPosixIo::sync();
    }
    long calls = 0;
    long syncs = 0;
    bool fresh = false;
};

// The data file's and the journal's counts together.
struct Counters
{
    CountingIo data;
    CountingIo journal;
    long calls() const { return data.calls + journal.calls; }
    long syncs() const { return data.syncs + journal.syncs; }
};

using Clock = std::chrono::steady_clock;

struct Figures
{
    double seconds;
    long calls;
    long syncs;
};

template <typename Work>
Figures measure(Counters& io, Work work)
{
    const long calls = io.calls(), syncs = io.syncs();
    const auto start = Clock::now();
    work();
    return {std::chrono::duration<double>(Clock::now() - start).count(), io.calls() - calls, io.syncs() - syncs};
}

void row(const char* what, long count, const Figures& f)
{
    std::printf("%-30s %7ld %9.3f %11.1f %11.1f %9.2f\n", what, count, f.seconds,
                f.seconds * 1e6 / double(count), double(f.calls) / double(count), double(f.syncs) / double(count));
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

// Adds a record the way the application does: under the smallest free key
// above the record marker 1000, found by one walk from the marker, then
// the cursor put where probing key by key would leave it.
void addLikeTheApplication(CxFile& file, const std::string& data)
{
    int32_t free = 1000;
    if (file.FindRecord(free)) {
        ++free;
        int32_t key = 0;
        while (file.FindNextRecord() && file.ReadRecordKey(key) && key == free)
            ++free;
        file.FindRecord(free - 1);
        file.FindRecord(free);
    }
    file.AddRecord(free, data.data(), int32_t(data.size()));
}

// Reads the whole file, finds every record and writes them into a new
// file, synced; false when a record went missing.
bool salvage(const std::string& path, long records)
{
    const std::string out = path + ".salvaged";
    unlink(out.c_str());
    const auto start = Clock::now();
    CxSalvage salvage(QByteArray(), "Vaultix0001");
    const bool ok = salvage.load(QString::fromStdString(path)) && salvage.run()
                    && long(salvage.records().size()) == records
                    && CxSalvage::writeFile(QString::fromStdString(out), "Vaultix0001", salvage.records(), 128, 1, 0);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("\nsalvage into a new file: %ld records in %.3f s\n", records, seconds);
    unlink(out.c_str());
    return ok;
}

// One full run on a fresh file; false when a lookup failed.
bool run(const std::string& path, int records)
{
    const std::string data(100, 'd');
    Counters io;
    CxFile file("Vaultix0001", &io.data, &io.journal);
    unlink(path.c_str());
    if (file.Create(path.c_str(), 128, 1, 0) != 0) {
        std::fprintf(stderr, "cannot create %s\n", path.c_str());
        return false;
    }
    // The default database's shape: settings, markers, a few categories.
    const std::string small(60, 's');
    for (int32_t key : {0, 100, 101, 102, 103, 104, 105, 106, 107, 108, 1000})
        file.AddRecord(key, small.data(), int32_t(small.size()));

    row("add, smallest free key", records,
        measure(io, [&] {
            for (int i = 0; i < records; ++i)
                addLikeTheApplication(file, data);
        }));

    std::vector<char> buffer(4096);
    long walked = 0;
    row("walk and read all", records, measure(io, [&] {
            for (bool more = file.FindFirstRecord(); more; more = file.FindNextRecord()) {
                int32_t size = 0;
                file.ReadRecordSize(size);
                file.ReadRecord(buffer.data(), size);
                ++walked;
            }
        }));

    std::mt19937 rng(42);
    std::uniform_int_distribution<int> anyKey(1001, 1000 + records);
    long found = 0;
    row("find random key", records, measure(io, [&] {
            for (int i = 0; i < records; ++i)
                found += file.FindRecord(anyKey(rng));
        }));

    const int updates = records / 10;
    row("find and update random key", updates, measure(io, [&] {
            for (int i = 0; i < updates; ++i) {
                if (file.FindRecord(anyKey(rng)))
                    file.UpdateRecord(data.data(), int32_t(data.size()));
            }
        }));

    std::printf("in memory: %lld bytes for %ld records; file %lld bytes\n", static_cast<long long>(file.size()),
                walked, static_cast<long long>(io.data.size()));
    file.Close();
    const bool salvaged = salvage(path, walked);
    unlink(path.c_str());
    return found == records && salvaged;
}

} // namespace

int main(int argc, char** argv)
{
    const std::string dir = argc > 1 ? argv[1] : "/tmp";
    const int records = argc > 2 ? std::atoi(argv[2]) : 10000;
    const std::string path = dir + "/bench_cxfile_" + std::to_string(getpid()) + ".dat";
    std::printf("file %s (%s), block size 128, %d records of 100 bytes\n\n", path.c_str(), filesystemOf(dir),
                records);
    std::printf("%-30s %7s %9s %11s %11s %9s\n", "operation", "count", "seconds", "us each", "calls each",
                "fsync each");
    return run(path, records) ? 0 : 1;
}
