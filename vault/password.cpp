#include "vault/password.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "crypto/fieldcrypt.h"

#include <cstring>

namespace {

// Enciphered under the password's key, this block is the stored verifier.
const char VerifierPlain[] = "KESTR_ZU";

void makeVerifier(const QString& password, unsigned char out[8])
{
    char block[8];
    std::memcpy(block, VerifierPlain, 8);
    EncryptSetPwd(password);
    EncryptData(block, 8);
    std::memcpy(out, block, 8);
}

} // namespace

void EncryptAddNewPwd(QString password)
{
    unsigned char block[8];
    makeVerifier(password, block);
    if (!_AppCfg)
        return;
    std::memcpy(_AppCfg->verifier, block, 8);
    _AppCfg->passwordLength = int32_t(password.length());
    _AppCfg->save();
}

bool CheckValidPwd(QString password)
{
    unsigned char block[8];
    makeVerifier(password, block);
    if (!_AppCfg)
        return false;
    return password.length() == _AppCfg->passwordLength
           && std::memcmp(block, _AppCfg->verifier, 8) == 0;
}

void LockDatabase()
{
    if (_AppCfg)
        _AppCfg->locked = true;
}
