#include "ui/vxlistmodel.h"

#include "crypto/wipe.h"
#include "platform/resource.h"
#include "vault/recordfinder.h"
#include "vault/vault.h"

#include <QPixmap>

#include <algorithm>

namespace {

// Clears a text this list made; one it shares belongs to another.
void wipeOwn(QString& text)
{
    if (!text.isEmpty() && text.isDetached())
        WipeBytes(text.data(), size_t(text.size()) * sizeof(QChar));
}

// As QString::toUpper, in place for the plain ASCII most texts are.
QString upperCased(QString text)
{
    const qsizetype n = text.size();
    char16_t* at = reinterpret_cast<char16_t*>(text.data());
    for (qsizetype i = 0; i < n; ++i) {
        if (at[i] >= 0x80) {
            QString upper = text.toUpper();
            wipeOwn(text);
            return upper;
        }
    }
    for (qsizetype i = 0; i < n; ++i) {
        if (at[i] >= u'a' && at[i] <= u'z')
            at[i] = char16_t(at[i] - 0x20);
    }
    return text;
}

} // namespace

CvxListModel::Row::~Row()
{
    wipeOwn(searchKey);
    wipeOwn(key);
}

CvxListModel::CvxListModel(const CVault& vault, QObject* parent)
    : QAbstractTableModel(parent)
    , m_vault(vault)
    , m_headers(Columns)
{
}

CvxListModel::~CvxListModel() = default;

void CvxListModel::rebuild(int filter)
{
    beginResetModel();
    m_rows.clear();
    size_t count = 0;
    for (const CRecord* r = m_vault.records().first(); r; r = CRecords::nextOf(r))
        count += filter == -1 || r->category == filter;
    m_rows.reserve(count);
    for (const CRecord* r = m_vault.records().first(); r; r = CRecords::nextOf(r)) {
        if (filter == -1 || r->category == filter)
            m_rows.emplace_back(r);
    }
    m_sorted.resize(m_rows.size());
    for (size_t i = 0; i < m_sorted.size(); ++i)
        m_sorted[i] = int(i);
    sortRows();
    pickShown();
    endResetModel();
}

void CvxListModel::clear()
{
    beginResetModel();
    m_rows.clear();
    m_sorted.clear();
    m_shown.clear();
    endResetModel();
}

void CvxListModel::setFindText(const QString& text)
{
    if (text == m_find)
        return;
    m_find = text;
    relayout(false);
}

void CvxListModel::setHeaderTexts(const QStringList& texts)
{
    m_headers = texts;
    emit headerDataChanged(Qt::Horizontal, 0, Columns - 1);
}

const CRecord* CvxListModel::recordAt(int row) const
{
    return row >= 0 && row < int(m_shown.size()) ? m_rows[size_t(m_shown[size_t(row)])].record : nullptr;
}

QVector<int> CvxListModel::damagedRows() const
{
    QVector<int> out;
    for (size_t i = 0; i < m_shown.size(); ++i) {
        if (!categoryOf(m_rows[size_t(m_shown[i])]))
            out.append(int(i));
    }
    return out;
}

int CvxListModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int(m_shown.size());
}

int CvxListModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : Columns;
}

QVariant CvxListModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= int(m_shown.size()))
        return QVariant();
    const int at = m_shown[size_t(index.row())];
    const int column = index.column();
    if ((role == Qt::DisplayRole || role == Qt::EditRole) && column >= 1 && column < Columns)
        return text(m_rows[size_t(at)], column);
    if (role == Qt::DecorationRole && column == 0) {
        const CCategory* category = categoryOf(m_rows[size_t(at)]);
        if (category && !category->icon.isEmpty())
            return Resource::loadPixmap(QStringLiteral("korel/icons.18x14/") + category->icon);
    }
    return QVariant();
}

