#ifndef VAULTIX_STORAGE_CXSALVAGE_H
#define VAULTIX_STORAGE_CXSALVAGE_H

#include "storage/cxjournal.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

#include <map>

// Reads what can be read from a damaged record file's raw bytes: every
// entry of the index chain, and of index blocks the chain no longer
// reaches (found by scanning the file block by block), whose data chain
// reads back whole. Trusts no offset, count or length; never writes.
class CxSalvage
{
public:
    struct Lost
    {
        qint32 key;
        QString reason;
    };

    CxSalvage(const QByteArray& bytes, const char* signature);
    // Salvages the file at `path` as the next open will read it: as it was
    // before an interrupted change that a whole journal beside it undoes,
    // so that nothing of a half change is kept (see CxFileImage). False,
    // with `error` set, when the file cannot be read.
    bool load(const QString& path, QString* error = nullptr);
    // What load() found beside the file.
    CxJournal::State journalState() const { return m_journal; }

    // False when the file's header cannot be used at all (too short, too
    // long, not ours, no usable block size); `problem` then says why.
    bool run();
    const QString& problem() const { return m_problem; }

    // The records that read back whole, by key.
    const std::map<qint32, QByteArray>& records() const { return m_records; }
    // Keys found only in copies that do not read back whole.
    const QList<Lost>& lost() const { return m_lost; }
    // Damage that may have hidden records without a trace: broken links,
    // loops, an index block that could not be read.
    const QStringList& warnings() const { return m_warnings; }
    // Keys recovered only from index blocks the chain does not reach.
    const QList<qint32>& unlinked() const { return m_unlinked; }

    // Writes `records` into a new record file at `path` (nothing may be
    // there yet), as one change; false, with nothing left at `path`, on
    // any failure.
    static bool writeFile(const QString& path, const char* signature, const std::map<qint32, QByteArray>& records,
                          unsigned blockSize, unsigned versionMajor, unsigned versionMinor);

private:
    struct Entry
    {
        qint32 key;
        qint32 first;
        qint32 length;
    };

    qint32 word(qint64 offset) const;
    bool isBlock(qint64 offset) const;
    bool looksLikeIndex(qint64 offset, bool strict) const;
    QList<Entry> entriesOf(qint64 offset) const;
    QString readChain(const Entry& e, QByteArray& out) const;
    void take(const Entry& e, bool reached, std::map<qint32, QString>& failed);

    QByteArray m_bytes;
    QByteArray m_signature;
    qint64 m_tooLarge = 0;
    CxJournal::State m_journal = CxJournal::Absent;
    QString m_problem;
    qint64 m_size = 0;
    qint32 m_blockSize = 0;
    qint64 m_base = 0;
    std::map<qint32, QByteArray> m_records;
    QList<Lost> m_lost;
    QStringList m_warnings;
    QList<qint32> m_unlinked;
};

#endif
