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
    return openAs(path, CxIo::Mode::ReadWrite, Inspector());
}

int CxFile::Open(const char* path, const Inspector& inspect)
{
    return openAs(path, CxIo::Mode::ReadWrite, inspect);
}

int CxFile::OpenReadOnly(const char* path, const Inspector& inspect)
{
    return openAs(path, CxIo::Mode::ReadOnly, inspect);
}

// The file is read whole, once; a journal is judged against those bytes
// and applied to them, and only a file found to be ours (and accepted by
// `inspect`) is written to: the journal played back or moved aside.
int CxFile::openAs(const char* path, CxIo::Mode mode, const Inspector& inspect)
{
    if (isOpen())
        Close();
    clearError();
    m_journalState = CxJournal::Absent;
    m_staleJournal.clear();
    if (const int error = m_io->open(path, mode)) {
        fail(error, std::string(path) + " cannot be opened");
        return error == ENOENT ? -1 : -2;
    }
    m_readOnly = mode == CxIo::Mode::ReadOnly;
    m_stuck = false;
    m_path = path;

    const int64_t size = m_io->size();
    // No offset in the file can reach past this: such a file is not ours,
    // and nothing of it is read.
    if (size > MaxFileSize) {
        Close();
        return -3;
    }
    if (size < 0 || !m_image.resize(size) || (size > 0 && !m_io->read(0, m_image.data(), size))) {
        fail(size < 0 ? EIO : m_image.size() < size ? ENOMEM : m_io->lastError(), m_path + " cannot be read");
        Close();
        return -2;
    }
    const std::string journal = CxJournal::pathFor(m_path);
    m_journalState = m_journal.load(*m_journalIo, journal, journalId(), size,
                                    [this](int64_t offset, unsigned char* buffer, int64_t length) {
                                        return readRaw(offset, buffer, length);
                                    });
    if (m_journalState == CxJournal::Hot) {
        // As the file reads once the interrupted change is undone; read-only,
        // it is read so without writing anything back.
        if (!m_image.resize(m_journal.originalLength())) {
            m_journal.clear();
            Close();
            return -2;
        }
        for (const CxJournal::Entry& e : m_journal.entries()) {
            if (!e.bytes.empty())
                std::memcpy(m_image.data() + e.offset, e.bytes.data(), e.bytes.size());
        }
    }

    unsigned char raw[HeaderSize];
    if (m_image.size() < HeaderSize || !readRaw(0, raw, HeaderSize)
        || std::strncmp(reinterpret_cast<const char*>(raw), m_signature, sizeof m_signature) != 0) {
        m_journal.clear();
        Close();
        return -3;
    }
    decodeHeader(raw, m_header);
    // A block size our writer can never produce would make every block
    // computation meaningless; such a file is not ours.
    if (m_header.blockSize < MinBlockSize || m_header.blockSize > MaxBlockSize) {
        m_journal.clear();
        Close();
        return -3;
    }
    if (inspect && !inspect(m_image.data(), m_image.size())) {
        m_journal.clear();
        Close();
        return -4;
    }

    if (m_journalState == CxJournal::Hot && !m_readOnly) {
        if (!m_journal.playBack(*m_io)) {
            m_journal.clear();
            Close();
            return -2;
        }
        // Should the removal fail, the journal still fits the file as it
        // is now, and playing it back again changes nothing.
        m_journalIo->remove(journal.c_str());
    } else if (m_journalState == CxJournal::Foreign && !m_readOnly) {
        // Kept for whoever wants to look at it, out of the way of the next
        // change's journal.
        const std::string aside = CxJournal::stalePathFor(journal);
        if (m_journalIo->rename(journal.c_str(), aside.c_str()))
            m_staleJournal = aside;
    }
    m_journal.clear();
    m_fileSize = m_image.size();

    freeBuffers();
    m_bufferSize = size_t(blockSize());
    m_dataBlock = new unsigned char[m_bufferSize]();
    m_indexBlock = new unsigned char[m_bufferSize]();
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
    // Nothing is truncated: bytes already there stay, and blocks follow them.
    const int64_t existing = m_io->size();
    if (existing < 0 || existing > MaxFileSize || !m_image.resize(existing)
        || (existing > 0 && !m_io->read(0, m_image.data(), existing))) {
        Close();
        return -2;
    }
    m_fileSize = existing;
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
    m_fileSize = std::max<int64_t>(m_image.size(), HeaderSize);

    freeBuffers();
    m_bufferSize = rounded;
    m_dataBlock = new unsigned char[m_bufferSize]();
    m_indexBlock = new unsigned char[m_bufferSize]();
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
    dropUndo();
    m_image.release();
    m_fileSize = 0;
    m_currentEntry = -1;
    // Also when the I/O has closed itself already (a failed reopen).
    freeBuffers();
    if (isOpen())
        m_io->close();
}

