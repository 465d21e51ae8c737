#include "vault/password.h"

#include "crypto/cipherkey.h"
#include "crypto/wipe.h"

#include <QCoreApplication>

#include <cstring>

namespace Password {

CCipherKey KeyFor(const QString& password)
{
    QByteArray latin = password.toLatin1();
    CCipherKey key(latin);
    if (!latin.isEmpty())
        WipeBytes(latin.data(), std::size_t(latin.size()));
    return key;
}

void MakeVerifier(const CCipherKey& key, unsigned char out[8])
{
    // Enciphered under the password's key, this block is the stored verifier.
    char block[8];
    std::memcpy(block, "KESTR_ZU", 8);
    key.encrypt(block, 8);
    std::memcpy(out, block, 8);
}

bool IsLatin1(const QString& password)
{
    for (const QChar c : password) {
        if (c.unicode() > 0xff)
            return false;
    }
    return true;
}

QString NotLatin1Text()
{
    return QCoreApplication::translate("Password",
                                       "The password may only hold characters of the Latin-1 set (Western "
                                       "European letters, digits and signs). Nothing was changed.");
}

} // namespace Password
