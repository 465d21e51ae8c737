#ifndef VAULTIX_UI_VXLISTVIEWITEM_H
#define VAULTIX_UI_VXLISTVIEWITEM_H

#include <QString>
#include <QTreeWidgetItem>

class CCategory;
class CRecord;
class CVault;
class CvxListView;

// One row of the record list. The record belongs to the collection; rows
// are thrown away and made again on every rebuild, so none outlives it.
class CvxListViewItem : public QTreeWidgetItem
{
public:
    enum { Type = QTreeWidgetItem::UserType + 1 };

    // Filled in from the view's vault; the view adds it, with the others of
    // a rebuild at once.
    CvxListViewItem(CvxListView* view, const CRecord* record);
    // The texts it keeps may have been deciphered.
    ~CvxListViewItem() override;

    // The record's category, or null when it has none.
    const CCategory* GetCategory() const;
    const CRecord* GetRecord() const { return m_record; }

    // Upper-cased so that sorting ignores case; column 0 sorts by category name.
    const QString& key(int column) const;
    bool operator<(const QTreeWidgetItem& other) const override;
    QVariant data(int column, int role) const override;

    // What Find looks for in this row (CRecordFinder::searchKey), made on
    // first use.
    const QString& searchKey() const;
    // Whether Find hides the row: kept here, as asking the view is slow
    // once many rows are hidden.
    bool hiddenByFind = false;

private:
    // Columns 1 to 3 as shown.
    const QString& shownText(int column) const;

    const CVault* m_vault;
    const CRecord* m_record;
    mutable QString m_texts[3];
    mutable unsigned char m_textsMade = 0;
    // Sorting asks for each key many times; a row's texts never change.
    mutable QString m_keys[4];
    mutable unsigned char m_keysMade = 0;
    mutable QString m_searchKey;
    mutable bool m_searchKeyMade = false;
};

#endif
