#include "ui/catcombo.h"

#include "vault/vault.h"
#include "ui/vxlistview.h"

CCatCombo::CCatCombo(CvxListView* list, QWidget* parent, int width)
    : QComboBox(parent)
    , m_categories(list ? list->categories() : nullptr)
{
    setEditable(false);
    setMinimumWidth(width);
    setMaximumWidth(width);
    refreshList();
    if (list)
        connect(this, &CCatCombo::signalShowFilteredByCategory, list,
                qOverload<int>(&CvxListView::slotShowFilteredByCategory));
    connect(this, qOverload<int>(&QComboBox::activated), this, &CCatCombo::slotItemChanged);
}

void CCatCombo::refreshList()
{
    clear();
    addItem(tr("All"));
    if (!m_categories)
        return;
    for (CCategory* category = m_categories->first(); category; category = CCategories::nextOf(category))
        addItem(category->name);
}

void CCatCombo::slotItemChanged(int index)
{
    // By name, so two categories of the same name both choose the first.
    const QString name = itemText(index);
    int id = -1;
    if (m_categories) {
        for (CCategory* category = m_categories->first(); category; category = CCategories::nextOf(category)) {
            if (category->name == name) {
                id = category->id;
                break;
            }
        }
    }
    emit signalShowFilteredByCategory(id);
}
