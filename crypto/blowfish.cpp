#include "crypto/blowfish.h"

#include <cstring>

namespace {

const int N = 16;  // rounds

// The stored format packs each half least significant byte first.
inline uint32_t LoadLE(const char* p)
{
    const unsigned char* b = reinterpret_cast<const unsigned char*>(p);
    return uint32_t(b[0]) | (uint32_t(b[1]) << 8) | (uint32_t(b[2]) << 16)
        | (uint32_t(b[3]) << 24);
}

inline void StoreLE(char* p, uint32_t w)
{
    unsigned char* b = reinterpret_cast<unsigned char*>(p);
    b[0] = static_cast<unsigned char>(w);
    b[1] = static_cast<unsigned char>(w >> 8);
    b[2] = static_cast<unsigned char>(w >> 16);
    b[3] = static_cast<unsigned char>(w >> 24);
}

inline uint32_t F(const BLOWFISH_CTX* ctx, uint32_t x)
{
    return ((ctx->S[0][x >> 24] + ctx->S[1][(x >> 16) & 0xFF]) ^ ctx->S[2][(x >> 8) & 0xFF]) + ctx->S[3][x & 0xFF];
}

// Two rounds a step, the halves trading places by name instead of by copy.
inline void EncryptBlock(const BLOWFISH_CTX* ctx, uint32_t& xl, uint32_t& xr)
{
    uint32_t L = xl;
    uint32_t R = xr;
    for (int i = 0; i < N; i += 2) {
        L ^= ctx->P[i];
        R ^= F(ctx, L);
        R ^= ctx->P[i + 1];
        L ^= F(ctx, R);
    }
    xl = R ^ ctx->P[N + 1];
    xr = L ^ ctx->P[N];
}

inline void DecryptBlock(const BLOWFISH_CTX* ctx, uint32_t& xl, uint32_t& xr)
{
    uint32_t L = xl;
    uint32_t R = xr;
    for (int i = N + 1; i > 1; i -= 2) {
        L ^= ctx->P[i];
        R ^= F(ctx, L);
        R ^= ctx->P[i - 1];
        L ^= F(ctx, R);
    }
    xl = R ^ ctx->P[0];
    xr = L ^ ctx->P[1];
}

template <void (*Cipher)(const BLOWFISH_CTX*, uint32_t&, uint32_t&)>
void CipherBuffer(const BLOWFISH_CTX* ctx, char* data, int len)
{
    if (!ctx || !data)
        return;
    // A wider offset keeps a length near INT_MAX from overflowing the loop.
    for (long long offset = 0; offset < len; offset += 8) {
        char* block = data + offset;
        uint32_t xl = LoadLE(block);
        uint32_t xr = LoadLE(block + 4);
        Cipher(ctx, xl, xr);
        StoreLE(block, xl);
        StoreLE(block + 4, xr);
    }
}

} // namespace

void Blowfish_Encrypt(const BLOWFISH_CTX* ctx, uint32_t* xl, uint32_t* xr)
{
    EncryptBlock(ctx, *xl, *xr);
}

void Blowfish_Decrypt(const BLOWFISH_CTX* ctx, uint32_t* xl, uint32_t* xr)
{
    DecryptBlock(ctx, *xl, *xr);
}

void Blowfish_Init(BLOWFISH_CTX* ctx, const unsigned char* key, int keyLen)
{
    if (!ctx)
        return;
    // A missing key behaves like a single zero byte rather than crashing.
    static const unsigned char noKey[1] = {0};
    if (!key)
        key = noKey;

    std::memcpy(ctx->S, ORIG_S, sizeof(ctx->S));

    // The key is consumed cyclically across all 18 entries; a length of 0
    // or less wraps at once, so key[0] feeds every byte.
    int j = 0;
    for (int i = 0; i < N + 2; ++i) {
        uint32_t data = 0;
        for (int k = 0; k < 4; ++k) {
            data = (data << 8) | key[j];
            ++j;
            if (j >= keyLen)
                j = 0;
        }
        ctx->P[i] = ORIG_P[i] ^ data;
    }

    uint32_t L = 0;
    uint32_t R = 0;
    for (int i = 0; i < N + 2; i += 2) {
        Blowfish_Encrypt(ctx, &L, &R);
        ctx->P[i] = L;
        ctx->P[i + 1] = R;
    }
    for (int box = 0; box < 4; ++box) {
        for (int j2 = 0; j2 < 256; j2 += 2) {
            Blowfish_Encrypt(ctx, &L, &R);
            ctx->S[box][j2] = L;
            ctx->S[box][j2 + 1] = R;
        }
    }
}

void bf_setPwd(BLOWFISH_CTX* ctx, const char* key, int len)
{
    Blowfish_Init(ctx, reinterpret_cast<const unsigned char*>(key), len);
}

void bf_encrypt(const BLOWFISH_CTX* ctx, char* data, int len)
{
    CipherBuffer<EncryptBlock>(ctx, data, len);
}

void bf_decrypt(const BLOWFISH_CTX* ctx, char* data, int len)
{
    CipherBuffer<DecryptBlock>(ctx, data, len);
}
