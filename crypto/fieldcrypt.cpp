#include "crypto/fieldcrypt.h"

#include "crypto/wipe.h"

#include <QByteArray>

#include <cstddef>
#include <cstring>

BLOWFISH_CTX ctx;

void EncryptSetPwd(QString password)
{
    const int n = password.length();
    QByteArray latin = password.toLatin1();

    // Zero-filled, so a null Latin-1 form still leaves a defined key.
    CWipedBuffer key{std::size_t(n) + 1};
    if (!latin.isNull()) {
        // Latin-1 conversion yields one byte per UTF-16 unit; the bound only
        // guards against a toolkit that ever did otherwise.
        const int copy = latin.size() < n ? int(latin.size()) : n;
        std::memcpy(key, latin.constData(), std::size_t(copy));
        key[n] = 0;
    }
    bf_setPwd(&ctx, key, n);
    if (!latin.isEmpty())
        WipeBytes(latin.data(), std::size_t(latin.size()));
}

void EncryptData(char* data, int len)
{
    bf_encrypt(&ctx, data, len);
}

void DecryptData(char* data, int len)
{
    bf_decrypt(&ctx, data, len);
}
