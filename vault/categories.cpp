#include "vault/categories.h"

#include "vault/indexlist.h"


#include <climits>

int CCategories::CompareFunc(CDListNode* a, CDListNode* b)
{
    auto* ca = static_cast<CCategory*>(a);
    auto* cb = static_cast<CCategory*>(b);
    if (!ca || !cb || cb->name.isEmpty())
        return -1;
    // By character code, so capitals sort before small letters.
    const int c = QString::compare(ca->name, cb->name, Qt::CaseSensitive);
    return c > 0 ? 1 : (c < 0 ? -1 : 0);
}

CCategory* CCategories::CreateNew() const
{
    auto* category = new CCategory;
    if (!head) {
        category->id = 0;
        return category;
    }
    CIndexList ids;
    for (CCategory* c = first(); c; c = nextOf(c))
        ids.InsertSeq(new CIndex(c->id), true);
    // The first gap above the lowest id, or one past the highest.
    for (CDListNode* n = ids.head; n; n = n->next) {
        const qint64 v = static_cast<CIndex*>(n)->value;
        if (!n->next || v + 1 < static_cast<CIndex*>(n->next)->value) {
            // A damaged file may hold the largest int; leave the id unset then.
            category->id = v < INT_MAX ? int(v + 1) : -1;
            break;
        }
    }
    return category;
}

CCategory* CCategories::byId(int id) const
{
    for (CCategory* c = first(); c; c = nextOf(c)) {
        if (c->id == id)
            return c;
    }
    return nullptr;
}

CCategory* CCategories::GetCategory(int id) const
{
    for (CCategory* c = first(); c; c = nextOf(c)) {
        if (c->id == id)
            return c;
    }
    return first();
}

CCategory* CCategories::named(const QString& name) const
{
    for (CCategory* c = first(); c; c = nextOf(c)) {
        if (c->name == name)
            return c;
    }
    return nullptr;
}

CCategory* CCategories::find(const QString& name) const
{
    const QString wanted = name.toUpper();
    for (CCategory* c = first(); c; c = nextOf(c)) {
        if (c->name.toUpper() == wanted)
            return c;
    }
    return nullptr;
}
