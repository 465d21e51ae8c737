#include "vault/passwordchange.h"

#include "vault/password.h"
#include "vault/vault.h"

void CPasswordChange::Decide(const CVault& vault, const QString& oldPwd, const QString& newPwd,
                             const QString& confirm)
{
    status = NoChange;
    newPassword = QString();
    error = NoError;

    const bool passwordSet = vault.hasPassword();
    const bool oldRight = oldPwd.isEmpty() ? !passwordSet : passwordSet && vault.verifyPassword(oldPwd);
    if (!oldRight) {
        error = WrongOldPassword;
        return;
    }
    if (newPwd != confirm) {
        error = NewPasswordsDiffer;
        return;
    }
    if (!Password::IsLatin1(newPwd)) {
        error = NotLatin1;
        return;
    }
    if (newPwd.isEmpty()) {
        status = passwordSet ? Removed : NoChange;
        newPassword = QStringLiteral("");
    } else {
        status = passwordSet ? Changed : Set;
        newPassword = newPwd;
    }
}
