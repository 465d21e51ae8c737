// Cipher throughput and key-schedule cost; with OpenSSL available, its
// Blowfish is measured the same way as a yardstick. Figures are printed only.
//
// Usage: bench_cipher [total MiB, default 64]

#include "crypto/blowfish.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#ifdef VX_HAVE_OPENSSL
// The low-level Blowfish API is deprecated in OpenSSL 3 but still the
// fairest comparison for a raw ECB loop.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#include <openssl/blowfish.h>
#endif

namespace {

using Clock = std::chrono::steady_clock;

const int kBuffer = 4096;
const int kKeyRounds = 2000;
const unsigned char kKey[] = "benchmark master password";
const int kKeyLen = int(sizeof(kKey) - 1);

double Seconds(Clock::time_point from)
{
    return std::chrono::duration<double>(Clock::now() - from).count();
}

void Fill(std::vector<char>& buf)
{
    uint32_t x = 0x12345678;
    for (char& c : buf) {
        x = x * 1664525u + 1013904223u;
        c = char(x >> 24);
    }
}

// Keeps the optimiser from discarding the work.
unsigned Checksum(const std::vector<char>& buf)
{
    unsigned sum = 0;
    for (char c : buf)
        sum = sum * 31 + static_cast<unsigned char>(c);
    return sum;
}

void Report(const char* what, double mib, double enc, double dec, double initUs)
{
    std::printf("%-8s encrypt %8.1f MiB/s   decrypt %8.1f MiB/s   key schedule %7.2f us\n",
                what, mib / enc, mib / dec, initUs);
}

} // namespace

int main(int argc, char** argv)
{
    int totalMiB = argc > 1 ? std::atoi(argv[1]) : 64;
    if (totalMiB <= 0)
        totalMiB = 64;
    const long rounds = long(totalMiB) * 1024 * 1024 / kBuffer;
    const double mib = double(rounds) * kBuffer / (1024.0 * 1024.0);
    std::printf("%.0f MiB in %d-byte buffers; key schedule averaged over %d runs\n",
                mib, kBuffer, kKeyRounds);

    std::vector<char> buf(kBuffer);
    Fill(buf);
    const std::vector<char> original = buf;

    // --- Ours --------------------------------------------------------------
    static BLOWFISH_CTX c;
    auto t = Clock::now();
    for (int i = 0; i < kKeyRounds; ++i)
        Blowfish_Init(&c, kKey, kKeyLen);
    const double initUs = Seconds(t) * 1e6 / kKeyRounds;

    t = Clock::now();
    for (long i = 0; i < rounds; ++i)
        bf_encrypt(&c, buf.data(), kBuffer);
    const double enc = Seconds(t);
    const unsigned sum = Checksum(buf);
    t = Clock::now();
    for (long i = 0; i < rounds; ++i)
        bf_decrypt(&c, buf.data(), kBuffer);
    const double dec = Seconds(t);
    if (buf != original) {
        std::fprintf(stderr, "round trip failed\n");
        return 1;
    }
    Report("vaultix", mib, enc, dec, initUs);

#ifdef VX_HAVE_OPENSSL
    static BF_KEY key;
    t = Clock::now();
    for (int i = 0; i < kKeyRounds; ++i)
        BF_set_key(&key, kKeyLen, kKey);
    const double sslInitUs = Seconds(t) * 1e6 / kKeyRounds;

    auto ecb = [&](int mode) {
        auto start = Clock::now();
        for (long i = 0; i < rounds; ++i) {
            unsigned char* p = reinterpret_cast<unsigned char*>(buf.data());
            for (int off = 0; off < kBuffer; off += 8)
                BF_ecb_encrypt(p + off, p + off, &key, mode);
        }
        return Seconds(start);
    };
    const double sslEnc = ecb(BF_ENCRYPT);
    const unsigned sslSum = Checksum(buf);
    const double sslDec = ecb(BF_DECRYPT);
    if (buf != original) {
        std::fprintf(stderr, "OpenSSL round trip failed\n");
        return 1;
    }
    Report("openssl", mib, sslEnc, sslDec, sslInitUs);

    // One block must agree once each 4-byte half is byte-reversed, since
    // OpenSSL reads the halves big-endian.
    unsigned char ours[8], theirs[8];
    std::memcpy(ours, original.data(), 8);
    for (int i = 0; i < 8; ++i)
        theirs[i] = ours[(i & ~3) + 3 - (i & 3)];
    bf_encrypt(&c, reinterpret_cast<char*>(ours), 8);
    BF_ecb_encrypt(theirs, theirs, &key, BF_ENCRYPT);
    bool agree = true;
    for (int i = 0; i < 8; ++i)
        agree = agree && ours[i] == theirs[(i & ~3) + 3 - (i & 3)];
    std::printf("one block agrees with OpenSSL after byte reversal: %s\n", agree ? "yes" : "NO");
    std::printf("(output checksums %08x %08x)\n", sum, sslSum);
    return agree ? 0 : 1;
#else
    std::printf("OpenSSL not found: no comparison (checksum %08x)\n", sum);
    return 0;
#endif
}

#ifdef VX_HAVE_OPENSSL
#pragma GCC diagnostic pop
#endif
