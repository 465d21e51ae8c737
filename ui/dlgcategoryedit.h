#ifndef VAULTIX_UI_DLGCATEGORYEDIT_H
#define VAULTIX_UI_DLGCATEGORYEDIT_H

#include "ui/qpedialog.h"

class CCategory;
class CVault;
class QCheckBox;
class QComboBox;
class QLineEdit;

// Creates a category or changes one: name, icon, six field labels and the
// protection of its records. Accepting stores the category at once and,
// when the protection changes under a password, re-enciphers its records.
class CdlgCategoryEdit : public CQPEDialog
{
    Q_OBJECT

public:
    static constexpr int MaxText = 31;

    // A null category makes a new one.
    CdlgCategoryEdit(CVault& vault, QWidget* parent, const CCategory* category);

    // The editor on a category (null: a new one). True when a change was
    // stored.
    static bool RunEditor(CVault& vault, QWidget* list, const CCategory* category);

public slots:
    void accept() override;

private:
    QLineEdit* makeEdit(int x, int y);
    // Refuses (with its message) a protection change while the data is
    // locked; false then.
    bool MayChangeProtection(bool wanted);
    QString ChosenIcon() const;

    CVault& m_vault;
    const CCategory* m_category;
    QLineEdit* m_name;
    QComboBox* m_icon;
    QLineEdit* m_labels[6];
    QCheckBox* m_protect;
};

#endif
