// Keys the cipher from fuzzer-chosen bytes and checks that enciphering and
// deciphering a buffer in place restores it, tail bytes included.
#include "crypto/blowfish.h"
#include "crypto/fieldcrypt.h"

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

// The buffer is len rounded up to 8 exactly, so any access beyond it trips ASan.
void RoundTrip(const BLOWFISH_CTX* c, const uint8_t* data, int len)
{
    const std::size_t room = len > 0 ? (std::size_t(len) + 7) / 8 * 8 : 1;
    std::unique_ptr<char[]> buf(new char[room]()), copy(new char[room]());
    if (len > 0)
        std::memcpy(buf.get(), data, std::size_t(len));
    std::memcpy(copy.get(), buf.get(), room);
    bf_encrypt(c, buf.get(), len);
    if (len <= 0 && std::memcmp(buf.get(), copy.get(), room) != 0)
        std::abort();
    bf_decrypt(c, buf.get(), len);
    if (std::memcmp(buf.get(), copy.get(), room) != 0)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    // First byte: key length (0..255, so beyond the 72 bytes that count);
    // second byte's low bit asks for a negative length instead.
    const bool negative = data[1] & 1;
    const std::size_t keyLen = std::min<std::size_t>(data[0], size - 2);
    const uint8_t* key = data + 2;
    const int len = int(size - 2 - keyLen);

    // A zero-length key still reads key[0].
    std::unique_ptr<unsigned char[]> keyBuf(new unsigned char[keyLen + 1]());
    std::memcpy(keyBuf.get(), key, keyLen);
    BLOWFISH_CTX c;
    Blowfish_Init(&c, keyBuf.get(), negative ? -int(keyLen) - 1 : int(keyLen));
    RoundTrip(&c, key + keyLen, len);
    RoundTrip(&c, key + keyLen, len - 3);

    // The password path: the global schedule the field functions use is the
    // same code; a Latin-1 password keys exactly as its bytes do.
    const QByteArray keyBytes(reinterpret_cast<const char*>(key), int(keyLen));
    EncryptSetPwd(QString::fromUtf8(keyBytes));
    RoundTrip(&ctx, key + keyLen, len);
    EncryptSetPwd(QString::fromLatin1(keyBytes));
    if (keyLen > 0 && !negative && std::memcmp(&ctx, &c, sizeof(ctx)) != 0)
        std::abort();
    return 0;
}
