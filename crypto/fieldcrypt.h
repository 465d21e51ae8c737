#ifndef VAULTIX_CRYPTO_FIELDCRYPT_H
#define VAULTIX_CRYPTO_FIELDCRYPT_H

#include "crypto/blowfish.h"

#include <QString>

// The one key schedule of the process; keyed by EncryptSetPwd.
extern BLOWFISH_CTX ctx;

void EncryptSetPwd(QString password);
// In place on the global key; see bf_encrypt for the buffer length rule.
void EncryptData(char* data, int len);
void DecryptData(char* data, int len);

#endif
