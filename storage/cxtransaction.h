#ifndef VAULTIX_STORAGE_CXTRANSACTION_H
#define VAULTIX_STORAGE_CXTRANSACTION_H

#include "storage/cxfile.h"

// Makes every change to the record file between construction and commit()
// one all-or-nothing change on disk: a crash or power cut leaves the file as
// it was before or as it is after, nothing in between. Guards nest; an inner
// one joins the outer, and only the outermost writes anything.
//
// Leaving the scope without commit() commits too: the journal protects
// against crashes, it is no undo. The in-memory collections already hold
// the changes, so the file must follow them.
//
//     CxTransaction t(file);
//     ... AddRecord / UpdateRecord / DeleteRecord ...
//     if (!t.commit()) ... the change did not reach the disk ...
class CxTransaction
{
public:
    explicit CxTransaction(CxFile* file) : m_file(file)
    {
        if (m_file)
            m_file->BeginTransaction();
    }
    ~CxTransaction() { commit(); }
    CxTransaction(const CxTransaction&) = delete;
    CxTransaction& operator=(const CxTransaction&) = delete;

    // True when the change is on disk (or, for an inner guard, when nothing
    // has failed so far). Later calls repeat the first answer.
    bool commit()
    {
        if (m_file) {
            m_ok = m_file->CommitTransaction();
            m_file = nullptr;
        }
        return m_ok;
    }

private:
    CxFile* m_file;
    bool m_ok = true;
};

#endif
