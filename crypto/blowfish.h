#ifndef VAULTIX_CRYPTO_BLOWFISH_H
#define VAULTIX_CRYPTO_BLOWFISH_H

#include <cstdint>

// Blowfish key schedule. Plain data; meaningful only after Blowfish_Init.
struct BLOWFISH_CTX
{
    uint32_t P[18];
    uint32_t S[4][256];
};

// Initial tables: the hexadecimal fraction digits of pi.
extern const uint32_t ORIG_P[18];
extern const uint32_t ORIG_S[4][256];

void Blowfish_Encrypt(const BLOWFISH_CTX* ctx, uint32_t* xl, uint32_t* xr);
void Blowfish_Decrypt(const BLOWFISH_CTX* ctx, uint32_t* xl, uint32_t* xr);
// The key is used cyclically with no length cut-off; only its first 72
// bytes reach the P-array.
void Blowfish_Init(BLOWFISH_CTX* ctx, const unsigned char* key, int keyLen);

void bf_setPwd(BLOWFISH_CTX* ctx, const char* key, int len);
// In place, 8-byte blocks, halves read little-endian. A length that is not a
// multiple of 8 still processes the whole last block: the buffer must hold
// len rounded up to a multiple of 8.
void bf_encrypt(const BLOWFISH_CTX* ctx, char* data, int len);
void bf_decrypt(const BLOWFISH_CTX* ctx, char* data, int len);

#endif
