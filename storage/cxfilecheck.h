#ifndef VAULTIX_STORAGE_CXFILECHECK_H
#define VAULTIX_STORAGE_CXFILECHECK_H

#include <QByteArray>
#include <QString>
#include <QStringList>

// Validates the structure of a record file from its raw bytes, without
// trusting any offset, count or length in it.
class CxFileCheck
{
public:
    explicit CxFileCheck(const QByteArray& bytes, const char* signature = "Vaultix0001");

    // True when no problem was found.
    bool run();
    // One plain sentence per problem found.
    const QStringList& problems() const { return m_problems; }

private:
    QByteArray m_bytes;
    QByteArray m_signature;
    QStringList m_problems;
};

#endif
