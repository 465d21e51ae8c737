#ifndef VAULTIX_UI_VXLISTMODEL_H
#define VAULTIX_UI_VXLISTMODEL_H

#include <QAbstractTableModel>
#include <QString>
#include <QVector>

#include <vector>

class CCategory;
class CRecord;
class CVault;

// The rows of the record list: one per record of the chosen category (or
// of all) that holds the find text, in the order sorted by. Texts are made
// when shown; a row keeps only its key for the column sorted by and, once
// searched, its folded texts, so that a list of many records pays for
// little more than the rows on the screen.
class CvxListModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    static constexpr int Columns = 4;

    explicit CvxListModel(const CVault& vault, QObject* parent = nullptr);
    ~CvxListModel() override;

    // The records of category `filter` (-1: all) again, from the vault.
    void rebuild(int filter);
    // Drops every row (the records they point to may be going).
    void clear();
    // Shows only the rows holding `text` (see CRecordFinder); empty: all.
    void setFindText(const QString& text);
    // The four column titles.
    void setHeaderTexts(const QStringList& texts);

    const CRecord* recordAt(int row) const;
    // The shown rows whose record has no category: their message is
    // painted across the whole row.
    QVector<int> damagedRows() const;

    int rowCount(const QModelIndex& parent = QModelIndex()) const override;
    int columnCount(const QModelIndex& parent = QModelIndex()) const override;
    QVariant data(const QModelIndex& index, int role = Qt::DisplayRole) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role = Qt::DisplayRole) const override;
    // Stable: rows with equal keys keep the order they had.
    void sort(int column, Qt::SortOrder order = Qt::AscendingOrder) override;

private:
    struct Row
    {
        explicit Row(const CRecord* r)
            : record(r)
        {
        }
        Row(Row&&) = default;
        Row& operator=(Row&&) = default;
        // The texts may have been deciphered.
        ~Row();

        const CRecord* record;
        QString key;
        QString searchKey;
        int keyColumn = -1;
        bool searchKeyMade = false;
    };

    const CCategory* categoryOf(const Row& row) const;
    QString text(const Row& row, int column) const;
    // Capitals, so that sorting ignores case; column 0 is the category name.
    const QString& key(Row& row, int column) const;
    void sortRows();
    // Picks the shown rows from the sorted ones (sorted again first when
    // `resort`); views keep their place on the rows they had.
    void relayout(bool resort);
    void pickShown();

    const CVault& m_vault;
    std::vector<Row> m_rows;          // in the vault's order
    std::vector<int> m_sorted;        // m_rows indexes, sorted
    std::vector<int> m_shown;         // those holding the find text
    QString m_find;
    QStringList m_headers;
    int m_sortColumn = 1;
    Qt::SortOrder m_order = Qt::AscendingOrder;
};

#endif
