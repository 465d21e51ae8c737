#include "ui/dlgcategoryedit.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/records.h"
#include "platform/messagebox.h"
#include "platform/resource.h"
#include "storage/cxtransaction.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QRegularExpressionValidator>

#include <memory>

namespace {
const char* const IconFolder = "korel/icons.18x14/";

bool passwordSet()
{
    return _AppCfg && _AppCfg->hasPassword();
}

// Locked in the sense that matters here: there is a key the records would
// need and it is not at hand.
bool dataLocked()
{
    return _AppCfg && _AppCfg->locked && passwordSet();
}

QStringList iconNames()
{
    return _AppCfg ? _AppCfg->iconNames : QStringList();
}
} // namespace

CdlgCategoryEdit::CdlgCategoryEdit(QWidget* parent, CRecords* records, CCategories* categories,
                                   CCategory* category)
    : CQPEDialog(parent, 210, 228)
    , m_records(records)
    , m_categories(categories)
    , m_category(category)
{
    setWindowTitle(category ? tr("Edit Category") : tr("New Category"));

    makeLabel(this, tr("Name:"), 5, 5, 40, 16);
    m_name = makeEdit(5, 25);
    m_name->setObjectName(QStringLiteral("name"));
    makeLabel(this, tr("Icon:"), 155, 5, 40, 16);
    m_icon = new QComboBox(this);
    m_icon->setGeometry(155, 25, 50, 22);
    m_icon->setIconSize(QSize(18, 14));
    makeLabel(this, tr("First field"), 10, 55, 50, 16);
    m_labels[0] = makeEdit(65, 55);
    m_protect = new QCheckBox(tr("Password protect data in this\ncategory for the following fields:"), this);
    m_protect->setGeometry(5, 80, 180, 32);
    for (int i = 2; i <= 6; ++i) {
        makeLabel(this, tr("Field %1").arg(i), 10, 120 + 18 * (i - 2), 50, 16);
        m_labels[i - 1] = makeEdit(65, 118 + 18 * (i - 2));
    }
    for (int i = 0; i < 6; ++i)
        m_labels[i]->setObjectName(QStringLiteral("label%1").arg(i + 1));

    // Pictures only; the names stay in the settings' list, index for index.
    const QStringList icons = iconNames();
    int current = 0;
    for (int i = 0; i < icons.size(); ++i) {
        m_icon->addItem(QIcon(Resource::loadPixmap(QLatin1String(IconFolder) + icons[i])), QString());
        if (category && icons[i] == category->icon)
            current = i;
    }
    // No icons installed: the category keeps the icon it has.
    m_icon->setEnabled(!icons.isEmpty());
    if (!icons.isEmpty())
        m_icon->setCurrentIndex(current);

    if (category) {
        m_name->setText(category->name);
        for (int i = 0; i < 6; ++i)
            m_labels[i]->setText(category->labels[i]);
        m_protect->setChecked(category->isProtected);
    }
    m_name->setFocus();
}

QLineEdit* CdlgCategoryEdit::makeEdit(int x, int y)
{
    auto* edit = new QLineEdit(this);
    edit->setGeometry(x, y, 90, 18);
    edit->setMaxLength(MaxText);
    // The file holds Latin-1 text; anything else could only be stored as '?'.
    edit->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[\\x{20}-\\x{ff}]*")), edit));
    return edit;
}

bool CdlgCategoryEdit::MayChangeProtection(bool wanted)
{
    if (!m_category || wanted == m_category->isProtected || !dataLocked())
        return true;
    CMessageBox::information(this, tr("Edit Category"),
                             wanted ? tr("Unable to add password\nprotection.\nPlease unlock the data first.")
                                    : tr("Unable to remove password\nprotection.\nPlease unlock the data first."));
    return false;
}

QString CdlgCategoryEdit::ChosenIcon() const
{
    const QStringList icons = iconNames();
    if (icons.isEmpty())
        return m_category ? m_category->icon : QString();
    const int index = m_icon->currentIndex();
    return index >= 0 && index < icons.size() ? icons[index] : icons.first();
}

void CdlgCategoryEdit::accept()
{
    if (!m_categories || !m_records)
        return CQPEDialog::reject();
    const QString name = m_name->text().left(MaxText);
    const bool wanted = m_protect->isChecked();

    // Every refusal comes before anything changes, so that a dialog
    // cancelled after one leaves the category as it was.
    if (!m_category && m_categories->find(name)) {
        CMessageBox::information(this, tr("Edit Category"),
                                 tr("A category with this name\nalready exists.\nPlease use another name."));
        return;
    }
    if (!MayChangeProtection(wanted))
        return;

    CCategory* category = m_category;
    std::unique_ptr<CCategory> created;
    if (!category) {
        created.reset(m_categories->CreateNew());
        category = created.get();
    }
    category->name = name;
    for (int i = 0; i < 6; ++i)
        category->labels[i] = m_labels[i]->text().left(MaxText);
    category->icon = ChosenIcon();

    // The records and the category's flag reach the file together, or
    // neither does.
    CxTransaction transaction(_AppFile);
    // Only a real change converts: each record is enciphered or deciphered
    // exactly once. A new category has no records yet.
    if (created || !passwordSet() || wanted == category->isProtected)
        category->isProtected = wanted;
    else if (wanted) {
        m_records->EncryptCategoryRecords(category);
        category->isProtected = true;
    } else {
        m_records->DecryptCategoryRecords(category);
        category->isProtected = false;
    }

    const bool written = category->WriteRecord();
    transaction.commit();
    if (!written && created) {
        // Every key of the category range is taken.
        CMessageBox::information(this, tr("New Category"), tr("There is no room for\nanother category."));
        return;
    }
    // The collection stays in name order, also after a rename.
    if (created)
        m_categories->InsertSeq(created.release(), true);
    else if (m_categories->count > 1) {
        m_categories->Unlink(category);
        m_categories->InsertSeq(category, true);
    }
    CQPEDialog::accept();
}

bool CdlgCategoryEdit::RunEditor(QWidget* list, CRecords* records, CCategories* categories, CCategory* category)
{
    CdlgCategoryEdit dlg(list, records, categories, category);
    return dlg.exec() == QDialog::Accepted;
}
