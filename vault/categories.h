#ifndef VAULTIX_VAULT_CATEGORIES_H
#define VAULTIX_VAULT_CATEGORIES_H

#include "vault/category.h"
#include "vault/dlist.h"

#include <QString>

// All categories, kept in name order (by character code).
class CCategories : public CDList
{
public:
    ~CCategories() override = default;
    int CompareFunc(CDListNode* a, CDListNode* b) override;

    // A category with a free id, not linked and not stored.
    CCategory* CreateNew() const;
    // The category with this id, or the first one when there is none.
    CCategory* GetCategory(int id) const;
    // The category with exactly this id, or null.
    CCategory* byId(int id) const;
    // The first category whose name equals `name` ignoring case.
    CCategory* find(const QString& name) const;
    // The first category whose name equals `name` exactly.
    CCategory* named(const QString& name) const;

    CCategory* first() const { return static_cast<CCategory*>(head); }
    static CCategory* nextOf(CCategory* c) { return static_cast<CCategory*>(c->next); }
    static const CCategory* nextOf(const CCategory* c) { return static_cast<const CCategory*>(c->next); }
};

#endif
