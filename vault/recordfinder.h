#ifndef VAULTIX_VAULT_RECORDFINDER_H
#define VAULTIX_VAULT_RECORDFINDER_H

#include <QString>

class CRecord;
class CVault;

// Finding records by what they say: a record matches when its field 1, 2
// or 3 contains the text, ignoring letter case and accents. Protected
// fields take part only while they can be read. The list's Find and the
// tool's find both use this, so they always agree.
class CRecordFinder
{
public:
    // `text` as the user typed it.
    explicit CRecordFinder(const QString& text);

    bool isEmpty() const { return m_folded.isEmpty(); }
    // Whether the record matches: anything does when the text is empty.
    bool matches(const CVault& vault, const CRecord& record) const;
    // Whether a key made by searchKey() contains the text.
    bool matchesKey(const QString& key) const;

    // What a record is searched by: the folded fields 1 to 3 it may be
    // searched in, kept apart so that no match spans two fields.
    static QString searchKey(const CVault& vault, const CRecord& record);
    // Lower case without accents ("Été" -> "ete").
    static QString fold(const QString& text);

private:
    QString m_folded;
};

#endif
