#include "storage/cxfile.h"

#include "storage/cxlayout.h"
#include "storage/cxtransaction.h"
#include "storage/le32.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <vector>


namespace {

using namespace CxLayout;

int32_t field(const unsigned char* block, int offset)
{
    return GetLE32(block + offset);
}

void setField(unsigned char* block, int offset, int32_t value)
{
    PutLE32(block + offset, value);
}

unsigned char* entry(unsigned char* block, int position)
{
    return block + entryAt(position);
}

int32_t entryKey(unsigned char* block, int position)
{
    return field(entry(block, position), EnKey);
}

void encodeHeader(const CxFileHeader& header, unsigned char* raw)
{
    std::memcpy(raw + HdSignature, header.signature, sizeof header.signature);
    PutLE32(raw + HdVersionMajor, header.versionMajor);
    PutLE32(raw + HdVersionMinor, header.versionMinor);
    PutLE32(raw + HdBlockSize, header.blockSize);
    PutLE32(raw + HdFirstIndex, header.firstIndexBlock);
    PutLE32(raw + HdFreeHead, header.freeListHead);
}

void decodeHeader(const unsigned char* raw, CxFileHeader& header)
{
    std::memcpy(header.signature, raw + HdSignature, sizeof header.signature);
    header.versionMajor = GetLE32(raw + HdVersionMajor);
    header.versionMinor = GetLE32(raw + HdVersionMinor);
    header.blockSize = GetLE32(raw + HdBlockSize);
    header.firstIndexBlock = GetLE32(raw + HdFirstIndex);
    header.freeListHead = GetLE32(raw + HdFreeHead);
}

} // namespace

CxFile::CxFile(const char* signature, CxIo* io, CxIo* journalIo)
    : m_posixJournalIo(true)
    , m_io(io ? io : &m_posixIo)
    , m_journalIo(journalIo ? journalIo : &m_posixJournalIo)
    , m_dataBlock(nullptr)
    , m_indexBlock(nullptr)
    , m_currentEntry(-1)
    , m_fileSize(0)
    , m_walkSteps(0)
{
    std::memset(m_signature, 0, sizeof m_signature);
    if (signature)
        std::strncpy(m_signature, signature, sizeof m_signature - 1);
    std::memset(&m_header, 0, sizeof m_header);
}

CxFile::~CxFile()
{
    Close();
}

int CxFile::Open(const char* path)
{
    return openAs(path, CxIo::Mode::ReadWrite);
}

int CxFile::OpenReadOnly(const char* path)
{
    return openAs(path, CxIo::Mode::ReadOnly);
}

int CxFile::openAs(const char* path, CxIo::Mode mode)
{
    if (isOpen())
        Close();
    if (const int error = m_io->open(path, mode))
        return error == ENOENT ? -1 : -2;
    m_readOnly = mode == CxIo::Mode::ReadOnly;
    m_stuck = false;
    m_path = path;
    m_staleJournal.clear();
    clearError();

    int64_t size = m_io->size();
    // No offset in the file can reach past this: such a file is not ours,
    // and nothing of it is read.
    if (size > MaxFileSize) {
        Close();
        return -3;
    }
    const std::string journal = CxJournal::pathFor(m_path);
    m_journalState = m_journal.load(*m_journalIo, journal, journalId(), *m_io);
    if (m_journalState == CxJournal::Hot) {
        if (m_readOnly) {
            // Read through the original bytes instead of writing them back.
            for (const CxJournal::Entry& e : m_journal.entries()) {
                if (!e.bytes.empty())
                    m_overlay[e.offset] = e.bytes;
            }
        } else {
            if (!m_journal.playBack(*m_io)) {
                m_journal.clear();
                Close();
                return -2;
            }
            // Should the removal fail, the journal still fits the file as
            // it is now, and playing it back again changes nothing.
            m_journalIo->remove(journal.c_str());
        }
        size = m_journal.originalLength();
    } else if (m_journalState == CxJournal::Foreign && !m_readOnly) {
        // Kept for whoever wants to look at it, out of the way of the next
        // change's journal.
        const std::string aside = CxJournal::stalePathFor(journal);
        if (m_journalIo->rename(journal.c_str(), aside.c_str()))
            m_staleJournal = aside;
    }
    m_journal.clear();

    unsigned char raw[HeaderSize];
    if (size < HeaderSize || !readRaw(0, raw, HeaderSize)
        || std::strncmp(reinterpret_cast<const char*>(raw), m_signature, sizeof m_signature) != 0) {
        Close();
        return -3;
    }
    decodeHeader(raw, m_header);
    // A block size our writer can never produce would make every block
    // computation meaningless; such a file is not ours.
    if (m_header.blockSize < MinBlockSize || m_header.blockSize > MaxBlockSize) {
        Close();
        return -3;
    }
    m_fileSize = size;

    m_dataBlock = new unsigned char[size_t(blockSize())]();
    m_indexBlock = new unsigned char[size_t(blockSize())]();
    if (m_header.firstIndexBlock > 0)
        loadIndexBlock(m_header.firstIndexBlock, m_indexBlock);
    m_currentEntry = -1;
    m_walkSteps = 0;
    return 0;
}

