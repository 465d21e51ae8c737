#ifndef VAULTIX_VAULT_PASSWORDCHANGE_H
#define VAULTIX_VAULT_PASSWORDCHANGE_H

#include <QString>

class CCategories;
class CRecords;

// The decision behind the set/change password dialog, without the dialog.
struct CPasswordChange
{
    enum Status { NoChange = 0, Set = 1, Removed = 2, Changed = 3 };
    enum Error { NoError = 0, WrongOldPassword, NewPasswordsDiffer };

    int status = NoChange;
    QString newPassword;
    Error error = NoError;

    // Checks the old password (keying the cipher when one is set) and the
    // confirmation; fills status, newPassword and error.
    void Decide(const QString& oldPwd, const QString& newPwd, const QString& confirm);
};

// Rewrites the protected records for the given status and new password.
void ApplyPasswordChange(int status, const QString& newPassword, CRecords* records,
                         CCategories* categories);

#endif
