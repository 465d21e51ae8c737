// Keys the cipher from fuzzer-chosen bytes and checks that enciphering and
// deciphering a buffer in place restores it, tail bytes included.
#include "crypto/blowfish.h"
#include "crypto/cipherkey.h"

#include <QByteArray>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

// The buffer is len rounded up to 8 exactly, so any access beyond it trips ASan.
template<class Encrypt, class Decrypt>
void RoundTrip(Encrypt encrypt, Decrypt decrypt, const uint8_t* data, int len)
{
    const std::size_t room = len > 0 ? (std::size_t(len) + 7) / 8 * 8 : 1;
    std::unique_ptr<char[]> buf(new char[room]()), copy(new char[room]());
    if (len > 0)
        std::memcpy(buf.get(), data, std::size_t(len));
    std::memcpy(copy.get(), buf.get(), room);
    encrypt(buf.get(), len);
    if (len <= 0 && std::memcmp(buf.get(), copy.get(), room) != 0)
        std::abort();
    decrypt(buf.get(), len);
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
    const auto encrypt = [&c](char* p, int n) { bf_encrypt(&c, p, n); };
    const auto decrypt = [&c](char* p, int n) { bf_decrypt(&c, p, n); };
    RoundTrip(encrypt, decrypt, key + keyLen, len);
    RoundTrip(encrypt, decrypt, key + keyLen, len - 3);

    // The key object the vault uses keys as the bytes do.
    const CCipherKey object(QByteArray(reinterpret_cast<const char*>(key), int(keyLen)));
    RoundTrip([&](char* p, int n) { object.encrypt(p, n); }, [&](char* p, int n) { object.decrypt(p, n); },
              key + keyLen, len);
    if (!negative) {
        char a[8] = {1, 2, 3, 4, 5, 6, 7, 8}, b[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        object.encrypt(a, 8);
        encrypt(b, 8);
        if (std::memcmp(a, b, 8) != 0)
            std::abort();
    }
    return 0;
}