int CxFile::Create(const char* path, unsigned blockSize, unsigned versionMajor, unsigned versionMinor)
{
    if (isOpen())
        Close();
    if (m_io->open(path, CxIo::Mode::Create) != 0)
        return -2;
    m_readOnly = false;
    m_stuck = false;
    m_path = path;
    m_staleJournal.clear();
    clearError();
    // A journal of ours cannot belong to a new file; one we could not have
    // made is left where it is, and refuses every change.
    const std::string journal = CxJournal::pathFor(m_path);
    m_journalState = CxJournal::Absent;
    if (m_journalIo->open(journal.c_str(), CxIo::Mode::ReadOnly) == 0) {
        m_journalIo->close();
        m_journalIo->remove(journal.c_str());
    }

    unsigned size = std::min(std::max(blockSize, unsigned(MinBlockSize)), unsigned(MaxBlockSize));
    unsigned rounded = MinBlockSize;
    while (rounded < size)
        rounded <<= 1;

    std::memcpy(m_header.signature, m_signature, sizeof m_header.signature);
    m_header.versionMajor = int32_t(versionMajor);
    m_header.versionMinor = int32_t(versionMinor);
    m_header.blockSize = int32_t(rounded);
    m_header.firstIndexBlock = -1;
    m_header.freeListHead = -1;
    WriteHeader();
    m_fileSize = std::max<int64_t>(m_io->size(), HeaderSize);

    m_dataBlock = new unsigned char[rounded]();
    m_indexBlock = new unsigned char[rounded]();
    m_currentEntry = -1;
    m_walkSteps = 0;
    return 0;
}

int CxFile::GetFileVersion(int& major, int& minor)
{
    major = m_header.versionMajor;
    minor = m_header.versionMinor;
    return major;
}

void CxFile::Close()
{
    if (m_depth > 0) {
        m_depth = 1;
        CommitTransaction();
    }
    dropOverlay();
    if (!isOpen())
        return;
    m_io->close();
    m_currentEntry = -1;
    m_cache.clear();
    freeBuffers();
}

void CxFile::setIndexCache(bool on)
{
    m_cacheOn = on;
    m_cache.clear();
}

size_t CxFile::indexCacheBytes() const
{
    // Each entry: its block, plus the tree node with its key and vector.
    constexpr size_t node = 4 * sizeof(void*) + sizeof(int32_t) + sizeof(std::vector<unsigned char>);
    return m_cache.size() * (node + size_t(std::max(blockSize(), 0)));
}

void CxFile::freeBuffers()
{
    // The data buffer held record bytes; don't leave them in freed memory.
    const size_t size = size_t(std::max(blockSize(), 0));
    if (m_dataBlock)
        std::memset(m_dataBlock, 0, size);
    if (m_indexBlock)
        std::memset(m_indexBlock, 0, size);
    delete[] m_dataBlock;
    delete[] m_indexBlock;
    m_dataBlock = nullptr;
    m_indexBlock = nullptr;
}

int64_t CxFile::maxBlocks() const
{
    return (m_fileSize - HeaderSize) / blockSize() + 1;
}

bool CxFile::usable(int64_t offset) const
{
    return offset >= HeaderSize && offset + blockSize() <= m_fileSize;
}

// Reads from a cached block when one holds the whole range.
bool CxFile::fetch(int64_t offset, void* buffer, int64_t length)
{
    auto it = m_cache.upper_bound(int32_t(std::min<int64_t>(offset, INT32_MAX)));
    if (it != m_cache.begin()) {
        --it;
        if (offset + length <= int64_t(it->first) + blockSize()) {
            std::memcpy(buffer, it->second.data() + (offset - it->first), size_t(length));
            return true;
        }
    }
    return readRaw(offset, buffer, length);
}

// Writes through, and keeps every cached block that the range touches
// equal to the file (or drops it when the write failed and the file's
// bytes are unknown).
bool CxFile::put(int64_t offset, const void* buffer, int64_t length)
{
    if (m_readOnly || m_stuck)
        return false;
    const bool written = m_depth > 0 ? stage(offset, static_cast<const unsigned char*>(buffer), length)
                                     : m_io->write(offset, buffer, length);
    if (!written && m_depth > 0)
        m_failed = true;
    auto it = m_cache.lower_bound(int32_t(std::max<int64_t>(offset - blockSize() + 1, INT32_MIN)));
    while (it != m_cache.end() && it->first < offset + length) {
        if (!written) {
            it = m_cache.erase(it);
            continue;
        }
        const int64_t from = std::max<int64_t>(offset, it->first);
        const int64_t to = std::min<int64_t>(offset + length, int64_t(it->first) + blockSize());
        std::memcpy(it->second.data() + (from - it->first), static_cast<const unsigned char*>(buffer) + (from - offset),
                    size_t(to - from));
        ++it;
    }
    return written;
}

