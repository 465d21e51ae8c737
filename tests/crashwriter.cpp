// Helper for tst_cxfile_crash: runs a deterministic pseudo-random sequence of
// stores and deletes on a fresh record file until it is killed. Each
// operation is announced before it starts ("B s KEY LENGTH TAG" or
// "B d KEY") and acknowledged once it has returned ("ok").
//
// Usage: crashwriter SEED PATH [fast | sync | die:N]
// "fast" skips fsync: a killed process loses nothing that write() accepted,
// and without the waits the kill lands anywhere in an operation. "die:N"
// also skips fsync and sends itself SIGKILL at the N-th flush, so every
// point where the file orders its writes can be hit exactly.
#include "storage/cxfile.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

class KilledFile : public CxFile
{
public:
    KilledFile(bool sync, long dieAt) : CxFile("Vaultix0001"), m_sync(sync), m_dieAt(dieAt) {}
    void FlushToDisk() override
    {
        if (++m_flushes == m_dieAt)
            ::raise(SIGKILL);
        if (m_sync)
            CxFile::FlushToDisk();
    }

private:
    bool m_sync;
    long m_dieAt;
    long m_flushes = 0;
};

// Must match contentOf() in tst_cxfile_crash.cpp.
std::string contentOf(int32_t key, uint32_t tag, int length)
{
    std::string bytes(size_t(length), '\0');
    for (int i = 0; i < length; ++i)
        bytes[size_t(i)] = char((tag * 2654435761u + uint32_t(key) * 40503u + uint32_t(i) * 2246822519u) >> 24);
    return bytes;
}

void say(const char* line)
{
    // One write per line, so the reader never sees half a line.
    const size_t length = std::strlen(line);
    if (::write(STDOUT_FILENO, line, length) != ssize_t(length))
        std::exit(3);
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: crashwriter SEED PATH [fast | sync | die:N]\n");
        return 2;
    }
    uint32_t state = uint32_t(std::strtoul(argv[1], nullptr, 10)) * 2654435761u + 1;
    const char* path = argv[2];
    const char* mode = argc > 3 ? argv[3] : "sync";
    const bool sync = std::strcmp(mode, "sync") == 0;
    const long dieAt = std::strncmp(mode, "die:", 4) == 0 ? std::strtol(mode + 4, nullptr, 10) : 0;
    auto next = [&state]() {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        return state;
    };

    ::unlink(path);
    KilledFile file(sync, dieAt);
    // Small blocks and mostly small records make index splits a large share
    // of the work, so a random kill often lands inside one.
    if (file.Create(path, next() % 4 ? 64 : 128, 1, 0) != 0)
        return 1;

    const int keyRange = 1000;
    std::vector<bool> present(keyRange, false);
    char line[64];
    for (long op = 0; op < 10000000; ++op) {
        const int32_t key = int32_t(next() % keyRange);
        if (!present[size_t(key)] || next() % 10 < 6) {
            const int length = int(next() % 6 == 0 ? next() % 500 : next() % 50);
            const uint32_t tag = next();
            std::snprintf(line, sizeof line, "B s %d %d %u\n", key, length, tag);
            say(line);
            const std::string data = contentOf(key, tag, length);
            if (!file.AddRecord(key, data.data(), length))
                file.UpdateRecord(data.data(), length);
            present[size_t(key)] = true;
        } else {
            std::snprintf(line, sizeof line, "B d %d\n", key);
            say(line);
            if (file.FindRecord(key))
                file.DeleteRecord();
            present[size_t(key)] = false;
        }
        say("ok\n");
    }
    return 0;
}
