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

CvxListModel::Row::~Row()
{
    wipeOwn(searchKey);
    for (QString& k : keys)
        wipeOwn(k);
    for (QString& t : texts)
        wipeOwn(t);
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
        return text(at, column);
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
    const int column = m_sortColumn;
    // Keys first, so that the comparisons only compare.
    for (int at : m_sorted)
        key(at, column);
    if (m_order == Qt::AscendingOrder)
        std::stable_sort(m_sorted.begin(), m_sorted.end(),
                         [this, column](int a, int b) { return m_rows[size_t(a)].keys[column] < m_rows[size_t(b)].keys[column]; });
    else
        std::stable_sort(m_sorted.begin(), m_sorted.end(),
                         [this, column](int a, int b) { return m_rows[size_t(b)].keys[column] < m_rows[size_t(a)].keys[column]; });
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

const QString& CvxListModel::text(int at, int column) const
{
    Row& row = m_rows[size_t(at)];
    const unsigned char bit = 1u << column;
    QString& t = row.texts[column - 1];
    if (!(row.textsMade & bit)) {
        if (categoryOf(row))
            t = m_vault.text(*row.record, column - 1);
        else if (column == 1)
            t = QStringLiteral("-- CORRUPT RECORD --");
        row.textsMade |= bit;
    }
    return t;
}

const QString& CvxListModel::key(int at, int column) const
{
    Row& row = m_rows[size_t(at)];
    const unsigned char bit = 1u << column;
    if (!(row.keysMade & bit)) {
        if (column == 0) {
            const CCategory* category = categoryOf(row);
            row.keys[0] = category ? upperCased(category->name) : QString();
        } else {
            row.keys[column] = upperCased(text(at, column));
        }
        row.keysMade |= bit;
    }
    return row.keys[column];
}
