#ifndef VAULTIX_STORAGE_LE32_H
#define VAULTIX_STORAGE_LE32_H

#include <cstdint>

// Every integer in the data file is a 32-bit signed little-endian word,
// whatever the byte order of the machine.
inline int32_t GetLE32(const void* at)
{
    const auto* b = static_cast<const unsigned char*>(at);
    return int32_t(uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24);
}

inline void PutLE32(void* at, int32_t value)
{
    auto* b = static_cast<unsigned char*>(at);
    const uint32_t v = uint32_t(value);
    b[0] = static_cast<unsigned char>(v);
    b[1] = static_cast<unsigned char>(v >> 8);
    b[2] = static_cast<unsigned char>(v >> 16);
    b[3] = static_cast<unsigned char>(v >> 24);
}

#endif
