// Feeds arbitrary bytes to the record file as if they were a stored file,
// in memory, and runs every operation on it, each change through its
// journal. The first input byte chooses options; the rest is the file.
// Reads size their buffer from ReadRecordSize, so an overrun shows up under
// AddressSanitizer.
#include "memdisk.h"
#include "storage/cxfile.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace {

MemDisk* disk;
// What an open transaction may have added to the file, in memory only.
size_t staged;

// No length may be trusted beyond the file's own size.
void readEntry(CxFile& file)
{
    int32_t key = 0, size = -1, got = -1;
    file.ReadRecordKey(key);
    if (!file.ReadRecordSize(size))
        return;
    if (size < 0 || size_t(size) > disk->files.at(FuzzDataPath).bytes.size() + staged)
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
    Bytes bytes(data + 1, data + size);
    // Usually give the file our signature, so the fuzzer spends its time
    // past the header check.
    if ((options & 1) == 0 && bytes.size() >= CxLayout::SignatureSize)
        std::memcpy(bytes.data(), "Vaultix0001\0\0\0\0\0", CxLayout::SignatureSize);
    MemDisk files;
    disk = &files;
    staged = 0;
    files.put(FuzzDataPath, bytes);
    MemIo io(files), journalIo(files);
    CxFile file(FuzzSignature, &io, &journalIo);
    if (file.Open(FuzzDataPath) == 0) {
        walk(file);
        // Keys that occur in the input, plus small ones near the key plan.
        for (size_t i = 0; i < 8; ++i) {
            const int32_t key = i < 4 ? keyAt(bytes.data(), bytes.size(), 24 + i * 12) : int32_t(i * 331 % 1200);
            if (file.FindRecord(key))
                readEntry(file);
        }
        if (options & 2) {
            // Bit 4 makes the changes one transaction: one journal instead
            // of up to twelve, and the walk reads through the staged writes.
            const bool together = options & 16;
            if (together)
                file.BeginTransaction();
            const std::string record(size_t(options) * 3, 'r');
            // Four records' data chains (blocks at least 64 bytes, 52 of
            // them data) and an index split each.
            if (together)
                staged = 4 * (2 * record.size() + 2 * CxLayout::MaxBlockSize);
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
            if (together)
                file.CommitTransaction();
        }
    }
    file.Close();
    // Every change removed its journal.
    if (files.files.size() != 1)
        __builtin_trap();
    return 0;
}
