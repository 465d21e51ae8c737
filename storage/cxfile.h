#ifndef VAULTIX_STORAGE_CXFILE_H
#define VAULTIX_STORAGE_CXFILE_H

#include "storage/cxbytes.h"
#include "storage/cxio.h"
#include "storage/cxjournal.h"
#include "storage/cxlayout.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// The on-disk header, 36 bytes, all integers little-endian.
struct CxFileHeader
{
    char signature[16];
    int32_t versionMajor;
    int32_t versionMinor;
    int32_t blockSize;
    int32_t firstIndexBlock;
    int32_t freeListHead;
};

// A keyed record file: fixed-size blocks holding variable-length records
// under unique 32-bit keys, kept in key order by a chain of index blocks.
// Every change (one add, update or delete, or a whole transaction) is
// all-or-nothing on disk: its writes are gathered in memory, the original
// bytes they replace go to a rollback journal beside the file, which is
// synced first, then the writes go out and are synced, and the journal is
// removed. Open plays back a journal left by a crash. The file's own bytes
// are the same as if every write had gone straight to it.
//
// Open reads the whole file once, in one read, and every later read comes
// from that copy, which each write keeps equal to the file: walks and reads
// cost no system calls. A change writes into the copy and keeps the original
// bytes of each piece it touches; its commit takes the journal from them and
// writes each run of adjacent pieces in one call.
class CxFile
{
public:
    // All file access goes through `io` when given (not owned; it must
    // outlive the object), else through the real file system; the same for
    // the journal through `journalIo`.
    explicit CxFile(const char* signature, CxIo* io = nullptr, CxIo* journalIo = nullptr);
    virtual ~CxFile();

    // 0 on success; -1 missing file, -2 cannot open, -3 too short, longer
    // than 32-bit offsets reach, or foreign. A journal left by an
    // interrupted change is played back first (-2 when that fails);
    // journalState() tells what was found. A whole journal that does not
    // fit the file is moved aside (staleJournal()); one that is a link, not
    // a regular file or another user's is left alone, and every change
    // then fails.
    virtual int Open(const char* path);
    // Looks at the file's bytes, as they read once an interrupted change is
    // undone, before anything is written; false refuses the file.
    using Inspector = std::function<bool(const unsigned char* bytes, int64_t size)>;
    // As Open, but a file whose header is ours is first shown to `inspect`:
    // -4, with nothing written, when it refuses the file.
    int Open(const char* path, const Inspector& inspect);
    // As Open, on a file that may only be read: every change then fails
    // and nothing is ever written. A journal left by an interrupted change
    // is not played back, but the file reads as if it had been.
    int OpenReadOnly(const char* path, const Inspector& inspect = Inspector());
    // 0 on success, -2 when the file cannot be opened. A journal of ours
    // beside the path is removed: it cannot belong to a new file.
    virtual int Create(const char* path, unsigned blockSize, unsigned versionMajor, unsigned versionMinor);
    virtual int GetFileVersion(int& major, int& minor);
    virtual void Close();

    virtual bool FindRecord(int32_t key);
    virtual bool FindFirstRecord();
    virtual bool FindNextRecord();
    virtual bool FindLastRecord();
    virtual bool AddRecord(int32_t key, const char* data, int32_t size);
    // The smallest key from `from` on that no record has: one walk along
    // the index from `from`, as FindRecord(from) and FindNextRecord would
    // make it. The cursor is left on the index block where the walk ended,
    // with no current record, so that finding keys near the result does not
    // walk the index again.
    int32_t FirstFreeKey(int32_t from);
    virtual bool ReadRecordKey(int32_t& key);
    virtual bool ReadRecordSize(int32_t& size);
    // The buffer must hold at least ReadRecordSize() bytes; never more is written.
    virtual bool ReadRecord(char* buffer, int32_t& size);
    virtual bool UpdateRecord(const char* data, int32_t size);
    virtual bool DeleteRecord();
    virtual void FlushToDisk();
    virtual void WriteHeader();
    virtual int32_t GetFreeBlock();
    virtual void FreeBlock(int32_t offset);
    virtual void SplitIndexBlock(int32_t key);

    // Changes between the two are one change on disk. Nested pairs join the
    // outermost, whose commit writes; see CxTransaction. Commit says whether
    // the change reached the disk (for an inner pair: whether nothing has
    // failed yet). On failure the file is as before the change: when a
    // write, sync or truncation of the file or the journal's removal fails,
    // the journal's bytes are put back at once. The object then forgets the
    // change and reads the file as it is. Only when even that fails does it
    // take no more changes, and the journal rolls the file back at the next
    // open. lastError() tells why a commit failed.
    void BeginTransaction();
    bool CommitTransaction();
    // Marks the open transaction as failed: its commit writes nothing and
    // forgets the change (for a change found wrong halfway).
    void AbortTransaction()
    {
        if (m_depth > 0)
            m_failed = true;
    }
    bool inTransaction() const { return m_depth > 0; }

