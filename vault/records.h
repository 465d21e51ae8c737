#ifndef VAULTIX_VAULT_RECORDS_H
#define VAULTIX_VAULT_RECORDS_H

#include "vault/dlist.h"
#include "vault/record.h"

#include <QString>

class CCategories;
class CCategory;

// All records, in file order; new ones are appended.
class CRecords : public CDList
{
public:
    ~CRecords() override = default;
    int CompareFunc(CDListNode* a, CDListNode* b) override;

    void LoadAll(CCategories* categories);
    void EncryptAllRecords(QString password, CCategories* categories);
    void DecryptAllRecords(CCategories* categories);
    void ReplacePwdAllRecords(QString password, CCategories* categories);
    void EncryptCategoryRecords(CCategory* category);
    void DecryptCategoryRecords(CCategory* category);

    CRecord* first() const { return static_cast<CRecord*>(head); }
    static CRecord* nextOf(CRecord* r) { return static_cast<CRecord*>(r->next); }

private:
    void RecipherCategory(CCategory* category, void (*cipher)(char*, int), bool encrypted);
};

#endif
