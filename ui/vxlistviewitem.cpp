#include "ui/vxlistviewitem.h"

#include "crypto/wipe.h"
#include "vault/recordfinder.h"
#include "vault/vault.h"
#include "platform/resource.h"
#include "ui/vxlistview.h"

namespace {

// Clears a text this row made; one it shares belongs to another.
void wipeOwn(QString& text)
{
    if (!text.isEmpty() && text.isDetached())
        WipeBytes(text.data(), size_t(text.size()) * sizeof(QChar));
}

// As QString::toUpper, quicker for the plain ASCII most texts are.
QString upperCased(const QString& text)
{
    const qsizetype n = text.size();
    QString out(n, Qt::Uninitialized);
    const char16_t* from = reinterpret_cast<const char16_t*>(text.constData());
    char16_t* to = reinterpret_cast<char16_t*>(out.data());
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t c = from[i];
        if (c >= 0x80) {
            wipeOwn(out);
            return text.toUpper();
        }
        to[i] = c >= u'a' && c <= u'z' ? char16_t(c - 0x20) : c;
    }
    return out;
}

} // namespace

CvxListViewItem::CvxListViewItem(CvxListView* view, const CRecord* record)
    : QTreeWidgetItem(Type)
    , m_vault(&view->vault())
    , m_record(record)
{
}

CvxListViewItem::~CvxListViewItem()
{
    wipeOwn(m_searchKey);
    for (QString& key : m_keys)
        wipeOwn(key);
    for (QString& text : m_texts)
        wipeOwn(text);
}

// Texts are made when first shown or sorted by: a rebuild of many rows
// only pays for the rows on screen and the column sorted by.
QVariant CvxListViewItem::data(int column, int role) const
{
    if ((role == Qt::DisplayRole || role == Qt::EditRole) && column >= 1 && column <= 3)
        return shownText(column);
    if (role == Qt::DecorationRole && column == 0) {
        const CCategory* category = GetCategory();
        if (category && !category->icon.isEmpty())
            return Resource::loadPixmap(QStringLiteral("korel/icons.18x14/") + category->icon);
    }
    return QTreeWidgetItem::data(column, role);
}

const QString& CvxListViewItem::shownText(int column) const
{
    const unsigned char bit = 1u << column;
    QString& text = m_texts[column - 1];
    if (!(m_textsMade & bit)) {
        if (GetCategory())
            text = m_vault->text(*m_record, column - 1);
        else if (m_record && column == 1)
            text = QStringLiteral("-- CORRUPT RECORD --");
        m_textsMade |= bit;
    }
    return text;
}

const QString& CvxListViewItem::searchKey() const
{
    if (!m_searchKeyMade) {
        if (m_record)
            m_searchKey = CRecordFinder::searchKey(*m_vault, *m_record);
        m_searchKeyMade = true;
    }
    return m_searchKey;
}

const CCategory* CvxListViewItem::GetCategory() const
{
    if (!m_record || m_record->category < 0)
        return nullptr;
    return m_vault->categories().byId(m_record->category);
}

const QString& CvxListViewItem::key(int column) const
{
    static const QString none;
    if (column < 0 || column > 3)
        return none;
    const unsigned char bit = 1u << column;
    if (!(m_keysMade & bit)) {
        if (column == 0) {
            const CCategory* category = GetCategory();
            m_keys[0] = category ? upperCased(category->name) : QString();
        } else {
            m_keys[column] = upperCased(shownText(column));
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
