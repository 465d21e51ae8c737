#include "ui/dlgchgpassword.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "platform/messagebox.h"
#include "vault/passwordchange.h"

#include <QLineEdit>

namespace {
constexpr int MaxPasswordLength = 32;
}

CdlgChgPassword::CdlgChgPassword(QWidget* parent)
    : CQPEDialog(parent, 140, 141)
{
    setWindowTitle(tr("Set Password"));

    int y = 10;
    m_old = makeEntry("oldPassword", 29);
    if (_AppCfg && _AppCfg->anyVerifierByte()) {
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
    if (!(_AppCfg && _AppCfg->cleartextPwd))
        edit->setEchoMode(QLineEdit::Password);
    return edit;
}

void CdlgChgPassword::accept()
{
    CPasswordChange change;
    change.Decide(m_old->text(), m_new->text(), m_confirm->text());
    m_status = change.status;
    m_newPassword = change.newPassword;

    if (change.error == CPasswordChange::WrongOldPassword)
        CMessageBox::warning(this, tr("Password Incorrect"), tr("The old password you\nentered is incorrect."));
    else if (change.error == CPasswordChange::NewPasswordsDiffer)
        CMessageBox::warning(this, tr("Password Incorrect"), tr("The new passwords you\nentered do not match."));

    // An error closes the dialog too: the caller acts on the status alone.
    CQPEDialog::accept();
}

int CdlgChgPassword::RunChangeFlow(QWidget* list, CRecords* records, CCategories* categories)
{
    CdlgChgPassword dlg(list);
    if (dlg.exec() != QDialog::Accepted)
        return 0;
    const int status = dlg.GetChangedPasswordStatus();
    if (status != CPasswordChange::NoChange)
        ApplyPasswordChange(status, dlg.GetNewPassword(), records, categories);
    return status;
}
