#include "vault/dlist.h"

CDList::~CDList()
{
    DeleteAll();
}

void CDList::Append(CDListNode* node)
{
    if (!node)
        return;
    node->prev = tail;
    node->next = nullptr;
    if (tail)
        tail->next = node;
    else
        head = node;
    tail = node;
    ++count;
}

bool CDList::InsertSeq(CDListNode* node, bool allowDuplicate)
{
    if (!node)
        return false;
    if (!head) {
        node->prev = nullptr;
        node->next = nullptr;
        head = tail = node;
        ++count;
        return true;
    }

    CDListNode* x = head;
    for (;;) {
        const int r = CompareFunc(x, node);
        const int s = CompareFunc(node, x->next);
        if (r < 0 && s < 0) {
            LinkAfter(x, node);
            break;
        }
        if (r > 0) {
            LinkBefore(x, node);
            break;
        }
        if (r < 0) {
            // A comparison that does not rank a missing successor lowest
            // would otherwise walk off the tail.
            if (!x->next) {
                LinkAfter(x, node);
                break;
            }
            x = x->next;
            continue;
        }
        // Equal: later duplicates go after earlier ones.
        if (!allowDuplicate)
            return false;
        LinkAfter(x, node);
        break;
    }
    ++count;
    return true;
}

void CDList::Unlink(CDListNode* node)
{
    if (!node)
        return;
    // Only a node whose neighbours point back at it is linked here; anything
    // else (a stray node, one already unlinked) would corrupt head or tail.
    const bool linked = (node->prev ? node->prev->next == node : head == node)
        && (node->next ? node->next->prev == node : tail == node);
    if (!linked)
        return;

    if (node->prev)
        node->prev->next = node->next;
    else
        head = node->next;
    if (node->next)
        node->next->prev = node->prev;
    else
        tail = node->prev;
    if (count > 0)
        --count;
}

void CDList::Delete(CDListNode* node)
{
    if (!node)
        return;
    Unlink(node);
    delete node;
}

void CDList::DeleteAll()
{
    CDListNode* node = head;
    while (node) {
        CDListNode* next = node->next;
        delete node;
        node = next;
    }
    head = tail = nullptr;
    count = 0;
}

void CDList::LinkAfter(CDListNode* at, CDListNode* node)
{
    node->prev = at;
    node->next = at->next;
    if (at->next)
        at->next->prev = node;
    else
        tail = node;
    at->next = node;
}

void CDList::LinkBefore(CDListNode* at, CDListNode* node)
{
    node->next = at;
    node->prev = at->prev;
    if (at->prev)
        at->prev->next = node;
    else
        head = node;
    at->prev = node;
}
