#include "ui/dlgpwdwarn.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"

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

void ShowNoPasswordWarning(QWidget* list)
{
    if (!_AppCfg || _AppCfg->anyVerifierByte() || !_AppCfg->showNoPwdWarning)
        return;
    CdlgPwdWarn dlg(list);
    dlg.exec();
    if (!dlg.GetShowWarning()) {
        _AppCfg->showNoPwdWarning = false;
        _AppCfg->save();
    }
}
