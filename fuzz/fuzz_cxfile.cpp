// Feeds arbitrary bytes to the record file as if they were a stored file and
// runs every operation on it. The first input byte chooses options; the rest
// is the file. Reads size their buffer from ReadRecordSize, so an overrun
// shows up under AddressSanitizer.
#include "storage/cxfile.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr char Signature[] = "Vaultix0001";

class QuietFile : public CxFile
{
public:
    QuietFile() : CxFile(Signature) {}
    void FlushToDisk() override {}
};

const std::string& scratchPath()
{
    static const std::string path = "/tmp/fuzz_cxfile_" + std::to_string(getpid()) + ".dat";
    return path;
}

bool writeFile(const uint8_t* data, size_t size)
{
    const int fd = ::open(scratchPath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0)
        return false;
    const bool ok = size == 0 || ::write(fd, data, size) == ssize_t(size);
    ::close(fd);
    return ok;
}

// No length may be trusted beyond the file's own size.
void readEntry(CxFile& file)
{
    int32_t key = 0, size = -1, got = -1;
    file.ReadRecordKey(key);
    if (!file.ReadRecordSize(size))
        return;
    struct stat info = {};
    if (size < 0 || ::stat(scratchPath().c_str(), &info) != 0 || size > info.st_size)
        __builtin_trap();
    std::vector<char> buffer(size_t(size) + 1);
    file.ReadRecord(buffer.data() + 1, got); // +1: catches writes before the buffer too
    if (got < 0 || got > size)
        __builtin_trap();
}

void walk(CxFile& file)
{
    int steps = 0;
    for (bool more = file.FindFirstRecord(); more; more = file.FindNextRecord()) {
        readEntry(file);
        if (++steps > 1000000)
            __builtin_trap(); // a walk that does not end
    }
    file.FindNextRecord();
    readEntry(file);
    if (file.FindLastRecord())
        readEntry(file);
}

int32_t keyAt(const uint8_t* data, size_t size, size_t at)
{
    if (size < 4)
        return int32_t(at);
    at %= size - 3;
    return int32_t(uint32_t(data[at]) | uint32_t(data[at + 1]) << 8 | uint32_t(data[at + 2]) << 16
                   | uint32_t(data[at + 3]) << 24);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size < 1)
        return 0;
    const uint8_t options = data[0];
    std::vector<uint8_t> bytes(data + 1, data + size);
    // Usually give the file our signature, so the fuzzer spends its time
    // past the header check.
    if ((options & 1) == 0 && bytes.size() >= CxLayout::SignatureSize)
        std::memcpy(bytes.data(), "Vaultix0001\0\0\0\0\0", CxLayout::SignatureSize);
    if (!writeFile(bytes.data(), bytes.size()))
        return 0;

    QuietFile file;
    if (file.Open(scratchPath().c_str()) == 0) {
        walk(file);
        // Keys that occur in the input, plus small ones near the key plan.
        for (size_t i = 0; i < 8; ++i) {
            const int32_t key = i < 4 ? keyAt(bytes.data(), bytes.size(), 24 + i * 12) : int32_t(i * 331 % 1200);
            if (file.FindRecord(key))
                readEntry(file);
        }
        if (options & 2) {
            const std::string record(size_t(options) * 3, 'r');
            for (size_t i = 0; i < 4; ++i) {
                const int32_t key = keyAt(bytes.data(), bytes.size(), 28 + i * 12) ^ int32_t(i);
                if (!file.AddRecord(key, record.data(), int32_t(record.size())))
                    file.UpdateRecord(record.data(), int32_t(record.size() / 2));
                if ((options & 4) && file.FindRecord(keyAt(bytes.data(), bytes.size(), 40 + i * 12)))
                    file.DeleteRecord();
                if (options & 8)
                    file.DeleteRecord();
            }
            walk(file);
        }
    }
    file.Close();
    ::unlink(scratchPath().c_str());
    return 0;
}
