#include "vault/records.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/keyplan.h"
#include "storage/readcurrent.h"
#include "crypto/fieldcrypt.h"
#include "vault/password.h"
#include "storage/cxfile.h"
#include "storage/cxtransaction.h"

#include <QByteArray>

#include <cstring>

int CRecords::CompareFunc(CDListNode*, CDListNode*)
{
    return 0;
}

void CRecords::LoadAll(CCategories* categories)
{
    if (!_AppFile || !_AppFile->FindRecord(KeyPlan::RecordMarker))
        return;
    const bool passwordSet = _AppCfg && _AppCfg->hasPassword();
    QByteArray buffer;
    while (_AppFile->FindNextRecord()) {
        if (!ReadCurrentRecord(*_AppFile, buffer))
            continue;
        int32_t key = 0;
        _AppFile->ReadRecordKey(key);

        auto* record = new CRecord;
        record->Decode(buffer.constData(), int(buffer.size()));
        record->key = key;
        // With no categories at all nothing can be protected.
        CCategory* c = categories ? categories->GetCategory(record->category) : nullptr;
        record->encrypted = c && c->isProtected && passwordSet;
        Append(record);
    }
    if (!buffer.isEmpty())
        std::memset(buffer.data(), 0, size_t(buffer.size()));
}

// Each flow below rewrites many records: one transaction each, so that a
// crash never leaves some protected records enciphered and others not.
void CRecords::EncryptAllRecords(QString password, CCategories* categories)
{
    CxTransaction change(_AppFile);
    EncryptAddNewPwd(password);
    for (CRecord* r = first(); r; r = nextOf(r)) {
        if (r->EncryptRecord(categories)) {
            r->encrypted = true;
            r->WriteRecord(true);
        }
    }
}

void CRecords::DecryptAllRecords(CCategories* categories)
{
    CxTransaction change(_AppFile);
    for (CRecord* r = first(); r; r = nextOf(r)) {
        if (r->DecryptRecord(categories)) {
            r->encrypted = false;
            r->WriteRecord(true);
        }
    }
}

void CRecords::ReplacePwdAllRecords(QString password, CCategories* categories)
{
    // The global cipher holds one key at a time: everything is deciphered
    // under the old key before the new one replaces it.
    CxTransaction change(_AppFile);
    DecryptAllRecords(categories);
    EncryptAddNewPwd(password);
    for (CRecord* r = first(); r; r = nextOf(r)) {
        if (r->EncryptRecord(categories)) {
            r->encrypted = true;
            r->WriteRecord(true);
        }
    }
}

void CRecords::EncryptCategoryRecords(CCategory* category)
{
    RecipherCategory(category, EncryptData, true);
}

void CRecords::DecryptCategoryRecords(CCategory* category)
{
    RecipherCategory(category, DecryptData, false);
}

// Every record of the category, whatever its state: callers only come here
// when the category's protection really changes.
void CRecords::RecipherCategory(CCategory* category, void (*cipher)(char*, int), bool encrypted)
{
    if (!category)
        return;
    CxTransaction change(_AppFile);
    for (CRecord* r = first(); r; r = nextOf(r)) {
        if (r->category != category->id)
            continue;
        if (r->fieldData)
            cipher(r->fieldData, r->fieldDataLength);
        r->encrypted = encrypted;
        r->WriteRecord(true);
    }
}
