#include "storage/cxfilecheck.h"

#include "storage/cxfile.h"
#include "storage/cxlayout.h"
#include "storage/cxsalvage.h"

#include <QtEndian>
#include <QSet>

#include <climits>
#include <cstring>

namespace {

using namespace CxLayout;

struct Entry
{
    qint32 key;
    qint32 firstBlock;
    qint32 length;
};

// Signature bytes for a message: anything unprintable becomes '?'.
QString printable(const char* text, int length)
{
    QString out;
    for (int i = 0; i < length; ++i) {
        const unsigned char c = static_cast<unsigned char>(text[i]);
        out += (c >= 0x20 && c < 0x7f) ? QChar(c) : QChar('?');
    }
    return out;
}

} // namespace

CxFileCheck::CxFileCheck(const QByteArray& bytes, const char* signature)
    : m_bytes(bytes)
    , m_signature(signature ? QByteArray(signature).left(SignatureSize - 1) : QByteArray())
{
}

bool CxFileCheck::load(const QString& path, QString* error)
{
    if (!CxFileImage::readInto(path, m_signature.constData(), m_bytes, m_tooLarge, m_journal, error))
        return false;
    const QString journal = path + QStringLiteral("-journal");
    switch (m_journal) {
    case CxJournal::Hot:
        m_journalReport = QString("A change to the file was interrupted: %1 undoes it when the file is next opened "
                                  "for writing. The file is checked as it will read then.").arg(journal);
        break;
    case CxJournal::Torn:
        m_journalReport = QString("%1 is incomplete and will not be used: the change it was written for never "
                                  "reached the file.").arg(journal);
        break;
    case CxJournal::Foreign:
        m_journalReport = QString("%1 does not belong to the file as it is now and will not be used; the next "
                                  "opening for writing moves it aside.").arg(journal);
        break;
    case CxJournal::Unsafe:
        m_journalReport = QString("%1 is a link, not a regular file, or another user's file: no change can be "
                                  "saved until it is removed.").arg(journal);
        break;
    case CxJournal::Absent:
        m_journalReport.clear();
        break;
    }
    return true;
}

bool CxFileCheck::run()
{
    m_problems.clear();
    m_problemCount = 0;
    m_owners.clear();
    m_claimed = 0;
    m_size = m_bytes.size();
    m_blockSize = 0;
    m_base = HeaderSize;
    m_recordCount = 0;
    m_blockCount = 0;
    m_unusedBlocks = 0;

    if (m_tooLarge > 0) {
        problem(QString("the file is %1 bytes long, longer than a record file can be (%2 bytes)")
                    .arg(m_tooLarge).arg(CxFile::MaxFileSize));
    } else if (checkHeader()) {
        computeGrid();
        m_owners.assign(size_t(m_blockCount), Owner{Use::None, 0});
        walkIndexChain();
        walkFreeList();
        m_unusedBlocks = qMax(0, m_blockCount - m_claimed);
        lookAtUnreached();
    }

    if (m_problemCount > MaxMessages)
        m_problems << QString("... and %1 more problems").arg(m_problemCount - MaxMessages);
    return m_problemCount == 0;
}

void CxFileCheck::problem(const QString& text)
{
    if (m_problemCount < MaxMessages)
        m_problems << text;
    ++m_problemCount;
}

bool CxFileCheck::checkHeader()
{
    if (m_size < HeaderSize) {
        problem(QString("the file is %1 bytes long, shorter than its %2-byte header")
                    .arg(m_size).arg(HeaderSize));
        return false;
    }
    const char* sig = m_bytes.constData();
    const void* nul = std::memchr(sig, 0, SignatureSize);
    if (!nul) {
        problem(QString("the signature \"%1\" is not NUL-terminated").arg(printable(sig, SignatureSize)));
        return false;
    }
    const int sigLength = static_cast<int>(static_cast<const char*>(nul) - sig);
    if (QByteArray(sig, sigLength) != m_signature) {
        problem(QString("the signature is \"%1\", not \"%2\"")
                    .arg(printable(sig, sigLength), printable(m_signature.constData(), m_signature.size())));
        return false;
    }
    m_blockSize = word(HdBlockSize);
    const bool powerOfTwo = m_blockSize > 0 && (m_blockSize & (m_blockSize - 1)) == 0;
    if (!powerOfTwo || m_blockSize < MinBlockSize || m_blockSize > MaxBlockSize) {
        problem(QString("the block size %1 is not a power of two from %2 to %3")
                    .arg(m_blockSize).arg(MinBlockSize).arg(MaxBlockSize));
        return false;
    }
    return true;
}

