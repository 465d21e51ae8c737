#ifndef VAULTIX_STORAGE_CXJOURNAL_H
#define VAULTIX_STORAGE_CXJOURNAL_H

#include "storage/cxio.h"

#include <cstdint>
#include <string>
#include <vector>

// Which data file a journal belongs to: a journal is only ever played back
// onto the very file it was written for.
struct CxJournalId
{
    int64_t fileId = -1;  // from CxIo::fileId()
    std::string name;     // the data file's name, without its folder
    std::string signature; // the record file's signature
};

// The rollback journal of one change to a record file: the original bytes
// of every piece of the file the change overwrites, and the file's length
// before and after it. Written whole and synced before the data file is
// touched, removed once the change is on disk; found at open, it is played
// back, which puts the file back as it was before the change.
//
// Layout (integers little-endian): "Vaultix journal\0", CRC-32 of every
// byte after it, entry count, total length, original length, final length,
// file id, signature (16), name length and name; then the entries, each an
// offset (8), a length (4) and that many original bytes.
class CxJournal
{
public:
    enum State {
        Absent,  // no journal: the file is as the last change left it
        Hot,     // a whole journal of this file: the file must be rolled back
        Torn,    // cut short or garbled: never played back
        Foreign, // a whole journal, but of another file: never played back
    };

    struct Entry
    {
        int64_t offset;
        std::vector<unsigned char> bytes;
    };

    ~CxJournal() { clear(); }

    // "<data file>-journal".
    static std::string pathFor(const std::string& dataPath);
    static std::string nameOf(const std::string& path);

    // Starts a journal for a file `originalLength` bytes long; the old
    // entries' bytes are wiped, as they may be record contents.
    void clear(int64_t originalLength = 0);
    void add(int64_t offset, const unsigned char* bytes, int64_t length);
    void setFinalLength(int64_t length) { m_finalLength = length; }
    std::vector<unsigned char> encode(const CxJournalId& id) const;

    // Reads the journal at `path` for the data file `id`, now `dataLength`
    // bytes long. Absent when there is no such file.
    State load(CxIo& io, const std::string& path, const CxJournalId& id, int64_t dataLength);
    State decode(const std::vector<unsigned char>& raw, const CxJournalId& id, int64_t dataLength);

    // Writes the original bytes back, cuts the file to its original length
    // and syncs it.
    bool playBack(CxIo& data) const;
    // The same, on a copy of the file's bytes in memory.
    void applyTo(std::vector<unsigned char>& image) const;

    int64_t originalLength() const { return m_originalLength; }
    const std::vector<Entry>& entries() const { return m_entries; }

private:
    std::vector<Entry> m_entries;
    int64_t m_originalLength = 0;
    int64_t m_finalLength = 0;
};

#endif
