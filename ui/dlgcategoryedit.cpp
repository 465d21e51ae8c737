#include "ui/dlgcategoryedit.h"

#include "platform/messagebox.h"
#include "platform/resource.h"
#include "ui/shell.h"
#include "vault/keyplan.h"
#include "vault/vault.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QRegularExpressionValidator>

#include <memory>

namespace {
const char* const IconFolder = "korel/icons.18x14/";

} // namespace

CdlgCategoryEdit::CdlgCategoryEdit(CVault& vault, QWidget* parent, const CCategory* category)
    : CQPEDialog(parent, 210, 228)
    , m_vault(vault)
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
    const QStringList icons = m_vault.settings().iconNames;
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
    // Locked in the sense that matters here: there is a key the records
    // would need and it is not at hand.
    if (!m_category || wanted == m_category->isProtected || !m_vault.protectedDataLocked())
        return true;
    CMessageBox::information(this, tr("Edit Category"),
                             wanted ? tr("Unable to add password\nprotection.\nPlease unlock the data first.")
                                    : tr("Unable to remove password\nprotection.\nPlease unlock the data first."));
    return false;
}

QString CdlgCategoryEdit::ChosenIcon() const
{
    const QStringList icons = m_vault.settings().iconNames;
    if (icons.isEmpty())
        return m_category ? m_category->icon : QString();
    const int index = m_icon->currentIndex();
    return index >= 0 && index < icons.size() ? icons[index] : icons.first();
}

void CdlgCategoryEdit::accept()
{
    const QString name = m_name->text().left(MaxText);
    const bool wanted = m_protect->isChecked();

    // Every refusal comes before anything changes, so that a dialog
    // cancelled after one leaves the category as it was.
    // A rename onto another category's very name would not survive a
    // reload: the file keeps only one of two equal names.
    const CCategory* exact = m_vault.categories().named(name);
    if (m_category ? exact && exact->id != m_category->id : m_vault.categories().find(name) != nullptr) {
        CMessageBox::information(this, tr("Edit Category"),
                                 tr("A category with this name\nalready exists.\nPlease use another name."));
        return;
    }
    if (!MayChangeProtection(wanted))
        return;
    if (!m_category) {
        // Every key of the category range is taken.
        const std::unique_ptr<CCategory> probe(m_vault.categories().CreateNew());
        if (probe->id < 0 || probe->id > KeyPlan::MaxCategoryId) {
            CMessageBox::information(this, tr("New Category"), tr("There is no room for\nanother category."));
            return;
        }
    }

    CCategory data;
    data.id = m_category ? m_category->id : -1;
    data.name = name;
    for (int i = 0; i < 6; ++i)
        data.labels[i] = m_labels[i]->text().left(MaxText);
    data.icon = ChosenIcon();
    data.isProtected = wanted;
    // The vault re-enciphers the records only on a real change of
    // protection, with the category's flag in the same transaction.
    const CVaultResult result = m_category ? m_vault.updateCategory(data) : m_vault.addCategory(data);
    if (!result.ok()) {
        // The category read back from the file may be another object now.
        m_category = nullptr;
        CMessageBox::critical(this, Shell::Title(), result.error());
        CQPEDialog::reject();
        return;
    }
    CQPEDialog::accept();
}

bool CdlgCategoryEdit::RunEditor(CVault& vault, QWidget* list, const CCategory* category)
{
    CdlgCategoryEdit dlg(vault, list, category);
    return dlg.exec() == QDialog::Accepted;
}
