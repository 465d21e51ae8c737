#include "ui/dlgcategoryselect.h"

#include "vault/appfile.h"
#include "vault/categories.h"
#include "vault/keyplan.h"
#include "vault/records.h"
#include "platform/messagebox.h"
#include "storage/cxfile.h"
#include "ui/dlgcategoryedit.h"

#include <QComboBox>
#include <QPushButton>

namespace {

bool holdsRecords(CRecords* records, const CCategory* category)
{
    for (CRecord* r = records->first(); r; r = CRecords::nextOf(r)) {
        if (r->category == category->id)
            return true;
    }
    return false;
}

// Refused while records of the category exist, otherwise asked. True when
// the category is gone.
bool deleteCategory(QWidget* list, CRecords* records, CCategories* categories, CCategory* category)
{
    if (holdsRecords(records, category)) {
        CMessageBox::information(list, CdlgCategorySelect::tr("Deleting Category"),
                                 CdlgCategorySelect::tr("Unable to delete the\n\"") + category->name
                                     + CdlgCategorySelect::tr("\"\ncategory, as it contains records.")
                                     + CdlgCategorySelect::tr("\nDelete the records first."));
        return false;
    }
    if (!CMessageBox::question(list, CdlgCategorySelect::tr("Delete Category?"),
                               CdlgCategorySelect::tr("Are you sure you want to delete\nthe: ") + category->name
                                   + CdlgCategorySelect::tr("\ncategory ?"),
                               QMessageBox::Information))
        return false;
    // A category never stored (or already gone from the file) still leaves
    // the collection.
    if (_AppFile && category->id >= 0 && category->id <= KeyPlan::MaxCategoryId
        && _AppFile->FindRecord(KeyPlan::CategoryKey(category->id)))
        _AppFile->DeleteRecord();
    categories->Delete(category);
    return true;
}

} // namespace

CdlgCategorySelect::CdlgCategorySelect(QWidget* parent, CCategories* categories)
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

bool CdlgCategorySelect::RunCategoryCommand(QWidget* list, CRecords* records, CCategories* categories)
{
    if (!records || !categories)
        return false;
    CdlgCategorySelect chooser(list, categories);
    if (chooser.exec() != QDialog::Accepted)
        return false;
    CCategory* category = chooser.GetSelectedCategory();
    switch (chooser.GetSelectedAction()) {
    case EditAction:
        // Nothing to edit in an empty collection; that is not a new category.
        return category && CdlgCategoryEdit::RunEditor(list, records, categories, category);
    case NewAction:
        return CdlgCategoryEdit::RunEditor(list, records, categories, nullptr);
    case DeleteAction:
        return category && deleteCategory(list, records, categories, category);
    default:
        return false;
    }
}
