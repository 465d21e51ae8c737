#ifndef VAULTIX_UI_DLGRECORDEDIT_H
#define VAULTIX_UI_DLGRECORDEDIT_H

#include "ui/listcontext.h"
#include "ui/qpedialog.h"

#include <QPalette>
#include <QString>

class CCategory;
class CNoteEdit;
class CRecord;
class CVault;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;

// Views, creates, edits and deletes one record. Every change is stored
// through the vault before the dialog closes; a change that cannot be
// stored is reported and the dialog closes on what the file holds.
class CdlgRecordEdit : public CQPEDialog
{
    Q_OBJECT

public:
    static constexpr int FieldCount = 6;
    static constexpr int FieldMaxLength = 64;
    static constexpr int NoteMaxLength = 256;

    // A null record makes a new one; the list's filter then names the
    // category offered first.
    CdlgRecordEdit(const CListContext& list, const CRecord* record);
    ~CdlgRecordEdit() override;

    // The list's row tap (a record) and its New command (none): runs the
    // dialog on the list's vault and filter.
    static void Run(const CListContext& list, const CRecord* record);
    // The row menu's Edit: unlocks first when the record needs it, then
    // runs the dialog in editing.
    static void RunEdit(const CListContext& list, int key);
    // The row menu's Delete: the dialog's question, unlock and message,
    // without the dialog.
    static void RunDelete(const CListContext& list, int key);

    void UpdateFieldLabels(const CCategory* category);
    void UpdateControlState();

public slots:
    void accept() override;
    void slotBtnEdit();
    void slotBtnDelete();
    // Fills the field that has the focus with a new random password.
    void slotBtnGenerate();
    void slotCategoryChanged(const QString& name);

private:
    static bool confirmDelete(QWidget* parent, const CVault& vault, const CRecord& record);
    static QString lockedDeleteText();
    static QString lockedEditText();
    QPushButton* makeIconButton(const char* name, const QString& picture, int x);
    // The seven texts as the user has them: field 1 to 6, then the note.
    QString text(int number) const;
    void acceptDelete();
    void acceptExisting();
    void acceptNew();
    // The seven texts, Latin-1 as the file holds them.
    void takeTexts(QString (&texts)[FieldCount + 1]) const;
    // The record shown, looked up by its key: null when new or gone.
    const CRecord* record() const;
    void finish();
    // Reports a change that could not be stored; the dialog then closes.
    void fail(const QString& error);

    QComboBox* m_category;
    QLineEdit* m_fields[FieldCount];
    QLabel* m_labels[FieldCount];
    CNoteEdit* m_note;
    QPushButton* m_btnEdit;
    QPushButton* m_btnDelete;
    QPushButton* m_btnGenerate;
    // The look of the read-only fields while viewing.
    QPalette m_viewPalette;

    CVault& m_vault;
    const CCategory* m_currentCategory = nullptr;
    int m_key;
    bool m_editing;
    bool m_isNew;
    bool m_deleteRequested = false;
    // Set once the result is written: a second accept writes nothing more.
    bool m_done = false;
    // The texts as shown on opening; only a difference from them is a change.
    QString m_shown[FieldCount + 1];
};

#endif