void CxFileCheck::computeGrid()
{
    const qint64 bs = m_blockSize;
    m_blockShift = 0;
    while ((qint64(1) << m_blockShift) < bs)
        ++m_blockShift;
    // Create does not truncate: a file made over an older, longer one keeps
    // the old bytes and appends its blocks behind them, so its blocks sit at
    // the old length plus whole blocks. The file's length then still lies on
    // that grid, as does every block the header points to.
    qint32 anchor = word(HdFirstIndex);
    if (anchor < 1)
        anchor = word(HdFreeHead);
    m_base = HeaderSize;
    if ((m_size - HeaderSize) % bs != 0 && anchor >= HeaderSize && (anchor - m_size) % bs == 0)
        m_base = m_size % bs;

    qint64 firstBlock = m_base;
    if (firstBlock < HeaderSize)
        firstBlock += ((HeaderSize - firstBlock + bs - 1) / bs) * bs;
    m_firstBlock = firstBlock;
    if (m_size > firstBlock) {
        m_blockCount = static_cast<int>(qMin<qint64>((m_size - firstBlock) / bs, INT_MAX));
        const qint64 tail = (m_size - firstBlock) % bs;
        if (tail != 0)
            problem(QString("the file is %1 bytes long and ends in a cut-off block: its last %2 bytes "
                            "are not a whole %3-byte block")
                        .arg(m_size).arg(tail).arg(bs));
    }
}

QString CxFileCheck::text(const From& from)
{
    switch (from.kind) {
    case From::HeaderIndex:
        return QString("the header's first index block");
    case From::IndexNext:
        return QString("index block at %1's next link").arg(from.block);
    case From::RecordFirst:
        return QString("record %1's first data block").arg(from.key);
    case From::DataNext:
        return QString("record %1: data block at %2's next link").arg(from.key).arg(from.block);
    case From::HeaderFree:
        return QString("the header's free list head");
    case From::FreeNext:
        break;
    }
    return QString("free block at %1's next link").arg(from.block);
}

bool CxFileCheck::blockAt(qint64 offset, const From& from)
{
    if (offset >= HeaderSize && offset + m_blockSize <= m_size && ((offset - m_base) & (m_blockSize - 1)) == 0)
        return true;
    if (offset < 0)
        problem(QString("%1 is %2, which is no offset (only -1, for none, is negative)").arg(text(from)).arg(offset));
    else if (offset < HeaderSize)
        problem(QString("%1 points to offset %2, inside the file header").arg(text(from)).arg(offset));
    else if (offset + m_blockSize > m_size)
        problem(QString("%1 points to offset %2, outside the file (%3 bytes)").arg(text(from)).arg(offset).arg(m_size));
    else
        problem(QString("%1 points to offset %2, which is not on a block boundary").arg(text(from)).arg(offset));
    return false;
}

QString CxFileCheck::describe(const Owner& owner)
{
    switch (owner.use) {
    case Use::Index:
        return QString("an index block");
    case Use::Data:
        return QString("a data block of record %1").arg(owner.key);
    case Use::None:
    case Use::Free:
        break;
    }
    return QString("a free block");
}

// Marks the block as used; false (with a message) when something already
// uses it. Reaching a block of the same chain again is reported by callers
// as a loop before they get here.
bool CxFileCheck::claim(qint64 offset, Use use, qint32 key, const From& from)
{
    const Owner mine{use, key};
    Owner& owner = ownerOf(offset);
    if (owner.use != Use::None) {
        problem(QString("block at %1 is used twice: as %2 and as %3 (%4)")
                    .arg(offset).arg(describe(owner), describe(mine), text(from)));
        return false;
    }
    owner = mine;
    ++m_claimed;
    return true;
}

