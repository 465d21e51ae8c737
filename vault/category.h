#ifndef VAULTIX_VAULT_CATEGORY_H
#define VAULTIX_VAULT_CATEGORY_H

#include "vault/dlist.h"

#include <QString>

// A kind of record: name, icon, six field labels and the protection flag.
class CCategory : public CDListNode
{
public:
    static constexpr int StoredSize = 264;
    static constexpr int TextSlot = 32;     // 31 Latin-1 characters and a NUL

    int id = -1;
    QString icon;
    bool isProtected = false;
    QString name;
    QString labels[6];

    // The 264-byte stored form, and back. Decoding reads at most `size`
    // bytes; missing bytes count as zero and unterminated texts are cut.
    void Encode(char out[StoredSize]) const;
    void Decode(const char* data, int size);
};

#endif