bool CxFile::readBlock(int32_t offset, unsigned char* block)
{
    return usable(offset) && fetch(offset, block, blockSize());
}

bool CxFile::writeBlock(int32_t offset, const unsigned char* block)
{
    return usable(offset) && put(offset, block, blockSize());
}

bool CxFile::loadIndexBlock(int32_t offset, unsigned char* block)
{
    if (!usable(offset))
        return false;
    auto it = m_cache.find(offset);
    if (it != m_cache.end()) {
        std::memcpy(block, it->second.data(), size_t(blockSize()));
    } else {
        if (!readRaw(offset, block, blockSize()))
            return false;
        if (m_cacheOn && int64_t(m_cache.size()) < maxBlocks())
            m_cache.emplace(offset, std::vector<unsigned char>(block, block + blockSize()));
    }
    // A damaged block must not send its write-back elsewhere or claim
    // more entries than fit.
    setField(block, IxOwn, offset);
    setField(block, IxCount, entryCount(block));
    return true;
}

int CxFile::entryCount(const unsigned char* block) const
{
    return std::min(std::max(field(block, IxCount), 0), capacity());
}

bool CxFile::hasCurrentEntry() const
{
    return m_currentEntry >= 0 && m_currentEntry < entryCount(m_indexBlock);
}

bool CxFile::FindRecord(int32_t key)
{
    m_currentEntry = -1;
    if (!isOpen() || m_header.firstIndexBlock < 1)
        return false;
    m_walkSteps = 0;

    bool movedForward = false;
    bool movedBackward = false;
    for (int64_t steps = 0;; ++steps) {
        int32_t to;
        if (key < field(m_indexBlock, IxLowest) && !movedForward) {
            to = field(m_indexBlock, IxPrev);
            movedBackward = true;
        } else if (key > field(m_indexBlock, IxHighest) && !movedBackward) {
            to = field(m_indexBlock, IxNext);
            movedForward = true;
        } else {
            break;
        }
        if (to < 1 || steps >= maxBlocks() || !loadIndexBlock(to, m_indexBlock))
            return false;
    }

    const int count = entryCount(m_indexBlock);
    for (int i = 0; i < count; ++i) {
        if (entryKey(m_indexBlock, i) == key) {
            m_currentEntry = i;
            return true;
        }
    }
    return false;
}

bool CxFile::FindFirstRecord()
{
    m_walkSteps = 0;
    if (!isOpen() || m_header.firstIndexBlock < 1 || !loadIndexBlock(m_header.firstIndexBlock, m_indexBlock)
        || entryCount(m_indexBlock) < 1) {
        m_currentEntry = -1;
        return false;
    }
    m_currentEntry = 0;
    return true;
}

bool CxFile::FindNextRecord()
{
    if (!isOpen() || m_header.firstIndexBlock < 1) {
        m_currentEntry = -1;
        return false;
    }
    const int count = entryCount(m_indexBlock);
    // Repeated calls at the end stay one past the last entry.
    m_currentEntry = std::min(m_currentEntry + 1, count);
    if (m_currentEntry < count)
        return true;

    const int32_t next = field(m_indexBlock, IxNext);
    if (next < 0)
        return false;
    // Bounded so that a loop over a damaged, cyclic chain ends.
    if (++m_walkSteps > maxBlocks() || !loadIndexBlock(next, m_indexBlock))
        return false;
    if (entryCount(m_indexBlock) > 0) {
        m_currentEntry = 0;
        return true;
    }
    m_currentEntry = -1;
    return false;
}

bool CxFile::FindLastRecord()
{
    m_walkSteps = 0;
    const int32_t first = m_header.firstIndexBlock;
    if (!isOpen() || first < 1 || !loadIndexBlock(first, m_indexBlock)) {
        m_currentEntry = -1;
        return false;
    }
    const int64_t limit = maxBlocks();
    for (int64_t steps = 0; steps < limit; ++steps) {
        const int32_t next = field(m_indexBlock, IxNext);
        if (next < 1 || !loadIndexBlock(next, m_indexBlock))
            break;
    }
    for (int64_t steps = 0; steps < limit; ++steps) {
        if (entryCount(m_indexBlock) >= 1 || field(m_indexBlock, IxOwn) <= first)
            break;
        const int32_t prev = field(m_indexBlock, IxPrev);
        if (prev < 1 || !loadIndexBlock(prev, m_indexBlock))
            break;
    }
    const int count = entryCount(m_indexBlock);
    m_currentEntry = count < 1 ? -1 : count - 1;
    return count >= 1;
}

