#include "ui/unlockdatabase.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "platform/messagebox.h"
#include "ui/dlgpassword.h"
#include "vault/password.h"

#include <memory>

bool UnlockDatabase(QWidget* parent, QWidget* second, const QString& prompt)
{
    if (!_AppCfg || !_AppCfg->locked)
        return true;
    // Nothing to unlock without a password; the flag stays as it is.
    if (!_AppCfg->anyVerifierByte())
        return true;

    std::unique_ptr<CdlgPassword> dlg(prompt.isNull() ? new CdlgPassword(parent, second)
                                                      : new CdlgPassword(parent, second, prompt));
    for (;;) {
        if (dlg->exec() != QDialog::Accepted)
            return false;
        if (CheckValidPwd(dlg->GetPassword())) {
            _AppCfg->locked = false;
            return true;
        }
        // Yes runs the same dialog again, the entry as the user left it.
        if (!CMessageBox::question(parent, CdlgPassword::tr("Password Incorrect"),
                                   CdlgPassword::tr("You have entered an incorrect\npassword would you like to\ntry again ?"),
                                   QMessageBox::Warning))
            return false;
    }
}
