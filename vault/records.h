#ifndef VAULTIX_VAULT_RECORDS_H
#define VAULTIX_VAULT_RECORDS_H

#include "vault/dlist.h"
#include "vault/record.h"

#include <QString>

// All records, in file order; new ones are appended.
class CRecords : public CDList
{
public:
    ~CRecords() override = default;
    int CompareFunc(CDListNode* a, CDListNode* b) override;

    // The record stored under `key`, or null.
    CRecord* find(int key) const;

    CRecord* first() const { return static_cast<CRecord*>(head); }
    static CRecord* nextOf(CRecord* r) { return static_cast<CRecord*>(r->next); }
    static const CRecord* nextOf(const CRecord* r) { return static_cast<const CRecord*>(r->next); }
};

#endif
