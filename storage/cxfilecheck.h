#ifndef VAULTIX_STORAGE_CXFILECHECK_H
#define VAULTIX_STORAGE_CXFILECHECK_H

#include "storage/cxfileimage.h"

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <vector>

// Validates the structure of a record file from its raw bytes, without
// trusting any offset, count or length in it. One pass over the file's
// blocks; a message is only made for what is wrong.
class CxFileCheck
{
public:
    // The signature is the one the file's owner gave its record file.
    CxFileCheck(const QByteArray& bytes, const char* signature);
    // Checks the file at `path` as the next open will read it (see
    // CxFileImage); false, with `error` set, when it cannot be read.
    bool load(const QString& path, QString* error = nullptr);
    // What load() found beside the file, and one sentence on it for the
    // user (empty when there was no journal).
    CxJournal::State journalState() const { return m_journal; }
    const QString& journalReport() const { return m_journalReport; }

    // True when no problem was found.
    bool run();
    // One plain sentence per problem found, at most MaxMessages of them and
    // then one line saying how many more there were.
    const QStringList& problems() const { return m_problems; }
    // Every problem found, including those not listed.
    int problemCount() const { return m_problemCount; }

    // Figures of the last run (meaningful once the header was readable).
    int recordCount() const { return m_recordCount; }
    // Whole blocks the file holds after its header.
    int blockCount() const { return m_blockCount; }
    // Blocks that nothing references: space lost by an interrupted writer or
    // left over from an older file. Damage only when such a block is an
    // index block whose records still read back (salvage recovers them).
    int unusedBlockCount() const { return m_unusedBlocks; }

    static constexpr int MaxMessages = 50;

private:
    enum class Use : unsigned char { None, Index, Data, Free };
    struct Owner
    {
        Use use;
        qint32 key; // the record's key for data blocks
    };
    // What points at a block, named only when a message needs it.
    struct From
    {
        enum Kind : unsigned char { HeaderIndex, IndexNext, RecordFirst, DataNext, HeaderFree, FreeNext } kind;
        qint64 block;
        qint32 key;
    };

    void problem(const QString& text);
    bool checkHeader();
    void computeGrid();
    static QString text(const From& from);
    bool blockAt(qint64 offset, const From& from);
    // Block sizes are powers of two: shifts and masks, not divisions, on a
    // walk that visits every block.
    Owner& ownerOf(qint64 offset) { return m_owners[size_t((offset - m_firstBlock) >> m_blockShift)]; }
    bool claim(qint64 offset, Use use, qint32 key, const From& from);
    static QString describe(const Owner& owner);
    qint32 word(qint64 offset) const
    {
        // Callers only pass offsets inside a validated block or the header.
        if (offset < 0 || offset + 4 > m_size)
            return -1;
        const auto* b = reinterpret_cast<const unsigned char*>(m_bytes.constData() + offset);
        return qint32(quint32(b[0]) | quint32(b[1]) << 8 | quint32(b[2]) << 16 | quint32(b[3]) << 24);
    }
    void walkIndexChain();
    void walkDataChain(qint32 key, qint32 first, qint32 length);
    void walkFreeList();
    void lookAtUnreached();

    QByteArray m_bytes;
    QByteArray m_signature;
    qint64 m_tooLarge = 0;
    CxJournal::State m_journal = CxJournal::Absent;
    QString m_journalReport;
    QStringList m_problems;
    int m_problemCount = 0;

    qint64 m_size = 0;
    qint32 m_blockSize = 0;
    int m_blockShift = 0;
    qint64 m_base = 0;
    qint64 m_firstBlock = 0;
    // By block, from the first one on.
    std::vector<Owner> m_owners;
    int m_claimed = 0;
    int m_recordCount = 0;
    int m_blockCount = 0;
    int m_unusedBlocks = 0;
};

#endif
