#ifndef VAULTIX_STORAGE_CXJOURNAL_H
#define VAULTIX_STORAGE_CXJOURNAL_H

#include "storage/cxio.h"

#include <algorithm>
#include <cstdint>
#include <functional>
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
// It also holds a checksum of every piece as the change writes it, the
// appended ones too, and always covers the header: each piece of a file
// that the change was cut short on holds either its original bytes or the
// written ones, so a file that holds anything else is another file put in
// its place, and the journal is not played back onto it. Pieces never
// straddle a 512-byte sector of the file nor the original length, so a
// disk that tears a write between sectors still leaves each piece whole.
//
// Layout (integers little-endian): "VaultixJournal2\0", CRC-32 of every
// byte after it, entry count, total length, original length, final length,
// file id, signature (16), name length and name; then the entries, each an
// offset (8), a length (4), the checksum of the written bytes (4) and, for
// a piece within the original length, its original bytes.
class CxJournal
{
public:
    enum State {
        Absent,  // no journal: the file is as the last change left it
        Hot,     // a whole journal of this file: the file must be rolled back
        Torn,    // cut short or garbled: never played back
        Foreign, // a whole journal, but of another file or of other
                 // contents than the file holds: never played back
        Unsafe,  // a link, not a regular file, or another user's: never
                 // read, and no change can be made beside it
    };

    struct Entry
    {
        int64_t offset;
        int32_t length;
        uint32_t written; // checksum of the bytes the change writes here
        std::vector<unsigned char> bytes; // the original ones; none when appended
    };

    // A piece of the file that a change writes: `after` as it writes it,
    // `before` as the file holds it now for the part within the original
    // length (may be null when the piece lies past it).
    struct Piece
    {
        int64_t offset;
        int64_t length;
        const unsigned char* before;
        const unsigned char* after;
    };

    // Reads `length` bytes of the data file at `offset`.
    using Reader = std::function<bool(int64_t offset, unsigned char* buffer, int64_t length)>;

    ~CxJournal() { clear(); }

    // "<data file>-journal".
    static std::string pathFor(const std::string& dataPath);
    static std::string nameOf(const std::string& path);
    // "<journal>.stale-YYYYMMDD-HHMMSS", local time now: where a journal
    // that must not be played back is kept.
    static std::string stalePathFor(const std::string& journalPath);

    // Starts a journal for a file `originalLength` bytes long; the old
    // entries' bytes are wiped, as they may be record contents.
    void clear(int64_t originalLength = 0);
    // A piece the change writes: `after` as it writes it, `before` as the
    // file holds it now for the part within the original length (null
    // when the piece lies past it).
    void add(int64_t offset, const unsigned char* before, const unsigned char* after, int64_t length);
    void setFinalLength(int64_t length) { m_finalLength = length; }
    std::vector<unsigned char> encode(const CxJournalId& id) const;
    // Writes through `io` the bytes that add() for each piece, in ascending
    // order of offset, and encode() would give, without keeping the pieces
    // or making them one copy. Does not sync.
    static bool write(CxIo& io, const CxJournalId& id, int64_t originalLength, int64_t finalLength,
                      const std::vector<Piece>& pieces);

    // Reads the journal at `path` for the open data file `data` known as
    // `id`. Absent when there is no such file.
    State load(CxIo& io, const std::string& path, const CxJournalId& id, CxIo& data);
    // The same for a data file `dataLength` bytes long, read through `read`.
    State load(CxIo& io, const std::string& path, const CxJournalId& id, int64_t dataLength, const Reader& read);
    // The same for a journal's bytes and a data file `dataLength` bytes long.
    State decode(const std::vector<unsigned char>& raw, const CxJournalId& id, int64_t dataLength,
                 const Reader& read);

    // Writes the original bytes back, cuts the file to its original length
    // and syncs it.
    bool playBack(CxIo& data) const;
    // The same, on a copy of the file's bytes in memory (a std::vector or
    // a QByteArray).
    template <typename Bytes>
    void applyTo(Bytes& image) const
    {
        image.resize(decltype(image.size())(m_originalLength));
        for (const Entry& e : m_entries)
            std::copy(e.bytes.begin(), e.bytes.end(), image.begin() + e.offset);
    }

    int64_t originalLength() const { return m_originalLength; }
    const std::vector<Entry>& entries() const { return m_entries; }

private:
    bool fits(int64_t dataLength, const Reader& read) const;

    std::vector<Entry> m_entries;
    int64_t m_originalLength = 0;
    int64_t m_finalLength = 0;
};

#endif
