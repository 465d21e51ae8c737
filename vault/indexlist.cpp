#include "vault/indexlist.h"

int CIndexList::CompareFunc(CDListNode* a, CDListNode* b)
{
    // A missing b ranks lowest so an ordered walk links after the tail.
    if (!b)
        return -1;
    if (!a)
        return 1;
    const int va = static_cast<CIndex*>(a)->value;
    const int vb = static_cast<CIndex*>(b)->value;
    if (va > vb)
        return 1;
    if (va < vb)
        return -1;
    return 0;
}
