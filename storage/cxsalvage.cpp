#include "storage/cxsalvage.h"

#include "storage/cxfile.h"
#include "storage/cxfileimage.h"
#include "storage/cxlayout.h"
#include "storage/cxtransaction.h"

#include <QFile>
#include <QSet>
#include <QtEndian>

#include <cstring>
#include <sys/stat.h>

using namespace CxLayout;

CxSalvage::CxSalvage(const QByteArray& bytes, const char* signature)
    : m_bytes(bytes)
    , m_signature(signature ? QByteArray(signature).left(SignatureSize - 1) : QByteArray())
{
}

bool CxSalvage::load(const QString& path, QString* error)
{
    return CxFileImage::readInto(path, m_signature.constData(), m_bytes, m_tooLarge, m_journal, error);
}

bool CxSalvage::writeFile(const QString& path, const char* signature, const std::map<qint32, QByteArray>& records,
                          unsigned blockSize, unsigned versionMajor, unsigned versionMinor)
{
    const QByteArray name = QFile::encodeName(path);
    struct stat info;
    if (::lstat(name.constData(), &info) == 0)
        return false;
    bool ok = false;
    {
        CxFile file(signature);
        if (file.Create(name.constData(), blockSize, versionMajor, versionMinor) != 0)
            return false;
        // One change: one journal and one sync for the whole file.
        CxTransaction change(&file);
        ok = true;
        for (const auto& [key, bytes] : records)
            ok = ok && file.AddRecord(key, bytes.constData(), int32_t(bytes.size()));
        ok = change.commit() && ok;
        file.Close();
    }
    if (!ok)
        QFile::remove(path);
    return ok;
}

qint32 CxSalvage::word(qint64 offset) const
{
    if (offset < 0 || offset + 4 > m_size)
        return -1;
    return qFromLittleEndian<qint32>(m_bytes.constData() + offset);
}

bool CxSalvage::isBlock(qint64 offset) const
{
    return offset >= HeaderSize && offset + m_blockSize <= m_size && (offset - m_base) % m_blockSize == 0;
}

// A block found by scanning counts only when it has everything the engine
// writes: its own offset, a count that fits, keys in ascending order, links
// that are -1 or blocks. A block the chain reaches may be damaged itself:
// its own offset or ascending keys are evidence enough.
bool CxSalvage::looksLikeIndex(qint64 offset, bool strict) const
{
    const qint32 count = word(offset + IxCount);
    const int n = qBound(0, count, capacity(m_blockSize));
    bool ascending = true;
    for (int i = 1; i < n; ++i)
        ascending = ascending && word(offset + entryAt(i) + EnKey) > word(offset + entryAt(i - 1) + EnKey);
    const bool own = word(offset + IxOwn) == offset;
    if (!strict)
        return own || (n > 0 && ascending);
    for (qint32 link : {word(offset + IxNext), word(offset + IxPrev)}) {
        if (link != -1 && !isBlock(link))
            return false;
    }
    return own && ascending && count == n;
}

QList<CxSalvage::Entry> CxSalvage::entriesOf(qint64 offset) const
{
    QList<Entry> out;
    const qint32 count = word(offset + IxCount);
    for (int i = 0; i < count && i < capacity(m_blockSize); ++i) { // negative: none
        const qint64 at = offset + entryAt(i);
        out.append({word(at + EnKey), word(at + EnFirst), word(at + EnLength)});
    }
    return out;
}