void CxFile::freeBuffers()
{
    // The data buffer held record bytes; don't leave them in freed memory.
    // Wiped by the size they were made with: the header may have been
    // read again since.
    if (m_dataBlock)
        std::memset(m_dataBlock, 0, m_bufferSize);
    if (m_indexBlock)
        std::memset(m_indexBlock, 0, m_bufferSize);
    m_bufferSize = 0;
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

// Outside a transaction a write goes straight to the file, and the copy
// follows it; should the write fail, the copy takes back what the file
// holds there, and when even that cannot be read no change is taken.
bool CxFile::put(int64_t offset, const void* buffer, int64_t length)
{
    if (m_readOnly || m_stuck)
        return false;
    if (m_depth > 0) {
        if (stage(offset, static_cast<const unsigned char*>(buffer), length))
            return true;
        m_failed = true;
        return false;
    }
    if (!m_io->write(offset, buffer, length)) {
        const int64_t known = std::min(offset + length, m_image.size()) - offset;
        if (known > 0 && !m_io->read(offset, m_image.data() + offset, known))
            m_stuck = true;
        return false;
    }
    if (offset + length > m_image.size() && !m_image.resize(offset + length)) {
        m_stuck = true;
        return false;
    }
    std::memcpy(m_image.data() + offset, buffer, size_t(length));
    return true;
}

bool CxFile::writeBlock(int32_t offset, const unsigned char* block)
{
    return usable(offset) && put(offset, block, blockSize());
}

bool CxFile::loadIndexBlock(int32_t offset, unsigned char* block)
{
    if (!usable(offset) || !readRaw(offset, block, blockSize()))
        return false;
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

int32_t CxFile::FirstFreeKey(int32_t from)
{
    if (!FindRecord(from))
        return from;
    int64_t free = int64_t(from) + 1;
    const unsigned char* block = m_indexBlock;
    int32_t at = -1; // the offset of `block`, once it is not the cursor's
    int position = m_currentEntry + 1;
    // Bounded as FindNextRecord is, so that a damaged, cyclic chain ends.
    for (int64_t steps = 0; free <= INT32_MAX;) {
        const int count = entryCount(block);
        for (; position < count && free <= INT32_MAX; ++position, ++free) {
            if (entryKey(const_cast<unsigned char*>(block), position) != free)
                break;
        }
        if (position < count)
            break;
        const int32_t next = field(block, IxNext);
        if (next < 0 || ++steps > maxBlocks() || !usable(next))
            break;
        if (entryCount(m_image.data() + next) < 1)
            break;
        block = m_image.data() + next;
        at = next;
        position = 0;
    }
    m_currentEntry = -1;
    if (at >= 0 && !loadIndexBlock(at, m_indexBlock))
        FindRecord(from);
    return int32_t(std::min<int64_t>(free, INT32_MAX));
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
        if (!usable(offset))
            break;
        const unsigned char* block = m_image.data() + offset;
        // A lying length or used count never makes us write past the
        // caller's buffer.
        const int32_t used = std::min(std::min(std::max(field(block, DbUsed), 0), payload), length - size);
        if (used > 0 && buffer)
            std::memcpy(buffer + size, block + DataHeadSize, size_t(used));
        size += used;
        offset = field(block, DbNext);
    }
    return true;
}

// Each block is written whole from a buffer that holds only this record:
// the unused tail of its last block is zeros, and the buffer is wiped after.
void CxFile::writeDataChain(int32_t first, const char* data, int32_t size)
{
    const int32_t payload = CxLayout::payload(blockSize());
    std::memset(m_dataBlock, 0, size_t(blockSize()));
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
        if (used < payload)
            std::memset(m_dataBlock + DataHeadSize + used, 0, size_t(payload - used));
        done += used;
        const int32_t next = done < size ? GetFreeBlock() : -1;
        setField(m_dataBlock, DbNext, next);
        writeBlock(offset, m_dataBlock);
        setField(m_dataBlock, DbPrev, offset);
        offset = next;
    }
    std::memset(m_dataBlock, 0, size_t(blockSize()));
}

