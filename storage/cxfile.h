#ifndef VAULTIX_STORAGE_CXFILE_H
#define VAULTIX_STORAGE_CXFILE_H

#include "storage/cxio.h"
#include "storage/cxlayout.h"

#include <cstddef>
#include <cstdint>
#include <map>
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
// Every change is written through and synced at once. Index blocks are
// kept in memory once read, as exact copies of the file's bytes, so walks
// cost no system calls.
class CxFile
{
public:
    // All file access goes through `io` when given (not owned; it must
    // outlive the object), else through the real file system.
    explicit CxFile(const char* signature, CxIo* io = nullptr);
    virtual ~CxFile();

    // 0 on success; -1 missing file, -2 cannot open, -3 too short or foreign.
    virtual int Open(const char* path);
    // As Open, on a file that may only be read: every change then fails
    // and nothing is ever written.
    int OpenReadOnly(const char* path);
    // 0 on success, -2 when the file cannot be opened.
    virtual int Create(const char* path, unsigned blockSize, unsigned versionMajor, unsigned versionMinor);
    virtual int GetFileVersion(int& major, int& minor);
    virtual void Close();

    virtual bool FindRecord(int32_t key);
    virtual bool FindFirstRecord();
    virtual bool FindNextRecord();
    virtual bool FindLastRecord();
    virtual bool AddRecord(int32_t key, const char* data, int32_t size);
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

    bool isOpen() const { return m_io->isOpen(); }
    bool isReadOnly() const { return m_readOnly; }
    const CxFileHeader& header() const { return m_header; }

    // The index block cache is on by default; off, every walk reads the
    // file as the cache-less engine did (for comparison in tests and
    // benchmarks). Switching empties it.
    void setIndexCache(bool on);
    // Memory the cached blocks take, in bytes.
    size_t indexCacheBytes() const;

private:
    int32_t blockSize() const { return m_header.blockSize; }
    int capacity() const { return CxLayout::capacity(m_header.blockSize); }
    bool plausibleLength(int32_t length) const;
    int64_t maxBlocks() const;
    bool usable(int64_t offset) const;
    int openAs(const char* path, CxIo::Mode mode);
    bool writable() const { return isOpen() && !m_readOnly; }
    bool fetch(int64_t offset, void* buffer, int64_t length);
    bool put(int64_t offset, const void* buffer, int64_t length);
    bool readBlock(int32_t offset, unsigned char* block);
    bool writeBlock(int32_t offset, const unsigned char* block);
    bool loadIndexBlock(int32_t offset, unsigned char* block);
    int entryCount(const unsigned char* block) const;
    bool hasCurrentEntry() const;
    void writeDataChain(int32_t first, const char* data, int32_t size);
    void freeDataChain(int32_t first);
    void freeBuffers();

    char m_signature[CxLayout::SignatureSize];
    CxPosixIo m_posixIo;
    CxIo* m_io;
    CxFileHeader m_header;
    unsigned char* m_dataBlock;
    unsigned char* m_indexBlock;
    int m_currentEntry;

    // Guards against damaged files: the file's length (blocks are only ever
    // appended) and how many index blocks the current walk has visited.
    int64_t m_fileSize;
    int64_t m_walkSteps;

    // Blocks read as index blocks, by offset, byte for byte as in the file:
    // every write patches the copies it overlaps. At most one entry per
    // block the file can hold, so damage cannot make it grow further.
    std::map<int32_t, std::vector<unsigned char>> m_cache;
    bool m_cacheOn = true;
    bool m_readOnly = false;
};

#endif
