#ifndef VAULTIX_VAULT_PASSWORDCHANGE_H
#define VAULTIX_VAULT_PASSWORDCHANGE_H

#include <QString>

class CVault;

// The decision behind the set/change password dialog, without the dialog.
// Deciding changes nothing: the old password is checked with a scratch key.
struct CPasswordChange
{
    enum Status { NoChange = 0, Set = 1, Removed = 2, Changed = 3 };
    enum Error { NoError = 0, WrongOldPassword, NewPasswordsDiffer, NotLatin1 };

    int status = NoChange;
    QString newPassword;
    Error error = NoError;

    // Checks the old password and the confirmation; fills status,
    // newPassword and error.
    void Decide(const CVault& vault, const QString& oldPwd, const QString& newPwd, const QString& confirm);
};

#endif