bool CxFile::AddRecord(int32_t key, const char* data, int32_t size)
{
    CxTransaction change(this);
    const bool added = addRecord(key, data, size);
    return change.commit() && added;
}

bool CxFile::addRecord(int32_t key, const char* data, int32_t size)
{
    m_currentEntry = -1;
    if (!writable())
        return false;
    if (!data || size < 0)
        size = 0;
    if (FindRecord(key))
        return false;

    if (m_header.firstIndexBlock < 1) {
        const int32_t block = GetFreeBlock();
        const int32_t first = GetFreeBlock();
        if (block < 1 || first < 1)
            return false;
        setField(m_indexBlock, IxLowest, key);
        setField(m_indexBlock, IxHighest, key);
        setField(m_indexBlock, IxOwn, block);
        setField(m_indexBlock, IxNext, -1);
        setField(m_indexBlock, IxPrev, -1);
        setField(m_indexBlock, IxCount, 1);
        unsigned char* e = entry(m_indexBlock, 0);
        setField(e, EnKey, key);
        setField(e, EnFirst, first);
        setField(e, EnLength, size);
        m_currentEntry = 0;
        writeBlock(block, m_indexBlock);
        FlushToDisk();
        // The header names the new block only once it is on disk, so an
        // interrupted first add leaves an empty file rather than one whose
        // index is whatever the reserved block held.
        m_header.firstIndexBlock = block;
        WriteHeader();
        writeDataChain(first, data, size);
        FlushToDisk();
        return true;
    }

    // A key in the gap between two blocks stays in the block the walk
    // started from.
    std::vector<unsigned char> other(static_cast<size_t>(blockSize()));
    for (int64_t steps = 0; steps < maxBlocks(); ++steps) {
        if (key < field(m_indexBlock, IxLowest)) {
            const int32_t prev = field(m_indexBlock, IxPrev);
            if (prev < 1 || !loadIndexBlock(prev, other.data()) || field(other.data(), IxHighest) < key)
                break;
        } else if (key > field(m_indexBlock, IxHighest)) {
            const int32_t next = field(m_indexBlock, IxNext);
            if (next < 1 || !loadIndexBlock(next, other.data()) || field(other.data(), IxLowest) > key)
                break;
        } else {
            break;
        }
        std::memcpy(m_indexBlock, other.data(), other.size());
    }

    if (entryCount(m_indexBlock) >= capacity()) {
        SplitIndexBlock(key);
        if (entryCount(m_indexBlock) >= capacity())
            return false; // could not split (damaged file or no space)
    }

    const int32_t first = GetFreeBlock();
    if (first < 1)
        return false;
    if (key < field(m_indexBlock, IxLowest))
        setField(m_indexBlock, IxLowest, key);
    else if (key > field(m_indexBlock, IxHighest))
        setField(m_indexBlock, IxHighest, key);

    const int count = entryCount(m_indexBlock);
    int position = 0;
    for (int i = 0; i < count; ++i) {
        if (entryKey(m_indexBlock, i) < key)
            ++position;
    }
    std::memmove(entry(m_indexBlock, position + 1), entry(m_indexBlock, position),
                 size_t(count - position) * IndexEntrySize);
    unsigned char* e = entry(m_indexBlock, position);
    setField(e, EnKey, key);
    setField(e, EnFirst, first);
    setField(e, EnLength, size);
    setField(m_indexBlock, IxCount, count + 1);
    m_currentEntry = position;

    writeBlock(field(m_indexBlock, IxOwn), m_indexBlock);
    WriteHeader();
    writeDataChain(first, data, size);
    FlushToDisk();
    return true;
}

