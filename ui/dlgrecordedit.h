#ifndef VAULTIX_UI_DLGRECORDEDIT_H
#define VAULTIX_UI_DLGRECORDEDIT_H

#include "ui/qpedialog.h"

#include <QString>

class CCategories;
class CCategory;
class CNoteEdit;
class CRecord;
class CRecords;
class CvxListView;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

// Views, creates, edits and deletes one record. Every change reaches the
// record file and the record collection before the dialog closes; the
// caller only rebuilds its list.
class CdlgRecordEdit : public CQPEDialog
{
    Q_OBJECT

public:
    static constexpr int FieldCount = 6;
    static constexpr int FieldMaxLength = 64;
    static constexpr int NoteMaxLength = 256;

    // A null record makes a new one; `categoryId` (the list's filter) then
    // names the category offered first.
    CdlgRecordEdit(QWidget* parent, CCategories* categories, CRecords* records, int categoryId, CRecord* record);
    ~CdlgRecordEdit() override;

    // The list's row tap (a record) and its New command (none): runs the
    // dialog on the list's collections and filter, then rebuilds the list.
    static void Run(CvxListView* list, CRecord* record);

    void UpdateFieldLabels(CCategory* category);
    void UpdateControlState();

public slots:
    void accept() override;
    void slotBtnEdit();
    void slotBtnDelete();
    void slotCategoryChanged(const QString& name);

private:
    QPushButton* makeIconButton(const char* name, const QString& picture, int x);
    // The seven texts as the user has them: field 1 to 6, then the note.
    QString text(int number) const;
    void acceptDelete();
    void acceptExisting();
    void acceptNew();
    // Stores the seven texts into the record, Latin-1 as the file holds them.
    void storeTexts(CRecord* record) const;
    void finish();

    QComboBox* m_category;
    QLineEdit* m_fields[FieldCount];
    QLabel* m_labels[FieldCount];
    CNoteEdit* m_note;
    QPushButton* m_btnEdit;
    QPushButton* m_btnDelete;

    CCategories* m_categories;
    CCategory* m_currentCategory = nullptr;
    CRecords* m_records;
    CRecord* m_record;
    bool m_editing;
    bool m_isNew;
    bool m_deleteRequested = false;
    // Set once the result is written: a second accept writes nothing more.
    bool m_done = false;
    // The texts as shown on opening; only a difference from them is a change.
    QString m_shown[FieldCount + 1];
};

#endif