void CxFileCheck::walkIndexChain()
{
    const qint32 first = word(HdFirstIndex);
    if (first == -1)
        return; // no record

    const int capacity = CxLayout::capacity(m_blockSize);
    std::vector<Entry> entries;
    // No file holds more entries than blocks; reserved so that growing
    // never copies what was collected.
    entries.reserve(size_t(m_blockCount));
    qint64 offset = first;
    qint64 previous = -1;
    bool haveKey = false;
    bool ascending = true;
    qint32 lastKey = 0;
    bool haveBounds = false;
    qint32 lastHighest = 0;
    From from{From::HeaderIndex, 0, 0};
    auto here = [&offset] { return QString("index block at %1").arg(offset); };

    // Each step claims a block it has not seen, so the walk ends.
    for (;;) {
        if (!blockAt(offset, from))
            break;
        if (ownerOf(offset).use == Use::Index) {
            problem(QString("%1 loops back to index block at %2").arg(text(from)).arg(offset));
            break;
        }
        if (!claim(offset, Use::Index, 0, from))
            break;

        const qint32 lowest = word(offset + IxLowest);
        const qint32 highest = word(offset + IxHighest);
        const qint32 own = word(offset + IxOwn);
        const qint32 next = word(offset + IxNext);
        const qint32 prev = word(offset + IxPrev);
        const qint32 count = word(offset + IxCount);

        if (own != offset)
            problem(QString("%1: its own-offset field says %2").arg(here()).arg(own));
        if (prev != previous) {
            if (previous < 0)
                problem(QString("%1: it is the first index block but its previous link is %2, not -1")
                            .arg(here()).arg(prev));
            else
                problem(QString("%1: its previous link is %2, but the block before it is at %3")
                            .arg(here()).arg(prev).arg(previous));
        }

        // Lookups choose a block by its bounds, so bounds that overlap the
        // previous block's can send a search to the wrong block.
        if (lowest > highest)
            problem(QString("%1: its lowest key %2 is above its highest key %3").arg(here()).arg(lowest).arg(highest));
        if (haveBounds && lowest <= lastHighest)
            problem(QString("%1: its lowest key %2 is not above the highest key %3 of the block before it")
                        .arg(here()).arg(lowest).arg(lastHighest));
        haveBounds = true;
        lastHighest = highest;
        // Walks stop at an empty block, hiding every record after it.
        if (count == 0)
            problem(QString("%1: it holds no entries").arg(here()));

        int n = count;
        if (count < 0) {
            problem(QString("%1: its count %2 is negative").arg(here()).arg(count));
            n = 0;
        } else if (count > capacity) {
            problem(QString("%1: its count %2 is above the capacity of %3 entries")
                        .arg(here()).arg(count).arg(capacity));
            n = capacity;
        }

        for (int i = 0; i < n; ++i) {
            const qint64 at = offset + entryAt(i);
            const Entry e{word(at + EnKey), word(at + EnFirst), word(at + EnLength)};
            if (haveKey && e.key <= lastKey) {
                problem(QString("%1: key %2 is not above the previous key %3").arg(here()).arg(e.key).arg(lastKey));
                ascending = false;
            }
            if (i == 0 && e.key < lowest)
                problem(QString("%1: key %2 is below the block's lowest key %3").arg(here()).arg(e.key).arg(lowest));
            if (i == n - 1 && e.key > highest)
                problem(QString("%1: key %2 is above the block's highest key %3").arg(here()).arg(e.key).arg(highest));
            haveKey = true;
            lastKey = e.key;
            entries.push_back(e);
        }

        if (next == 0) {
            // Readers follow any non-negative next link, so 0 would make
            // them read the header as an index block.
            problem(QString("%1: its next link is 0, which points at the file header").arg(here()));
            break;
        }
        if (next == -1)
            break;
        previous = offset;
        from = From{From::IndexNext, offset, 0};
        offset = next;
    }

    m_recordCount = int(entries.size());
    // An interrupted split lists entries twice (reported above as keys out
    // of order); their data is walked once. Keys in order cannot repeat.
    QSet<QPair<qint32, qint32>> walked;
    for (const Entry& e : entries) {
        if (ascending) {
            walkDataChain(e.key, e.firstBlock, e.length);
        } else if (!walked.contains({e.key, e.firstBlock})) {
            walked.insert({e.key, e.firstBlock});
            walkDataChain(e.key, e.firstBlock, e.length);
        }
    }
}