void CxFile::SplitIndexBlock(int32_t key)
{
    if (!writable())
        return;
    unsigned char* a = m_indexBlock;
    const int count = entryCount(a);
    const int32_t aOffset = field(a, IxOwn);
    if (count < 2 || !usable(aOffset))
        return;

    const int32_t lowest = field(a, IxLowest);
    const int32_t highest = field(a, IxHighest);
    bool before = true;
    int moving = count / 2;
    if (key > highest) {
        before = false;
    } else if (key >= lowest) {
        int less = 0;
        while (less < count && entryKey(a, less) < key)
            ++less;
        // The bounds can be wider than the entries, since deletion never
        // narrows them. When nothing would move, the key would land in the
        // still full block; when everything would move, A's new lowest key
        // would come from the unused slot after its entries. Split those in
        // halves instead, on the side where the key goes.
        if (less == count)
            before = false;
        else if (less > 0)
            moving = less;
    }

    const int32_t bOffset = GetFreeBlock();
    if (!usable(bOffset))
        return;
    std::vector<unsigned char> b(static_cast<size_t>(blockSize()));
    std::vector<unsigned char> neighbour(static_cast<size_t>(blockSize()));
    setField(b.data(), IxOwn, bOffset);
    setField(b.data(), IxCount, moving);

    // Write order: B first (nothing points at it yet), then the link to it,
    // then A without the moved entries, with a flush between each so the
    // order also holds on power loss. An interrupted split thus leaves
    // every key reachable, at worst listed in both blocks.
    if (before) {
        const int32_t prev = field(a, IxPrev);
        setField(b.data(), IxLowest, lowest);
        setField(b.data(), IxHighest, lowest);
        setField(b.data(), IxNext, aOffset);
        setField(b.data(), IxPrev, prev);
        for (int i = 0; i < moving; ++i) {
            std::memcpy(entry(b.data(), i), entry(a, i), IndexEntrySize);
            setField(b.data(), IxHighest, entryKey(a, i));
            setField(a, IxLowest, entryKey(a, i + 1));
        }
        std::memmove(entry(a, 0), entry(a, moving), size_t(count - moving) * IndexEntrySize);
        setField(a, IxCount, count - moving);
        setField(a, IxPrev, bOffset);

        writeBlock(bOffset, b.data());
        FlushToDisk();
        if (prev > 0 && loadIndexBlock(prev, neighbour.data())) {
            setField(neighbour.data(), IxNext, bOffset);
            writeBlock(prev, neighbour.data());
            FlushToDisk();
        } else {
            m_header.firstIndexBlock = bOffset;
            WriteHeader();
        }
        writeBlock(aOffset, a);
    } else {
        const int32_t next = field(a, IxNext);
        setField(b.data(), IxLowest, highest);
        setField(b.data(), IxHighest, highest);
        setField(b.data(), IxNext, next);
        setField(b.data(), IxPrev, aOffset);
        for (int i = count - 1, j = moving - 1; j >= 0; --i, --j) {
            std::memcpy(entry(b.data(), j), entry(a, i), IndexEntrySize);
            setField(b.data(), IxLowest, entryKey(a, i));
            setField(a, IxHighest, entryKey(a, i - 1));
        }
        setField(a, IxCount, count - moving);
        setField(a, IxNext, bOffset);

        writeBlock(bOffset, b.data());
        FlushToDisk();
        if (next > 0 && loadIndexBlock(next, neighbour.data())) {
            setField(neighbour.data(), IxPrev, bOffset);
            writeBlock(next, neighbour.data());
            FlushToDisk();
        }
        writeBlock(aOffset, a);
    }

    if (key < field(a, IxLowest) || key > field(a, IxHighest))
        std::memcpy(m_indexBlock, b.data(), b.size());
}

bool CxFile::ReadRecordKey(int32_t& key)
{
    if (!isOpen() || !hasCurrentEntry())
        return false;
    key = field(entry(m_indexBlock, m_currentEntry), EnKey);
    return true;
}

// No record can be longer than the file holding it: a damaged length must
// not make a caller allocate for it.
bool CxFile::plausibleLength(int32_t length) const
{
    return length >= 0 && length <= m_fileSize - HeaderSize;
}

bool CxFile::ReadRecordSize(int32_t& size)
{
    if (!isOpen() || !hasCurrentEntry())
        return false;
    const int32_t length = field(entry(m_indexBlock, m_currentEntry), EnLength);
    if (!plausibleLength(length))
        return false;
    size = length;
    return true;
}

bool CxFile::ReadRecord(char* buffer, int32_t& size)
{
    size = 0;
    if (!isOpen() || !hasCurrentEntry())
        return false;
    const unsigned char* e = entry(m_indexBlock, m_currentEntry);
    const int32_t length = field(e, EnLength);
    if (!plausibleLength(length))
        return false;
    const int32_t payload = CxLayout::payload(blockSize());
    int32_t offset = field(e, EnFirst);
    for (int64_t steps = 0; offset >= 1 && steps < maxBlocks(); ++steps) {
        if (!readBlock(offset, m_dataBlock))
            break;
        // A lying length or used count never makes us write past the
        // caller's buffer.
        const int32_t used = std::min(std::min(std::max(field(m_dataBlock, DbUsed), 0), payload), length - size);
        if (used > 0 && buffer)
            std::memcpy(buffer + size, m_dataBlock + DataHeadSize, size_t(used));
        size += used;
        offset = field(m_dataBlock, DbNext);
    }
    return true;
}

void CxFile::writeDataChain(int32_t first, const char* data, int32_t size)
{
    const int32_t payload = CxLayout::payload(blockSize());
    setField(m_dataBlock, DbPrev, -1);
    if (size <= 0) {
        setField(m_dataBlock, DbNext, -1);
        setField(m_dataBlock, DbUsed, 0);
        writeBlock(first, m_dataBlock);
        return;
    }
    int32_t offset = first;
    int32_t done = 0;
    while (done < size && offset >= 1) {
        const int32_t used = std::min(size - done, payload);
        setField(m_dataBlock, DbUsed, used);
        std::memcpy(m_dataBlock + DataHeadSize, data + done, size_t(used));
        done += used;
        const int32_t next = done < size ? GetFreeBlock() : -1;
        setField(m_dataBlock, DbNext, next);
        writeBlock(offset, m_dataBlock);
        setField(m_dataBlock, DbPrev, offset);
        offset = next;
    }
}

