#ifndef VAULTIX_UI_DLGCATEGORYSELECT_H
#define VAULTIX_UI_DLGCATEGORYSELECT_H

#include "ui/qpedialog.h"

class CCategories;
class CCategory;
class CVault;
class QComboBox;
class QPushButton;

// Chooses a category and what to do with it; it changes nothing itself.
class CdlgCategorySelect : public CQPEDialog
{
    Q_OBJECT

public:
    enum Action { NoAction = 0, EditAction = 1, NewAction = 2, DeleteAction = 3 };

    CdlgCategorySelect(QWidget* parent, const CCategories* categories);

    // The category at `index` in the collection, or none past its end.
    void SetSelectedCategory(int index);
    CCategory* GetSelectedCategory() const { return m_selected; }
    int GetSelectedAction() const { return m_action; }

    // The Category command: the chooser, then the editor or the deletion.
    // True when a category was changed, added or removed; the caller then
    // shows all categories again.
    static bool RunCategoryCommand(CVault& vault, QWidget* list);

signals:
    void exitDlg();

public slots:
    void slotBtnEdit();
    void slotBtnDelete();
    void slotBtnNew();

private:
    QPushButton* makeButton(const QString& text, int x, int y);

    const CCategories* m_categories;
    CCategory* m_selected = nullptr;
    int m_action = NoAction;
    QComboBox* m_combo;
};

#endif
