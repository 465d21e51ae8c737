// Checks that enciphering and deciphering a buffer in place restores it,
// tail bytes included, under a key the first input byte chooses.
#include "crypto/blowfish.h"
#include "crypto/cipherkey.h"

#include <QByteArray>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

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

// A handful of keys, scheduled once: a schedule costs as much as 521 blocks,
// and only a key's length changes how it is used. Lengths: none,
// negative, short, beyond the 72 bytes that count.
struct Key
{
    int length;
    BLOWFISH_CTX ctx;
    CCipherKey object;
};

std::vector<std::unique_ptr<Key>> makeKeys()
{
    std::vector<std::unique_ptr<Key>> keys;
    for (const int length : {0, -5, 1, 8, 56, 72, 100, 255}) {
        const int n = std::max(length, 1); // a zero-length key still reads key[0]
        QByteArray bytes(n, '\0');
        for (int i = 0; i < n; ++i)
            bytes[i] = char(i * 37 + length);
        auto key = std::make_unique<Key>();
        key->length = length;
        Blowfish_Init(&key->ctx, reinterpret_cast<const unsigned char*>(bytes.constData()), length);
        if (length >= 0) {
            // The key object the vault uses keys as the bytes do.
            key->object = CCipherKey(bytes.left(length));
            char a[8] = {1, 2, 3, 4, 5, 6, 7, 8}, b[8] = {1, 2, 3, 4, 5, 6, 7, 8};
            key->object.encrypt(a, 8);
            bf_encrypt(&key->ctx, b, 8);
            if (std::memcmp(a, b, 8) != 0)
                std::abort();
        }
        keys.push_back(std::move(key));
    }
    return keys;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const std::vector<std::unique_ptr<Key>> keys = makeKeys();
    if (size < 1)
        return 0;
    const Key& key = *keys[data[0] % keys.size()];
    const int len = int(size - 1);
    const BLOWFISH_CTX* c = &key.ctx;
    const auto encrypt = [c](char* p, int n) { bf_encrypt(c, p, n); };
    const auto decrypt = [c](char* p, int n) { bf_decrypt(c, p, n); };
    RoundTrip(encrypt, decrypt, data + 1, len);
    RoundTrip(encrypt, decrypt, data + 1, len - 3);
    if (key.length >= 0)
        RoundTrip([&](char* p, int n) { key.object.encrypt(p, n); }, [&](char* p, int n) { key.object.decrypt(p, n); },
                  data + 1, len);
    return 0;
}
