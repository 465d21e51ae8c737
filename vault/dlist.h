#ifndef VAULTIX_VAULT_DLIST_H
#define VAULTIX_VAULT_DLIST_H

// Node of an intrusive doubly linked list.
class CDListNode
{
public:
    CDListNode() = default;
    virtual ~CDListNode() = default;

    CDListNode* prev = nullptr;
    CDListNode* next = nullptr;
};

// A doubly linked list that owns its nodes; ordered insertion follows the
// comparison each kind of list supplies (above 0: a belongs after b).
class CDList
{
public:
    CDList() = default;
    virtual ~CDList();
    virtual int CompareFunc(CDListNode* a, CDListNode* b) = 0;

    void Append(CDListNode* node);
    // False when the node was not linked in; it then stays the caller's.
    bool InsertSeq(CDListNode* node, bool allowDuplicate);
    void Unlink(CDListNode* node);
    void Delete(CDListNode* node);
    void DeleteAll();

    CDListNode* head = nullptr;
    CDListNode* tail = nullptr;
    int count = 0;

    CDList(const CDList&) = delete;
    CDList& operator=(const CDList&) = delete;

private:
    void LinkAfter(CDListNode* at, CDListNode* node);
    void LinkBefore(CDListNode* at, CDListNode* node);
};

#endif