void CxFile::freeDataChain(int32_t first)
{
    int32_t offset = first;
    const int64_t limit = maxBlocks();
    for (int64_t steps = 0; offset >= 1 && steps < limit; ++steps) {
        if (!readBlock(offset, m_dataBlock))
            break;
        const int32_t next = field(m_dataBlock, DbNext);
        FreeBlock(offset);
        offset = next;
    }
}

bool CxFile::UpdateRecord(const char* data, int32_t size)
{
    CxTransaction change(this);
    const bool updated = updateRecord(data, size);
    return change.commit() && updated;
}

bool CxFile::updateRecord(const char* data, int32_t size)
{
    if (!writable() || !hasCurrentEntry())
        return false;
    if (!data || size < 0)
        size = 0;
    unsigned char* e = entry(m_indexBlock, m_currentEntry);
    freeDataChain(field(e, EnFirst));
    const int32_t first = GetFreeBlock();
    setField(e, EnFirst, first);
    setField(e, EnLength, first < 1 ? 0 : size);
    if (first >= 1)
        writeDataChain(first, data, size);
    writeBlock(field(m_indexBlock, IxOwn), m_indexBlock);
    FlushToDisk();
    return first >= 1;
}

bool CxFile::DeleteRecord()
{
    CxTransaction change(this);
    const bool deleted = deleteRecord();
    return change.commit() && deleted;
}

bool CxFile::deleteRecord()
{
    if (!writable() || !hasCurrentEntry())
        return false;
    freeDataChain(field(entry(m_indexBlock, m_currentEntry), EnFirst));

    const int count = entryCount(m_indexBlock);
    const int32_t own = field(m_indexBlock, IxOwn);
    if (count < 2) {
        const int32_t prev = field(m_indexBlock, IxPrev);
        const int32_t next = field(m_indexBlock, IxNext);
        std::vector<unsigned char> prevBlock(static_cast<size_t>(blockSize()));
        std::vector<unsigned char> nextBlock(static_cast<size_t>(blockSize()));
        const bool hasPrev = prev > 0 && loadIndexBlock(prev, prevBlock.data());
        const bool hasNext = next > 0 && loadIndexBlock(next, nextBlock.data());
        if (hasPrev) {
            setField(prevBlock.data(), IxNext, next);
            writeBlock(prev, prevBlock.data());
        }
        if (hasNext) {
            setField(nextBlock.data(), IxPrev, prev);
            writeBlock(next, nextBlock.data());
        }
        if (!hasPrev) {
            m_header.firstIndexBlock = hasNext ? next : -1;
            WriteHeader();
        } else {
            // The block must be out of the chain on disk before it is reused.
            FlushToDisk();
        }
        FreeBlock(own);
    } else {
        std::memmove(entry(m_indexBlock, m_currentEntry), entry(m_indexBlock, m_currentEntry + 1),
                     size_t(count - m_currentEntry - 1) * IndexEntrySize);
        setField(m_indexBlock, IxCount, count - 1);
        writeBlock(own, m_indexBlock);
    }

    m_currentEntry = -1;
    WriteHeader();
    FindFirstRecord();
    return true;
}

// Inside a transaction nothing has reached the file yet: its commit syncs.
void CxFile::FlushToDisk()
{
    if (writable() && m_depth == 0)
        m_io->sync();
}

void CxFile::WriteHeader()
{
    if (!writable())
        return;
    unsigned char raw[HeaderSize];
    encodeHeader(m_header, raw);
    put(0, raw, HeaderSize);
    FlushToDisk();
}

int32_t CxFile::GetFreeBlock()
{
    if (!writable())
        return -1;
    int32_t result = -1;
    const int32_t head = m_header.freeListHead;
    unsigned char link[4];
    if (head > 0 && usable(head) && fetch(head + FrNext, link, sizeof link)) {
        result = head;
        m_header.freeListHead = GetLE32(link);
    } else {
        // A head outside the file is damage: leave the list alone and grow.
        // Blocks are only appended, so the end is known without asking.
        const int64_t end = m_fileSize;
        if (end < HeaderSize || end + blockSize() > INT32_MAX || !put(end, m_dataBlock, blockSize()))
            return -1;
        result = int32_t(end);
        m_fileSize = std::max<int64_t>(m_fileSize, end + blockSize());
    }
    WriteHeader();
    return result;
}

