#ifndef VAULTIX_UI_DLGCATEGORYEDIT_H
#define VAULTIX_UI_DLGCATEGORYEDIT_H

#include "ui/qpedialog.h"

class CCategories;
class CCategory;
class CRecords;
class QCheckBox;
class QComboBox;
class QLineEdit;

// Creates a category or changes one: name, icon, six field labels and the
// protection of its records. Accepting writes the category at once and,
// when the protection changes under a password, re-enciphers its records.
class CdlgCategoryEdit : public CQPEDialog
{
    Q_OBJECT

public:
    static constexpr int MaxText = 31;

    // A null category makes a new one.
    CdlgCategoryEdit(QWidget* parent, CRecords* records, CCategories* categories, CCategory* category);

    // The editor on a category (null: a new one). True when accepted.
    static bool RunEditor(QWidget* list, CRecords* records, CCategories* categories, CCategory* category);

public slots:
    void accept() override;

private:
    QLineEdit* makeEdit(int x, int y);
    // Refuses (with its message) a protection change while the data is
    // locked; false then.
    bool MayChangeProtection(bool wanted);
    QString ChosenIcon() const;

    CRecords* m_records;
    CCategories* m_categories;
    CCategory* m_category;
    QLineEdit* m_name;
    QComboBox* m_icon;
    QLineEdit* m_labels[6];
    QCheckBox* m_protect;
};

#endif
