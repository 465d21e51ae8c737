#ifndef VAULTIX_VAULT_PASSWORD_H
#define VAULTIX_VAULT_PASSWORD_H

#include <QString>

// Keys the cipher with the password and stores its verifier and length.
void EncryptAddNewPwd(QString password);
// True when the password matches the verifier; keys the cipher either way.
bool CheckValidPwd(QString password);
void LockDatabase();

#endif
