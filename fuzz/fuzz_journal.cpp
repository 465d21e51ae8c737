// The journal decoder on arbitrary journals beside arbitrary data files: it
// reads nothing outside either, and a journal it calls hot plays back
// within the file and, encoded again, reads back the same.
#include "memdisk.h"
#include "storage/cxjournal.h"

namespace {

void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

const CxJournalId Id{1, FuzzDataPath, FuzzSignature};

CxJournal::State load(MemDisk& disk, CxJournal& journal)
{
    MemIo data(disk), io(disk);
    data.open(FuzzDataPath, CxIo::Mode::ReadOnly);
    return journal.load(io, FuzzJournalPath, Id, data);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* in, size_t size)
{
    const JournalInput input(in, size);
    MemDisk disk;
    disk.put(FuzzDataPath, input.data);
    disk.put(FuzzJournalPath, input.journal);
    CxJournal journal;
    const CxJournal::State state = load(disk, journal);
    if (state != CxJournal::Hot) {
        check(state == CxJournal::Torn || state == CxJournal::Foreign);
        check(journal.entries().empty());
        return 0;
    }

    const int64_t length = journal.originalLength();
    check(length <= int64_t(input.data.size()));
    for (const CxJournal::Entry& e : journal.entries()) {
        check(e.offset >= 0 && e.length > 0 && e.length <= 512 && e.offset / 512 == (e.offset + e.length - 1) / 512);
        check(e.bytes.empty() ? e.offset >= length
                              : e.bytes.size() == size_t(e.length) && e.offset + e.length <= length);
    }
    Bytes image = input.data;
    journal.applyTo(image);
    check(image.size() == size_t(length));

    disk.files.at(FuzzJournalPath).bytes = journal.encode(Id);
    CxJournal again;
    check(load(disk, again) == CxJournal::Hot && again.originalLength() == length
          && again.entries().size() == journal.entries().size());
    for (size_t i = 0; i < journal.entries().size(); ++i) {
        const CxJournal::Entry &a = journal.entries()[i], &b = again.entries()[i];
        check(a.offset == b.offset && a.length == b.length && a.written == b.written && a.bytes == b.bytes);
    }
    return 0;
}