// The record's bytes when its data chain reads back whole, else why not.
QString CxSalvage::readChain(const Entry& e, QByteArray& out) const
{
    out.clear();
    if (e.length < 0)
        return QString("its length %1 is negative").arg(e.length);
    if (e.length > m_size - HeaderSize)
        return QString("its length %1 is longer than the file").arg(e.length);
    if (!isBlock(e.first))
        return QString("its first data block (offset %1) is not a block of the file").arg(e.first);
    if (e.length == 0)
        return QString(); // owns one block whose content was never written

    const qint32 payload = CxLayout::payload(m_blockSize);
    qint64 offset = e.first;
    while (out.size() < e.length) {
        if (!isBlock(offset))
            return QString("its data chain points to offset %1, not a block of the file").arg(offset);
        const qint32 used = word(offset + DbUsed);
        const qint64 left = e.length - out.size();
        if (used != qMin<qint64>(left, payload))
            return QString("its data block at %1 holds %2 bytes where %3 were expected")
                .arg(offset).arg(used).arg(qMin<qint64>(left, payload));
        out.append(m_bytes.constData() + offset + DataHeadSize, used);
        const qint32 next = word(offset + DbNext);
        if (out.size() < e.length)
            offset = next;
        else if (next >= 1)
            return QString("its data chain goes on past its length of %1 bytes").arg(e.length);
    }
    return QString();
}

void CxSalvage::take(const Entry& e, bool reached, std::map<qint32, QString>& failed)
{
    if (m_records.count(e.key))
        return;
    QByteArray bytes;
    const QString why = readChain(e, bytes);
    if (!why.isEmpty()) {
        failed.emplace(e.key, why);
        return;
    }
    m_records[e.key] = bytes;
    failed.erase(e.key);
    if (!reached)
        m_unlinked << e.key;
}

bool CxSalvage::run()
{
    m_size = m_bytes.size();
    if (m_tooLarge > 0) {
        m_problem = QString("the file is %1 bytes long, longer than a record file can be").arg(m_tooLarge);
        return false;
    }
    if (m_size < HeaderSize) {
        m_problem = QString("the file is %1 bytes long, shorter than its header").arg(m_size);
        return false;
    }
    const char* sig = m_bytes.constData() + HdSignature;
    if (std::memchr(sig, 0, SignatureSize) == nullptr || QByteArray(sig) != m_signature) {
        m_problem = QString("it is not a Vaultix data file");
        return false;
    }
    m_blockSize = word(HdBlockSize);
    if (m_blockSize < MinBlockSize || m_blockSize > MaxBlockSize || (m_blockSize & (m_blockSize - 1)) != 0) {
        m_problem = QString("its block size %1 is unusable").arg(m_blockSize);
        return false;
    }
    // Blocks follow the header, or, in a file created over an older one,
    // the old bytes; the file's length and the header's links tell which.
    m_base = HeaderSize;
    const qint32 anchor = word(HdFirstIndex) >= 1 ? word(HdFirstIndex) : word(HdFreeHead);
    if ((m_size - HeaderSize) % m_blockSize != 0 && anchor >= HeaderSize && (anchor - m_size) % m_blockSize == 0)
        m_base = m_size % m_blockSize;

    // Freed index blocks keep their old entries: never take those.
    QSet<qint64> freed;
    for (qint64 at = word(HdFreeHead); at >= 1 && isBlock(at) && !freed.contains(at); at = word(at + FrNext))
        freed.insert(at);

    std::map<qint32, QString> failed;
    QSet<qint64> chain;
    qint64 at = word(HdFirstIndex);
    while (at >= 0) {
        if (!isBlock(at)) {
            m_warnings << QString("the index chain points to offset %1, which is not a block of the file").arg(at);
            break;
        }
        if (chain.contains(at)) {
            m_warnings << QString("the index chain loops back to the block at %1").arg(at);
            break;
        }
        if (!looksLikeIndex(at, false)) {
            m_warnings << QString("the index chain reaches the block at %1, which is not an index block").arg(at);
            break;
        }
        chain.insert(at);
        for (const Entry& e : entriesOf(at))
            take(e, true, failed);
        at = word(at + IxNext);
    }

    qint64 first = m_base;
    while (first < HeaderSize)
        first += m_blockSize;
    for (qint64 block = first; block + m_blockSize <= m_size; block += m_blockSize) {
        if (!chain.contains(block) && !freed.contains(block) && looksLikeIndex(block, true)) {
            for (const Entry& e : entriesOf(block))
                take(e, false, failed);
        }
    }
    for (const auto& [key, why] : failed)
        m_lost.append({key, why});
    return true;
}
