#include "ui/dlgcategoryselect.h"

#include "platform/messagebox.h"
#include "ui/dlgcategoryedit.h"
#include "ui/shell.h"
#include "vault/vault.h"

#include <QComboBox>
#include <QPushButton>

namespace {

bool holdsRecords(const CRecords& records, const CCategory* category)
{
    for (CRecord* r = records.first(); r; r = CRecords::nextOf(r)) {
        if (r->category == category->id)
            return true;
    }
    return false;
}

// Refused while records of the category exist, otherwise asked. True when
// the category is gone.
bool deleteCategory(CVault& vault, QWidget* list, const CCategory* category)
{
    if (holdsRecords(vault.records(), category)) {
        CMessageBox::information(list, CdlgCategorySelect::tr("Deleting Category"),
                                 CdlgCategorySelect::tr("Unable to delete the\n\"%1\"\ncategory, as it contains "
                                                        "records.\nDelete the records first.")
                                     .arg(category->name));
        return false;
    }
    if (!CMessageBox::question(list, CdlgCategorySelect::tr("Delete Category?"),
                               CdlgCategorySelect::tr("Are you sure you want to delete\nthe: %1\ncategory ?")
                                   .arg(category->name),
                               QMessageBox::Information))
        return false;
    const CVaultResult result = vault.deleteCategory(category->id);
    if (!result.ok()) {
        CMessageBox::critical(list, Shell::Title(), result.error());
        return false;
    }
    return true;
}

} // namespace

CdlgCategorySelect::CdlgCategorySelect(QWidget* parent, const CCategories* categories)
    : CQPEDialog(parent, 150, 112)
    , m_categories(categories)
{
    setWindowTitle(tr("Categories"));

    m_combo = new QComboBox(this);
    m_combo->setGeometry(10, 10, 130, 20);
    if (m_categories) {
        for (CCategory* c = m_categories->first(); c; c = CCategories::nextOf(c))
            m_combo->addItem(c->name);
    }

    connect(makeButton(tr("&Edit"), 10, 35), &QPushButton::clicked, this, &CdlgCategorySelect::slotBtnEdit);
    connect(makeButton(tr("&Delete"), 90, 35), &QPushButton::clicked, this, &CdlgCategorySelect::slotBtnDelete);
    connect(makeButton(tr("&New"), 90, 76), &QPushButton::clicked, this, &CdlgCategorySelect::slotBtnNew);
    connect(this, &CdlgCategorySelect::exitDlg, this, &CdlgCategorySelect::accept);
}

QPushButton* CdlgCategorySelect::makeButton(const QString& text, int x, int y)
{
    auto* button = new QPushButton(text, this);
    button->setGeometry(x, y, 50, 26);
    button->setAutoDefault(false);
    return button;
}

void CdlgCategorySelect::SetSelectedCategory(int index)
{
    m_selected = nullptr;
    if (!m_categories || index < 0)
        return;
    CCategory* c = m_categories->first();
    for (int i = 0; c && i < index; ++i)
        c = CCategories::nextOf(c);
    m_selected = c;
}

void CdlgCategorySelect::slotBtnEdit()
{
    SetSelectedCategory(m_combo->currentIndex());
    m_action = EditAction;
    emit exitDlg();
}

void CdlgCategorySelect::slotBtnDelete()
{
    SetSelectedCategory(m_combo->currentIndex());
    m_action = DeleteAction;
    emit exitDlg();
}

void CdlgCategorySelect::slotBtnNew()
{
    m_action = NewAction;
    emit exitDlg();
}

bool CdlgCategorySelect::RunCategoryCommand(CVault& vault, QWidget* list)
{
    CdlgCategorySelect chooser(list, &vault.categories());
    if (chooser.exec() != QDialog::Accepted)
        return false;
    CCategory* category = chooser.GetSelectedCategory();
    switch (chooser.GetSelectedAction()) {
    case EditAction:
        // Nothing to edit in an empty collection; that is not a new category.
        return category && CdlgCategoryEdit::RunEditor(vault, list, category);
    case NewAction:
        return CdlgCategoryEdit::RunEditor(vault, list, nullptr);
    case DeleteAction:
        return category && deleteCategory(vault, list, category);
    default:
        return false;
    }
}