QVariant CvxListModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal || section < 0 || section >= Columns)
        return QVariant();
    if (role == Qt::DisplayRole)
        return m_headers.value(section);
    // A first tap on a header sorts ascending, whatever the style prefers.
    if (role == Qt::InitialSortOrderRole)
        return Qt::AscendingOrder;
    return QVariant();
}

void CvxListModel::sort(int column, Qt::SortOrder order)
{
    if (column < 0 || column >= Columns)
        return;
    m_sortColumn = column;
    m_order = order;
    relayout(true);
}

void CvxListModel::relayout(bool resort)
{
    emit layoutAboutToBeChanged({}, QAbstractItemModel::VerticalSortHint);
    const QModelIndexList before = persistentIndexList();
    std::vector<int> held;
    held.reserve(size_t(before.size()));
    for (const QModelIndex& i : before)
        held.push_back(m_shown[size_t(i.row())]);
    if (resort)
        sortRows();
    pickShown();
    std::vector<int> rowOf(m_rows.size(), -1);
    for (size_t r = 0; r < m_shown.size(); ++r)
        rowOf[size_t(m_shown[r])] = int(r);
    QModelIndexList after;
    after.reserve(before.size());
    for (qsizetype i = 0; i < before.size(); ++i) {
        const int row = rowOf[size_t(held[size_t(i)])];
        after.append(row < 0 ? QModelIndex() : index(row, before[i].column()));
    }
    changePersistentIndexList(before, after);
    emit layoutChanged({}, QAbstractItemModel::VerticalSortHint);
}

void CvxListModel::sortRows()
{
    // Sorted on a compact copy: each key's first four characters as one
    // number, compared before the rest, and where its text lies.
    struct Item
    {
        quint64 head;
        QStringView key;
        int at;
    };
    std::vector<Item> items;
    items.reserve(m_sorted.size());
    for (int at : m_sorted) {
        const QString& k = key(m_rows[size_t(at)], m_sortColumn);
        quint64 head = 0;
        for (qsizetype i = 0; i < 4; ++i)
            head = head << 16 | (i < k.size() ? k[i].unicode() : 0u);
        items.push_back({head, QStringView(k), at});
    }
    auto less = [](const Item& a, const Item& b) { return a.head != b.head ? a.head < b.head : a.key < b.key; };
    if (m_order == Qt::AscendingOrder)
        std::stable_sort(items.begin(), items.end(), less);
    else
        std::stable_sort(items.begin(), items.end(), [&less](const Item& a, const Item& b) { return less(b, a); });
    for (size_t i = 0; i < items.size(); ++i)
        m_sorted[i] = items[i].at;
}

void CvxListModel::pickShown()
{
    m_shown.clear();
    if (m_find.isEmpty()) {
        m_shown = m_sorted;
        return;
    }
    // A keystroke costs one look at each row's folded texts, made once.
    const CRecordFinder finder(m_find);
    for (int at : m_sorted) {
        Row& row = m_rows[size_t(at)];
        if (!row.searchKeyMade) {
            row.searchKey = CRecordFinder::searchKey(m_vault, *row.record);
            row.searchKeyMade = true;
        }
        if (finder.matchesKey(row.searchKey))
            m_shown.push_back(at);
    }
}

const CCategory* CvxListModel::categoryOf(const Row& row) const
{
    if (!row.record || row.record->category < 0)
        return nullptr;
    return m_vault.categories().byId(row.record->category);
}

QString CvxListModel::text(const Row& row, int column) const
{
    if (categoryOf(row))
        return m_vault.text(*row.record, column - 1);
    return column == 1 ? QStringLiteral("-- CORRUPT RECORD --") : QString();
}

const QString& CvxListModel::key(Row& row, int column) const
{
    if (row.keyColumn != column) {
        wipeOwn(row.key);
        if (column == 0) {
            const CCategory* category = categoryOf(row);
            row.key = category ? upperCased(category->name) : QString();
        } else {
            QString shown = text(row, column);
            row.key = upperCased(std::move(shown));
        }
        row.keyColumn = column;
    }
    return row.key;
}
