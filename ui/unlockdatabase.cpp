#include "ui/unlockdatabase.h"

#include "platform/messagebox.h"
#include "ui/dlgpassword.h"
#include "vault/password.h"
#include "vault/vault.h"

#include <memory>

bool UnlockDatabase(CVault& vault, QWidget* parent, QWidget* second, const QString& prompt)
{
    if (!vault.isLocked())
        return true;
    // Nothing to unlock without a password; the flag stays as it is.
    if (!vault.settings().anyVerifierByte())
        return true;

    std::unique_ptr<CdlgPassword> dlg(prompt.isNull() ? new CdlgPassword(parent, second)
                                                      : new CdlgPassword(parent, second, prompt));
    dlg->setClearText(vault.settings().cleartextPwd);
    for (;;) {
        if (dlg->exec() != QDialog::Accepted)
            return false;
        const QString password = dlg->GetPassword();
        if (!Password::IsLatin1(password)) {
            CMessageBox::warning(parent, CdlgPassword::tr("Password Incorrect"), Password::NotLatin1Text());
            continue;
        }
        if (vault.unlock(password))
            return true;
        // Yes runs the same dialog again, the entry as the user left it.
        if (!CMessageBox::question(parent, CdlgPassword::tr("Password Incorrect"),
                                   CdlgPassword::tr("You have entered an incorrect\npassword would you like to\ntry again ?"),
                                   QMessageBox::Warning))
            return false;
    }
}
