#include "vault/passwordchange.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/records.h"
#include "vault/password.h"
#include "storage/cxtransaction.h"

#include <cstring>

void CPasswordChange::Decide(const QString& oldPwd, const QString& newPwd, const QString& confirm)
{
    status = NoChange;
    newPassword = QString();
    error = NoError;

    const bool passwordSet = _AppCfg && _AppCfg->hasPassword();
    bool oldRight;
    if (oldPwd.isEmpty())
        oldRight = !passwordSet;
    else
        oldRight = passwordSet && CheckValidPwd(oldPwd); // keys the cipher for the change

    if (!oldRight) {
        error = WrongOldPassword;
        return;
    }
    if (newPwd != confirm) {
        error = NewPasswordsDiffer;
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

void ApplyPasswordChange(int status, const QString& newPassword, CRecords* records,
                         CCategories* categories)
{
    // The records and the settings' verifier change together or not at all.
    CxTransaction change(_AppFile);
    switch (status) {
    case CPasswordChange::Set:
        if (records)
            records->EncryptAllRecords(newPassword, categories);
        else
            EncryptAddNewPwd(newPassword);
        break;
    case CPasswordChange::Removed:
        if (records)
            records->DecryptAllRecords(categories);
        if (_AppCfg) {
            std::memset(_AppCfg->verifier, 0, sizeof _AppCfg->verifier);
            _AppCfg->passwordLength = 0;
            _AppCfg->save();
        }
        break;
    case CPasswordChange::Changed:
        if (records)
            records->ReplacePwdAllRecords(newPassword, categories);
        else
            EncryptAddNewPwd(newPassword);
        break;
    default:
        break;
    }
}
