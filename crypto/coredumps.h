#ifndef VAULTIX_CRYPTO_COREDUMPS_H
#define VAULTIX_CRYPTO_COREDUMPS_H

// Keeps deciphered fields out of core files: the process is marked not
// dumpable (which also keeps other processes of the user from attaching to
// it) and its core size limit, soft and hard, is set to 0. Call first thing
// in main(), before any secret is read. False when either step failed.
bool DisableCoreDumps();

#endif
