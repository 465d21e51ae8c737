#ifndef VAULTIX_STORAGE_CXFILECHECK_H
#define VAULTIX_STORAGE_CXFILECHECK_H

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>

// Validates the structure of a record file from its raw bytes, without
// trusting any offset, count or length in it.
class CxFileCheck
{
public:
    // The signature is the one the file's owner gave its record file.
    CxFileCheck(const QByteArray& bytes, const char* signature);

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
    // left over from an older file; not damage.
    int unusedBlockCount() const { return m_unusedBlocks; }

    static constexpr int MaxMessages = 50;

private:
    enum class Use { Index, Data, Free };
    struct Owner
    {
        Use use;
        qint32 key; // the record's key for data blocks
    };

    void problem(const QString& text);
    bool checkHeader();
    void computeGrid();
    bool blockAt(qint64 offset, const QString& what);
    bool claim(qint64 offset, Use use, qint32 key, const QString& what);
    static QString describe(const Owner& owner);
    qint32 word(qint64 offset) const;
    void walkIndexChain();
    void walkDataChain(qint32 key, qint32 first, qint32 length);
    void walkFreeList();

    QByteArray m_bytes;
    QByteArray m_signature;
    QStringList m_problems;
    int m_problemCount = 0;

    qint64 m_size = 0;
    qint32 m_blockSize = 0;
    qint64 m_base = 0;
    QHash<qint64, Owner> m_owners;
    int m_recordCount = 0;
    int m_blockCount = 0;
    int m_unusedBlocks = 0;
};

#endif
