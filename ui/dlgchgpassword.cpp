#include "ui/dlgchgpassword.h"

#include "platform/messagebox.h"
#include "ui/shell.h"
#include "vault/password.h"
#include "vault/passwordchange.h"
#include "vault/vault.h"

#include <QLineEdit>

namespace {
constexpr int MaxPasswordLength = 32;
}

CdlgChgPassword::CdlgChgPassword(const CVault& vault, QWidget* parent)
    : CQPEDialog(parent, 140, 141)
    , m_vault(vault)
{
    setWindowTitle(tr("Set Password"));

    int y = 10;
    m_old = makeEntry("oldPassword", 29);
    if (m_vault.settings().anyVerifierByte()) {
        makeLabel(this, tr("Old password"), 10, 10, 120, 16);
        y = 52;
    } else {
        m_old->hide();
        m_old->setEnabled(false);
    }
    makeLabel(this, tr("New password"), 10, y, 120, 16);
    m_new = makeEntry("newPassword", y + 19);
    makeLabel(this, tr("Confirm new password"), 10, y + 42, 120, 16);
    m_confirm = makeEntry("confirmPassword", y + 61);

    (m_old->isEnabled() ? m_old : m_new)->setFocus();
}

CdlgChgPassword::~CdlgChgPassword()
{
    // Leave no copy of a password in the fields' buffers.
    m_old->clear();
    m_new->clear();
    m_confirm->clear();
}

QLineEdit* CdlgChgPassword::makeEntry(const char* name, int y)
{
    auto* edit = new QLineEdit(this);
    edit->setObjectName(QLatin1String(name));
    edit->setGeometry(25, y, 90, 18);
    edit->setMaxLength(MaxPasswordLength);
    if (!m_vault.settings().cleartextPwd)
        edit->setEchoMode(QLineEdit::Password);
    return edit;
}

void CdlgChgPassword::accept()
{
    CPasswordChange change;
    change.Decide(m_vault, m_old->text(), m_new->text(), m_confirm->text());
    m_status = change.status;
    m_newPassword = change.newPassword;

    if (change.error == CPasswordChange::WrongOldPassword)
        CMessageBox::warning(this, tr("Password Incorrect"), tr("The old password you\nentered is incorrect."));
    else if (change.error == CPasswordChange::NewPasswordsDiffer)
        CMessageBox::warning(this, tr("Password Incorrect"), tr("The new passwords you\nentered do not match."));
    else if (change.error == CPasswordChange::NotLatin1)
        CMessageBox::warning(this, tr("Password Incorrect"), Password::NotLatin1Text());

    // An error closes the dialog too: the caller acts on the status alone.
    CQPEDialog::accept();
}

QString CdlgChgPassword::GetOldPassword() const
{
    return m_old->text();
}

int CdlgChgPassword::RunChangeFlow(CVault& vault, QWidget* list)
{
    CdlgChgPassword dlg(vault, list);
    if (dlg.exec() != QDialog::Accepted)
        return 0;
    const int status = dlg.GetChangedPasswordStatus();
    if (status == CPasswordChange::NoChange)
        return 0;
    const CVaultResult result = vault.changePassword(dlg.GetOldPassword(), dlg.GetNewPassword());
    if (!result.ok()) {
        CMessageBox::critical(list, Shell::Title(), result.error());
        return 0;
    }
    return status;
}
