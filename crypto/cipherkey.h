#ifndef VAULTIX_CRYPTO_CIPHERKEY_H
#define VAULTIX_CRYPTO_CIPHERKEY_H

#include "crypto/blowfish.h"

#include <QByteArray>

#include <memory>

// One Blowfish key schedule, made from a password's Latin-1 bytes. The
// schedule is as secret as the password, so it lives on the heap and is
// wiped when the key is dropped or replaced. Movable, not copyable: a key is
// taken over, never duplicated by accident.
class CCipherKey
{
public:
    CCipherKey() = default;
    // Keys the schedule with `latin1`, one byte per character.
    explicit CCipherKey(const QByteArray& latin1);
    ~CCipherKey();
    CCipherKey(CCipherKey&& other) noexcept = default;
    CCipherKey& operator=(CCipherKey&& other) noexcept;
    CCipherKey(const CCipherKey&) = delete;
    CCipherKey& operator=(const CCipherKey&) = delete;

    bool isSet() const { return m_ctx != nullptr; }
    void reset();

    // In place, 8-byte blocks; the buffer must hold `len` rounded up to 8.
    // Without a key nothing happens.
    void encrypt(char* data, int len) const;
    void decrypt(char* data, int len) const;

private:
    struct Wiper
    {
        void operator()(BLOWFISH_CTX* ctx) const;
    };
    std::unique_ptr<BLOWFISH_CTX, Wiper> m_ctx;
};

#endif
