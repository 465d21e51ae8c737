#include "ui/vxlistviewitem.h"

#include "vault/recordfinder.h"
#include "vault/vault.h"
#include "platform/resource.h"
#include "ui/vxlistview.h"

CvxListViewItem::CvxListViewItem(QTreeWidget* list, const CRecord* record)
    : QTreeWidgetItem(Type)
    , m_record(record)
{
    // Filled in before it joins the list, so that the view hears of the
    // row once rather than once per cell.
    auto* view = qobject_cast<CvxListView*>(list);
    const CCategory* category = m_record ? GetCategory(view) : nullptr;
    if (category) {
        for (int column = 1; column <= 3; ++column)
            setText(column, view->vault().text(*m_record, column - 1));
        if (!category->icon.isEmpty())
            setData(0, Qt::DecorationRole,
                    Resource::loadPixmap(QStringLiteral("korel/icons.18x14/") + category->icon));
    } else if (m_record) {
        setText(1, QStringLiteral("-- CORRUPT RECORD --"));
    }
    if (!list)
        return;
    list->addTopLevelItem(this);
    // Too long for one column: the row's first cell paints it across all.
    if (m_record && !category)
        setFirstColumnSpanned(true);
}

CvxListViewItem::~CvxListViewItem()
{
    m_searchKey.fill(QChar(' '));
    for (QString& key : m_keys)
        key.fill(QChar(' '));
}

const QString& CvxListViewItem::searchKey() const
{
    if (!m_searchKeyMade) {
        auto* list = qobject_cast<CvxListView*>(treeWidget());
        if (list && m_record)
            m_searchKey = CRecordFinder::searchKey(list->vault(), *m_record);
        m_searchKeyMade = true;
    }
    return m_searchKey;
}

const CCategory* CvxListViewItem::GetCategory(CvxListView* list) const
{
    if (!list)
        list = qobject_cast<CvxListView*>(treeWidget());
    if (!m_record || !list || m_record->category < 0)
        return nullptr;
    return list->categories()->byId(m_record->category);
}

QString CvxListViewItem::key(int column) const
{
    if (column < 0 || column > 3)
        return text(column).toUpper();
    const unsigned char bit = 1u << column;
    if (!(m_keysMade & bit)) {
        if (column == 0) {
            const CCategory* category = GetCategory();
            m_keys[0] = category ? category->name.toUpper() : QString();
        } else {
            m_keys[column] = text(column).toUpper();
        }
        m_keysMade |= bit;
    }
    return m_keys[column];
}

bool CvxListViewItem::operator<(const QTreeWidgetItem& other) const
{
    const int column = treeWidget() ? treeWidget()->sortColumn() : 1;
    if (other.type() != Type)
        return QTreeWidgetItem::operator<(other);
    return key(column) < static_cast<const CvxListViewItem&>(other).key(column);
}
