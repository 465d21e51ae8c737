#include "ui/dlgpwdwarn.h"

#include "platform/messagebox.h"
#include "ui/shell.h"
#include "vault/vault.h"

#include <QCheckBox>

CdlgPwdWarn::CdlgPwdWarn(QWidget* parent)
    : CQPEDialog(parent, 188, 88)
{
    setWindowTitle(tr("No Password"));
    makeLabel(this, tr("You have not set a password."), 10, 10, 158, 16);
    makeLabel(this, tr("Until you have set a password,\nyour data is not secure."), 10, 26, 168, 32);
    m_show = new QCheckBox(tr("Show this warning in the future."), this);
    m_show->setGeometry(10, 60, 176, 18);
    m_show->setChecked(true);
}

bool CdlgPwdWarn::GetShowWarning() const
{
    return m_show->isChecked();
}

void ShowNoPasswordWarning(CVault& vault, QWidget* list)
{
    if (vault.settings().anyVerifierByte() || !vault.settings().showNoPwdWarning)
        return;
    CdlgPwdWarn dlg(list);
    dlg.exec();
    if (dlg.GetShowWarning())
        return;
    CvxConfig settings = vault.settings();
    settings.showNoPwdWarning = false;
    const CVaultResult result = vault.saveSettings(settings);
    if (!result.ok())
        CMessageBox::critical(list, Shell::Title(), result.error());
}