    // Why the last commit failed: the errno of the failing call (ELOOP,
    // EINVAL or EPERM: the journal's path is a link, not a regular file, or
    // another user's) and a sentence naming the file and the cause; 0 and
    // empty after a commit that succeeded. After an open that returned -2,
    // why the file could not be opened or read.
    int lastError() const { return m_error; }
    const std::string& lastErrorText() const { return m_errorText; }

    // The journal that the last Open found: Absent, Hot (played back, or
    // read through when read-only), Torn (left alone), Foreign (moved
    // aside when the file is open for writing) or Unsafe (left alone).
    CxJournal::State journalState() const { return m_journalState; }
    // Where Open moved a journal that did not fit the file; empty when none.
    const std::string& staleJournal() const { return m_staleJournal; }
    // Looks at the journal beside `path` without writing anything; a hot
    // one is loaded into `journal` when given.
    static CxJournal::State InspectJournal(const char* path, const char* signature, CxJournal* journal = nullptr);

    // The largest file the format's 32-bit offsets can address.
    static constexpr int64_t MaxFileSize = INT32_MAX;

    bool isOpen() const { return m_io->isOpen(); }
    bool isReadOnly() const { return m_readOnly; }
    const CxFileHeader& header() const { return m_header; }

    // The file's bytes as this object reads them: the open change's
    // writes included, and, read-only, a hot journal's original bytes.
    const unsigned char* bytes() const { return m_image.data(); }
    int64_t size() const { return m_image.size(); }

private:
    int32_t blockSize() const { return m_header.blockSize; }
    int capacity() const { return CxLayout::capacity(m_header.blockSize); }
    bool plausibleLength(int32_t length) const;
    int64_t maxBlocks() const;
    bool usable(int64_t offset) const;
    int openAs(const char* path, CxIo::Mode mode, const Inspector& inspect);
    bool writable() const { return isOpen() && !m_readOnly && !m_stuck; }
    CxJournalId journalId();
    int64_t pageOf(int64_t offset) const;
    int64_t pageLength(int64_t page) const;
    size_t pageIndex(int64_t page) const;
    bool readRaw(int64_t offset, void* buffer, int64_t length) const;
    bool stage(int64_t offset, const unsigned char* buffer, int64_t length);
    bool keepOriginal(int64_t page);
    bool writeOut();
    bool writeRuns(const std::vector<CxJournal::Piece>& pieces, bool originals);
    bool fail(int error, const std::string& what, bool withReason = true);
    void clearError();
    void forgetChange();
    void dropUndo();
    bool put(int64_t offset, const void* buffer, int64_t length);
    bool writeBlock(int32_t offset, const unsigned char* block);
    bool loadIndexBlock(int32_t offset, unsigned char* block);
    int entryCount(const unsigned char* block) const;
    bool hasCurrentEntry() const;
    bool addRecord(int32_t key, const char* data, int32_t size);
    bool updateRecord(const char* data, int32_t size);
    bool deleteRecord();
    void writeDataChain(int32_t first, const char* data, int32_t size);
    void freeDataChain(int32_t first);
    void freeBuffers();

    char m_signature[CxLayout::SignatureSize];
    CxPosixIo m_posixIo;
    CxPosixIo m_posixJournalIo;
    CxIo* m_io;
    CxIo* m_journalIo;
    std::string m_path;
    CxFileHeader m_header;
    unsigned char* m_dataBlock;
    unsigned char* m_indexBlock;
    size_t m_bufferSize = 0;
    int m_currentEntry;

    // Guards against damaged files: the file's length (blocks are only ever
    // appended) and how many index blocks the current walk has visited.
    int64_t m_fileSize;
    int64_t m_walkSteps;

    // The whole file, m_fileSize bytes, as the open change has it.
    CxBytes m_image;
    bool m_readOnly = false;

    // The open transaction: its depth, the file's length when it began,
    // and the pieces of the file it has written so far (the header, and
    // blocks on the grid after it), each with its original bytes within
    // that length, in the order first written. None of it is on disk yet.
    struct Original
    {
        int64_t page;
        int64_t at;   // in m_originals
        int64_t kept; // bytes kept: the part within the original length
    };
    int m_depth = 0;
    bool m_headerDirty = false; // m_header changed within the open change
    int64_t m_originalSize = 0;
    bool m_failed = false;
    bool m_stuck = false;
    std::vector<Original> m_touched;
    std::vector<unsigned char> m_isTouched; // by page index
    CxBytes m_originals;
    CxJournal m_journal;
    CxJournal::State m_journalState = CxJournal::Absent;
    std::string m_staleJournal;
    int m_error = 0;
    std::string m_errorText;
};

#endif
