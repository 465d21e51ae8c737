// Opens a data file with a journal beside it, as after a crash. Open never
// crashes or hangs and writes nothing but the data file. Once it has taken
// the file as ours, it leaves it rolled back as the journal says, removes a
// journal it played back and moves one of another file aside; a failed or
// read-only open writes nothing at all. Option bit 1 opens read-only; bit 2
// then makes a change, which leaves no journal once it succeeds.
#include "memdisk.h"
#include "storage/cxfile.h"

#include <climits>

namespace {

void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* in, size_t size)
{
    const JournalInput input(in, size);
    const bool readOnly = input.options & 2;
    // What the journal asks for, found on its own.
    CxJournal journal;
    const int64_t length = int64_t(input.data.size());
    const CxJournal::State state = journal.decode(
        input.journal, {1, FuzzDataPath, FuzzSignature}, length,
        [&input, length](int64_t offset, unsigned char* buffer, int64_t n) {
            if (offset < 0 || n < 0 || offset + n > length)
                return false;
            std::memcpy(buffer, input.data.data() + offset, size_t(n));
            return true;
        });

    MemDisk disk;
    disk.put(FuzzDataPath, input.data);
    disk.put(FuzzJournalPath, input.journal);
    MemIo dataIo(disk), journalIo(disk);
    CxFile file(FuzzSignature, &dataIo, &journalIo);
    const int opened = readOnly ? file.OpenReadOnly(FuzzDataPath) : file.Open(FuzzDataPath);
    check(file.journalState() == state);
    const bool acted = opened == 0 && !readOnly;
    Bytes expected = input.data;
    if (acted && state == CxJournal::Hot)
        journal.applyTo(expected);
    check(disk.files.at(FuzzDataPath).bytes == expected);
    const bool gone = acted && state == CxJournal::Hot;
    const bool aside = acted && state == CxJournal::Foreign;
    check(disk.files.size() == (gone ? 1u : 2u));
    if (!gone) {
        const auto& kept = *disk.files.rbegin(); // the stale name sorts after the data file's
        check(kept.second.bytes == input.journal);
        check(aside ? kept.first.rfind(std::string(FuzzJournalPath) + ".stale-", 0) == 0
                    : kept.first == FuzzJournalPath);
    }
    if (opened != 0)
        return 0;

    // Read-only, the records read as if the file had been rolled back.
    int steps = 0;
    for (bool more = file.FindFirstRecord(); more && steps < 100000; more = file.FindNextRecord())
        ++steps;
    check(steps < 100000);
    if (!readOnly && (input.options & 4)) {
        if (file.AddRecord(INT32_MAX, "x", 1))
            check(disk.files.count(FuzzJournalPath) == 0);
    }
    return 0;
}
