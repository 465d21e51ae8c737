#ifndef VAULTIX_VAULT_INDEXLIST_H
#define VAULTIX_VAULT_INDEXLIST_H

#include "vault/dlist.h"

class CIndex : public CDListNode
{
public:
    explicit CIndex(int v = 0) : value(v) {}
    int value;
};

// Integers (category ids) in ascending order.
class CIndexList : public CDList
{
public:
    ~CIndexList() override = default;
    int CompareFunc(CDListNode* a, CDListNode* b) override;
};

#endif