void CxFile::FreeBlock(int32_t offset)
{
    if (!writable() || offset <= 0 || !usable(offset))
        return;
    unsigned char link[4];
    unsigned char old[4];
    PutLE32(link, m_header.freeListHead);
    // The header must not name the block before its link is on disk: a
    // disk may write the header first, and a stale first word (an index
    // block's lowest key) would then hand out a live block. The common case,
    // a data chain freed front to back, finds the link there already.
    if (!fetch(offset + FrNext, old, sizeof old) || std::memcmp(old, link, sizeof link) != 0) {
        put(offset + FrNext, link, sizeof link);
        FlushToDisk();
    }
    m_header.freeListHead = offset;
    WriteHeader();
}

CxJournalId CxFile::journalId()
{
    CxJournalId id;
    id.fileId = m_io->fileId();
    id.name = CxJournal::nameOf(m_path);
    id.signature = m_signature;
    return id;
}

CxJournal::State CxFile::InspectJournal(const char* path, const char* signature, CxJournal* journal)
{
    CxPosixIo data;
    CxPosixIo journalIo(true);
    if (!path || data.open(path, CxIo::Mode::ReadOnly) != 0)
        return CxJournal::Absent;
    CxJournalId id;
    id.fileId = data.fileId();
    id.name = CxJournal::nameOf(path);
    id.signature = signature ? signature : "";
    CxJournal found;
    CxJournal& into = journal ? *journal : found;
    return into.load(journalIo, CxJournal::pathFor(path), id, data);
}

// The header is one piece, every block another: a write never spans two.
int64_t CxFile::pageOf(int64_t offset) const
{
    return offset < HeaderSize ? 0 : HeaderSize + (offset - HeaderSize) / blockSize() * blockSize();
}

int64_t CxFile::pageLength(int64_t page) const
{
    return page == 0 ? HeaderSize : blockSize();
}

// The file's bytes as the open transaction (or, read-only, the journal)
// has them.
bool CxFile::readRaw(int64_t offset, void* buffer, int64_t length)
{
    if (m_overlay.empty())
        return m_io->read(offset, buffer, length);
    auto it = m_overlay.upper_bound(offset);
    if (it != m_overlay.begin()) {
        --it;
        if (offset + length <= it->first + int64_t(it->second.size())) {
            std::memcpy(buffer, it->second.data() + (offset - it->first), size_t(length));
            return true;
        }
    }
    if (!m_io->read(offset, buffer, length))
        return false;
    it = m_overlay.lower_bound(offset - MaxBlockSize);
    for (; it != m_overlay.end() && it->first < offset + length; ++it) {
        const int64_t from = std::max(offset, it->first);
        const int64_t to = std::min(offset + length, it->first + int64_t(it->second.size()));
        if (from < to)
            std::memcpy(static_cast<unsigned char*>(buffer) + (from - offset), it->second.data() + (from - it->first),
                        size_t(to - from));
    }
    return true;
}

// Keeps a write of the open transaction in memory, piece by piece; a piece
// first written in part starts as the file holds it.
bool CxFile::stage(int64_t offset, const unsigned char* buffer, int64_t length)
{
    while (length > 0) {
        const int64_t page = pageOf(offset);
        const int64_t size = pageLength(page);
        auto it = m_overlay.find(page);
        if (it == m_overlay.end()) {
            std::vector<unsigned char> bytes(size_t(size), 0);
            const int64_t present = std::min(size, m_fileSize - page);
            const bool whole = offset == page && length >= size;
            if (!whole && present > 0 && !readRaw(page, bytes.data(), present))
                return false;
            it = m_overlay.emplace(page, std::move(bytes)).first;
        }
        const int64_t n = std::min(length, page + size - offset);
        std::memcpy(it->second.data() + (offset - page), buffer, size_t(n));
        offset += n;
        buffer += n;
        length -= n;
    }
    return true;
}

void CxFile::BeginTransaction()
{
    if (m_depth++ == 0) {
        m_originalSize = m_fileSize;
        m_failed = false;
        clearError();
    }
}

bool CxFile::CommitTransaction()
{
    if (m_depth == 0)
        return false;
    if (--m_depth > 0)
        return !m_failed;
    if (m_failed && m_error == 0)
        fail(m_stuck || m_readOnly ? EROFS : EIO, m_path + " cannot be changed");
    const bool ok = !m_failed && writeOut();
    if (!ok && !m_stuck)
        forgetChange();
    dropOverlay();
    m_failed = false;
    return ok;
}

