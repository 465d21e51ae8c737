#include "vault/records.h"

int CRecords::CompareFunc(CDListNode*, CDListNode*)
{
    return 0;
}

CRecord* CRecords::find(int key) const
{
    for (CRecord* r = first(); r; r = nextOf(r)) {
        if (r->key == key)
            return r;
    }
    return nullptr;
}
