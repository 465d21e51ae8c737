// Helper for tst_cxfile_crash: runs a pseudo-random sequence of stores and
// deletes on a fresh record file, announcing each on stdout before it starts
// ("s KEY LENGTH TAG", contents pattern(LENGTH, TAG), or "d KEY"). It skips
// fsync and sends itself SIGKILL before the N-th write, truncation, sync or
// removal of the data file or its journal, so every point where the file
// orders its writes can be hit exactly.
//
// Usage: crashwriter SEED PATH N
#include "cxfiletest.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <vector>

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

struct KillingIos
{
    KillingIo data;
    KillingIo journal;
};

class KilledFile : private KillingIos, public CxFile
{
public:
    KilledFile() : CxFile(TestSignature, &data, &journal) {}
};

} // namespace

int main(int argc, char** argv)
{
    if (argc != 4)
        return 2;
    const unsigned long seed = std::strtoul(argv[1], nullptr, 10);
    uint32_t state = uint32_t(seed) * 2654435761u + 1;
    auto next = [&state]() {
        state ^= state << 13;
        state ^= state >> 17;
        return state ^= state << 5;
    };
    ::unlink(argv[2]);
    dieAt = std::strtol(argv[3], nullptr, 10);
    KilledFile file;
    // Small blocks and mostly small records make index splits a large share
    // of the work, so a kill often lands inside one.
    if (file.Create(argv[2], next() % 4 ? 64 : 128, 1, 0) != 0)
        return 1;

    // Random keys mostly split a block with the new one in front of it;
    // rising keys (odd seeds) mostly put the new one behind it.
    std::vector<bool> present(1000, false);
    for (long op = 0; op < 10000000; ++op) {
        const int32_t key = int32_t((seed % 2 ? op / 2 + next() % 8 : next()) % 1000);
        const bool store = !present[size_t(key)] || next() % 10 < 6;
        const int length = store ? int(next() % 6 == 0 ? next() % 500 : next() % 50) : 0;
        const uint32_t tag = store ? next() : 0;
        // One write per line, so the reader never sees half a line.
        char line[64];
        const int n = store ? std::snprintf(line, sizeof line, "s %d %d %u\n", key, length, tag)
                            : std::snprintf(line, sizeof line, "d %d\n", key);
        if (::write(STDOUT_FILENO, line, size_t(n)) != n)
            return 3;
        const QByteArray data = pattern(length, tag);
        if (store && !file.AddRecord(key, data.constData(), length))
            file.UpdateRecord(data.constData(), length);
        if (!store && file.FindRecord(key))
            file.DeleteRecord();
        present[size_t(key)] = store;
    }
    return 0;
}