// Journal first, synced; then the file, synced; then away with the journal.
// Should anything fail once the file was touched, the journal's bytes are
// put back at once, so that the file is as before whatever happens next.
bool CxFile::writeOut()
{
    if (m_overlay.empty())
        return true;
    if (!writable())
        return fail(EROFS, m_path + " is open for reading only");
    m_journal.clear(m_originalSize);
    m_journal.setFinalLength(m_fileSize);
    std::vector<unsigned char> original(static_cast<size_t>(MaxBlockSize));
    // A piece reaches past the end when the file's length is not a whole
    // number of blocks; what lies past it is never written.
    auto note = [&](int64_t offset, const unsigned char* after, int64_t size) {
        const int64_t n = std::min(size, m_fileSize - offset);
        const int64_t kept = std::min(n, m_originalSize - offset);
        if (n <= 0)
            return true;
        if (kept > 0 && !m_io->read(offset, original.data(), kept))
            return false;
        m_journal.add(offset, original.data(), after, n);
        return true;
    };
    bool ok = true;
    // The header is always in it, written or not: it tells this file from
    // another put in its place.
    if (m_overlay.begin()->first != 0) {
        unsigned char header[HeaderSize];
        ok = m_io->read(0, header, HeaderSize) && note(0, header, HeaderSize);
    }
    for (const auto& piece : m_overlay)
        ok = ok && note(piece.first, piece.second.data(), int64_t(piece.second.size()));
    std::memset(original.data(), 0, original.size());
    if (!ok) {
        m_journal.clear();
        return fail(m_io->lastError(), m_path + " cannot be read");
    }

    const std::string path = CxJournal::pathFor(m_path);
    std::vector<unsigned char> journal = m_journal.encode(journalId());
    int error = m_journalIo->open(path.c_str(), CxIo::Mode::CreateNew);
    if (error == EEXIST) {
        // Left by a change that never touched the file, or played back
        // already: kept aside, never written over. Anything we could not
        // have made is refused as it is.
        error = m_journalIo->open(path.c_str(), CxIo::Mode::ReadOnly);
        m_journalIo->close();
        if (error == 0) {
            error = m_journalIo->rename(path.c_str(), CxJournal::stalePathFor(path).c_str())
                        ? m_journalIo->open(path.c_str(), CxIo::Mode::CreateNew)
                        : m_journalIo->lastError();
        }
    }
    bool created = error == 0;
    ok = created && m_journalIo->write(0, journal.data(), int64_t(journal.size())) && m_journalIo->sync();
    if (created && !ok)
        error = m_journalIo->lastError();
    m_journalIo->close();
    std::memset(journal.data(), 0, journal.size());
    if (!ok) {
        m_journal.clear();
        // The file is untouched; a journal we made but could not finish
        // would only be found torn, or fitting the untouched file.
        if (created)
            m_journalIo->remove(path.c_str());
        if (!created && (error == ELOOP || error == EINVAL || error == EPERM)) {
            const char* what = error == ELOOP ? " is a symbolic link" : error == EINVAL ? " is not a regular file"
                                                                                        : " belongs to another user";
            return fail(error, path + what + "; nothing is written beside it until it is removed.", false);
        }
        return fail(error, path + " cannot be written");
    }

    for (const auto& piece : m_overlay) {
        const int64_t n = std::min(int64_t(piece.second.size()), m_fileSize - piece.first);
        ok = ok && (n <= 0 || m_io->write(piece.first, piece.second.data(), n));
    }
    ok = ok && m_io->sync();
    error = ok ? 0 : m_io->lastError();
    if (ok && !m_journalIo->remove(path.c_str())) {
        // A journal left behind would undo the change at the next open.
        ok = false;
        error = m_journalIo->lastError();
    }
    if (ok) {
        m_journal.clear();
        return true;
    }

    const bool undone = m_journal.playBack(*m_io);
    m_journal.clear();
    if (!undone) {
        // The journal stays, and rolls the file back when it is next opened.
        m_stuck = true;
        return fail(error, m_path + " cannot be written; the change is undone when the file is next opened");
    }
    // Should this fail too, the journal still fits the file as it is now.
    m_journalIo->remove(path.c_str());
    return fail(error, m_path + " cannot be written; the change was undone");
}

bool CxFile::fail(int error, const std::string& what, bool withReason)
{
    m_error = error ? error : EIO;
    m_errorText = withReason ? what + ": " + std::strerror(m_error) + "." : what;
    return false;
}

void CxFile::clearError()
{
    m_error = 0;
    m_errorText.clear();
}

// A change that never reached the file: read the file as it is.
void CxFile::forgetChange()
{
    dropOverlay();
    m_fileSize = m_originalSize;
    m_cache.clear();
    m_currentEntry = -1;
    unsigned char raw[HeaderSize];
    if (isOpen() && m_io->read(0, raw, HeaderSize))
        decodeHeader(raw, m_header);
    if (m_indexBlock && m_header.firstIndexBlock > 0)
        loadIndexBlock(m_header.firstIndexBlock, m_indexBlock);
}

void CxFile::dropOverlay()
{
    // Pieces may hold record bytes.
    for (auto& piece : m_overlay)
        std::memset(piece.second.data(), 0, piece.second.size());
    m_overlay.clear();
}
