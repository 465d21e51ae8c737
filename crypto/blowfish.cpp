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

// Two rounds a step, the halves trading places by name instead of by copy;
// deciphering takes the subkeys in the other order. `Lanes` blocks go
// through each round together: a block's rounds wait on one another,
// several blocks' do not, so the processor overlaps them.
template <bool Decrypt, int Lanes>
inline void CipherLanes(const BLOWFISH_CTX* ctx, uint32_t* xl, uint32_t* xr)
{
    auto key = [ctx](int i) { return ctx->P[Decrypt ? N + 1 - i : i]; };
    uint32_t L[Lanes], R[Lanes];
    for (int k = 0; k < Lanes; ++k) {
        L[k] = xl[k];
        R[k] = xr[k];
    }
#pragma GCC unroll 8
    for (int i = 0; i < N; i += 2) {
#pragma GCC unroll 8
        for (int k = 0; k < Lanes; ++k) {
            L[k] ^= key(i);
            R[k] ^= F(ctx, L[k]) ^ key(i + 1);
            L[k] ^= F(ctx, R[k]);
        }
    }
    for (int k = 0; k < Lanes; ++k) {
        xl[k] = R[k] ^ key(N + 1);
        xr[k] = L[k] ^ key(N);
    }
}

template <bool Decrypt, int Lanes>
long long CipherBlocks(const BLOWFISH_CTX* ctx, char* data, long long offset, long long len)
{
    for (; offset + 8 * Lanes <= len; offset += 8 * Lanes) {
        uint32_t xl[Lanes], xr[Lanes];
        for (int k = 0; k < Lanes; ++k) {
            xl[k] = LoadLE(data + offset + 8 * k);
            xr[k] = LoadLE(data + offset + 8 * k + 4);
        }
        CipherLanes<Decrypt, Lanes>(ctx, xl, xr);
        for (int k = 0; k < Lanes; ++k) {
            StoreLE(data + offset + 8 * k, xl[k]);
            StoreLE(data + offset + 8 * k + 4, xr[k]);
        }
    }
    return offset;
}

template <bool Decrypt>
void CipherBuffer(const BLOWFISH_CTX* ctx, char* data, int len)
{
    if (!ctx || !data || len <= 0)
        return;
    // A length that is no whole number of blocks still has its last,
    // partial block ciphered in place, as one whole block.
    const long long whole = (static_cast<long long>(len) + 7) / 8 * 8;
    long long offset = CipherBlocks<Decrypt, 8>(ctx, data, 0, whole);
    offset = CipherBlocks<Decrypt, 4>(ctx, data, offset, whole);
    offset = CipherBlocks<Decrypt, 2>(ctx, data, offset, whole);
    CipherBlocks<Decrypt, 1>(ctx, data, offset, whole);
}

} // namespace

void Blowfish_Encrypt(const BLOWFISH_CTX* ctx, uint32_t* xl, uint32_t* xr)
{
    CipherLanes<false, 1>(ctx, xl, xr);
}

void Blowfish_Decrypt(const BLOWFISH_CTX* ctx, uint32_t* xl, uint32_t* xr)
{
    CipherLanes<true, 1>(ctx, xl, xr);
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
    CipherBuffer<false>(ctx, data, len);
}

void bf_decrypt(const BLOWFISH_CTX* ctx, char* data, int len)
{
    CipherBuffer<true>(ctx, data, len);
}
