#ifndef VAULTIX_SECURITY_WIPE_H
#define VAULTIX_SECURITY_WIPE_H

#include <cstddef>

// Clears plaintext before its memory is released. The volatile pointer keeps
// the compiler from dropping the stores as dead.
inline void WipeBytes(void* p, std::size_t n)
{
    volatile unsigned char* v = static_cast<volatile unsigned char*>(p);
    while (n--)
        *v++ = 0;
}

#endif