void CxFileCheck::walkDataChain(qint32 key, qint32 first, qint32 length)
{
    auto record = [key] { return QString("record %1").arg(key); };
    if (length < 0)
        problem(QString("%1: its length %2 is negative").arg(record()).arg(length));
    // Readers refuse such a length rather than allocate for it.
    else if (length > m_size - HeaderSize)
        problem(QString("%1: its length %2 is longer than the file (%3 bytes)").arg(record()).arg(length).arg(m_size));
    if (first < 1) {
        problem(QString("%1: it has no data block (first data block offset %2)").arg(record()).arg(first));
        return;
    }
    const From firstFrom{From::RecordFirst, 0, key};
    if (!blockAt(first, firstFrom))
        return;
    if (length == 0) {
        // An empty record owns one block whose content was never written.
        claim(first, Use::Data, key, firstFrom);
        return;
    }

    const qint32 payload = CxLayout::payload(m_blockSize);
    qint64 offset = first;
    qint64 previous = -1;
    qint64 total = 0;
    bool broken = false;
    From from = firstFrom;
    auto here = [&] { return QString("%1: data block at %2").arg(record()).arg(offset); };
    for (;;) {
        if (!blockAt(offset, from)) {
            broken = true;
            break;
        }
        const Owner& seen = ownerOf(offset);
        if (seen.use == Use::Data && seen.key == key) {
            problem(QString("%1: its data chain loops back to block at %2").arg(record()).arg(offset));
            broken = true;
            break;
        }
        if (!claim(offset, Use::Data, key, from)) {
            broken = true;
            break;
        }

        const qint32 prev = word(offset + DbPrev);
        const qint32 next = word(offset + DbNext);
        const qint32 used = word(offset + DbUsed);
        if (prev != previous)
            problem(QString("%1: its previous link is %2, not %3").arg(here()).arg(prev).arg(previous));
        if (used < 0 || used > payload) {
            problem(QString("%1: its used count %2 is outside 0 to %3").arg(here()).arg(used).arg(payload));
            broken = true;
            break;
        }
        total += used;
        if (next == -1)
            break;
        if (used != payload)
            problem(QString("%1: it holds %2 of %3 bytes but is not the record's last block")
                        .arg(here()).arg(used).arg(payload));
        previous = offset;
        from = From{From::DataNext, offset, key};
        offset = next;
    }

    if (!broken && length >= 0 && total != length)
        problem(QString("%1: its data chain holds %2 bytes, %3 than its length %4")
                    .arg(record()).arg(total).arg(total < length ? "fewer" : "more").arg(length));
}

void CxFileCheck::walkFreeList()
{
    qint64 offset = word(HdFreeHead);
    From from{From::HeaderFree, 0, 0};
    while (offset != -1) {
        if (!blockAt(offset, from))
            break;
        if (ownerOf(offset).use == Use::Free) {
            problem(QString("the free list loops back to block at %1").arg(offset));
            break;
        }
        if (!claim(offset, Use::Free, 0, from))
            break;
        from = From{From::FreeNext, offset, 0};
        offset = word(offset + FrNext);
    }
}

// Blocks nothing reaches are lost space, unless they still list records
// that read back whole: then the chain lost them, and salvage finds them.
void CxFileCheck::lookAtUnreached()
{
    if (m_unusedBlocks == 0)
        return;
    CxSalvage salvage(m_bytes, m_signature.constData());
    if (!salvage.run() || salvage.unlinked().isEmpty())
        return;
    QStringList keys;
    for (qint32 key : salvage.unlinked().mid(0, 10))
        keys << QString::number(key);
    if (salvage.unlinked().size() > 10)
        keys << QStringLiteral("...");
    problem(QString("%1 records that read back whole are listed only in index blocks that the index chain does not "
                    "reach (keys %2)")
                .arg(salvage.unlinked().size()).arg(keys.join(QStringLiteral(", "))));
}