void CxFile::freeDataChain(int32_t first)
{
    int32_t offset = first;
    const int64_t limit = maxBlocks();
    unsigned char link[4];
    for (int64_t steps = 0; offset >= 1 && steps < limit; ++steps) {
        if (!usable(offset) || !readRaw(offset + DbNext, link, sizeof link))
            break;
        const int32_t next = GetLE32(link);
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
    // Within a change the header goes into the copy once, when it commits,
    // however often the change moves the index or the free list.
    if (m_depth > 0) {
        m_headerDirty = true;
        return;
    }
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
    if (head > 0 && usable(head) && readRaw(head + FrNext, link, sizeof link)) {
        result = head;
        m_header.freeListHead = GetLE32(link);
    } else {
        // A head outside the file is damage: leave the list alone and grow.
        // Blocks are only appended, so the end is known without asking.
        const int64_t end = m_fileSize;
        static const unsigned char zeros[MaxBlockSize] = {};
        if (end < HeaderSize || end + blockSize() > INT32_MAX || !put(end, zeros, blockSize()))
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
    if (!readRaw(offset + FrNext, old, sizeof old) || std::memcmp(old, link, sizeof link) != 0) {
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

size_t CxFile::pageIndex(int64_t page) const
{
    return page == 0 ? 0 : size_t((page - HeaderSize) / blockSize()) + 1;
}

// The file's bytes as the open transaction (or, read-only, the journal)
// has them.
bool CxFile::readRaw(int64_t offset, void* buffer, int64_t length) const
{
    if (offset < 0 || length < 0 || offset + length > m_image.size())
        return false;
    if (length > 0)
        std::memcpy(buffer, m_image.data() + offset, size_t(length));
    return true;
}

// Keeps the original bytes of a piece the open transaction is about to
// write for the first time: the journal's bytes, and what the copy goes
// back to should the change not reach the disk.
bool CxFile::keepOriginal(int64_t page)
{
    const size_t index = pageIndex(page);
    if (index >= m_isTouched.size())
        m_isTouched.resize(std::max(index + 1, m_isTouched.size() * 2), 0);
    if (m_isTouched[index])
        return true;
    const int64_t kept = std::max<int64_t>(0, std::min(pageLength(page), m_originalSize - page));
    const int64_t at = m_originals.size();
    if (!m_originals.append(m_image.data() + page, kept))
        return false;
    m_touched.push_back({page, at, kept});
    m_isTouched[index] = 1;
    return true;
}

// Writes the open transaction's bytes into the copy, keeping the original
// bytes of each piece first touched.
bool CxFile::stage(int64_t offset, const unsigned char* buffer, int64_t length)
{
    if (offset < 0 || length < 0)
        return false;
    for (int64_t page = pageOf(offset); page < offset + length; page = page == 0 ? HeaderSize : page + blockSize()) {
        if (!keepOriginal(page))
            return false;
    }
    if (offset + length > m_image.size() && !m_image.resize(offset + length))
        return false;
    std::memcpy(m_image.data() + offset, buffer, size_t(length));
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
    if (m_depth == 1 && m_headerDirty) {
        m_headerDirty = false;
        unsigned char raw[HeaderSize];
        encodeHeader(m_header, raw);
        put(0, raw, HeaderSize);
    }
    if (--m_depth > 0)
        return !m_failed;
    if (m_failed && m_error == 0)
        fail(m_stuck || m_readOnly ? EROFS : EIO, m_path + " cannot be changed");
    const bool ok = !m_failed && writeOut();
    if (!ok)
        forgetChange();
    dropUndo();
    m_failed = false;
    return ok;
}

// Each run of adjacent pieces in one write: the written bytes from the
// copy, or the original ones (within the original length) to undo them.
bool CxFile::writeRuns(const std::vector<CxJournal::Piece>& pieces, bool originals)
{
    // What of a piece goes out: all of it, or its part within the original
    // length, past which the file is cut anyway.
    auto part = [&](const CxJournal::Piece& p) {
        return originals ? std::max<int64_t>(0, std::min(p.length, m_originalSize - p.offset)) : p.length;
    };
    CxBytes run;
    bool ok = true;
    for (size_t i = 0; ok && i < pieces.size();) {
        const int64_t from = pieces[i].offset;
        int64_t to = from;
        size_t j = i;
        while (j < pieces.size() && pieces[j].offset == to) {
            const int64_t n = part(pieces[j]);
            to += n;
            if (n < pieces[j++].length)
                break;
        }
        if (to > from && !originals) {
            ok = m_io->write(from, m_image.data() + from, to - from);
        } else if (to > from) {
            if (!run.resize(to - from))
                return false;
            for (size_t k = i; k < j; ++k) {
                if (const int64_t n = part(pieces[k]))
                    std::memcpy(run.data() + (pieces[k].offset - from), pieces[k].before, size_t(n));
            }
            ok = m_io->write(from, run.data(), to - from);
        }
        i = j;
    }
    return ok;
}

// Journal first, synced; then the file, synced; then away with the journal.
// Should anything fail once the file was touched, the original bytes are
// put back at once, so that the file is as before whatever happens next.
bool CxFile::writeOut()
{
    if (m_touched.empty())
        return true;
    if (!writable())
        return fail(EROFS, m_path + " is open for reading only");
    auto byPage = [](const Original& a, const Original& b) { return a.page < b.page; };
    // Usually touched in order already. Many pieces out of order (a
    // password change) are put in order by walking the page flags, which
    // is linear where a sort of scattered pages is not.
    const bool inOrder = std::is_sorted(m_touched.begin(), m_touched.end(), byPage);
    if (!inOrder && m_touched.size() <= 64) {
        std::sort(m_touched.begin(), m_touched.end(), byPage);
    } else if (!inOrder) {
        std::vector<uint32_t> slot(m_isTouched.size());
        for (size_t k = 0; k < m_touched.size(); ++k)
            slot[pageIndex(m_touched[k].page)] = uint32_t(k);
        std::vector<Original> ordered;
        ordered.reserve(m_touched.size());
        for (size_t i = 0; i < m_isTouched.size(); ++i) {
            if (m_isTouched[i])
                ordered.push_back(m_touched[slot[i]]);
        }
        m_touched.swap(ordered);
    }
    // Blocks left alone between written ones, a few at most, go out again
    // with them (journaled like the rest), so that a change scattered over
    // the file is a few large writes rather than one per block.
    constexpr int64_t MaxGapBlocks = 8;
    std::vector<int64_t> gaps;
    for (size_t i = 1; i < m_touched.size(); ++i) {
        const int64_t from = m_touched[i - 1].page + pageLength(m_touched[i - 1].page);
        const int64_t to = m_touched[i].page;
        if (to > from && to - from <= MaxGapBlocks * blockSize() && to <= m_fileSize) {
            for (int64_t page = from; page < to; page += blockSize())
                gaps.push_back(page);
        }
    }
    const auto sorted = std::ptrdiff_t(m_touched.size());
    for (int64_t page : gaps) {
        if (!keepOriginal(page))
            return fail(ENOMEM, m_path + " cannot be written");
    }
    // The gaps came in order too.
    std::inplace_merge(m_touched.begin(), m_touched.begin() + sorted, m_touched.end(), byPage);
    // A piece reaches past the end when the file's length is not a whole
    // number of blocks; what lies past it is never written. The header is
    // always in the journal, written or not: it tells this file from
    // another put in its place.
    std::vector<CxJournal::Piece> pieces;
    pieces.reserve(m_touched.size() + 1);
    if (m_touched.front().page != 0)
        pieces.push_back({0, HeaderSize, m_image.data(), m_image.data()});
    for (const Original& o : m_touched) {
        const int64_t n = std::min(pageLength(o.page), m_fileSize - o.page);
        if (n > 0)
            pieces.push_back({o.page, n, m_originals.data() + o.at, m_image.data() + o.page});
    }

    const std::string path = CxJournal::pathFor(m_path);
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
    bool ok = created && CxJournal::write(*m_journalIo, journalId(), m_originalSize, m_fileSize, pieces)
              && m_journalIo->sync();
    if (created && !ok)
        error = m_journalIo->lastError();
    m_journalIo->close();
    if (!ok) {
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

    ok = writeRuns(pieces, false) && m_io->sync();
    error = ok ? 0 : m_io->lastError();
    if (ok && !m_journalIo->remove(path.c_str())) {
        // A journal left behind would undo the change at the next open.
        ok = false;
        error = m_journalIo->lastError();
    }
    if (ok)
        return true;

    // As playing the journal back would: the original bytes, the original
    // length, synced.
    const bool undone = writeRuns(pieces, true) && m_io->truncate(m_originalSize) && m_io->sync();
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

// A change that never reached the file: the copy goes back to the file as
// it was before it (the file is so, or will be once its journal is played
// back at the next open).
void CxFile::forgetChange()
{
    for (const Original& o : m_touched) {
        if (o.kept > 0)
            std::memcpy(m_image.data() + o.page, m_originals.data() + o.at, size_t(o.kept));
    }
    if (m_image.size() > m_originalSize)
        m_image.resize(m_originalSize);
    m_fileSize = m_originalSize;
    m_currentEntry = -1;
    m_headerDirty = false;
    unsigned char raw[HeaderSize];
    if (isOpen() && readRaw(0, raw, HeaderSize))
        decodeHeader(raw, m_header);
    if (m_indexBlock && m_header.firstIndexBlock > 0)
        loadIndexBlock(m_header.firstIndexBlock, m_indexBlock);
}

void CxFile::dropUndo()
{
    for (const Original& o : m_touched)
        m_isTouched[pageIndex(o.page)] = 0;
    m_touched.clear();
    // They are record bytes.
    m_originals.clear();
}
