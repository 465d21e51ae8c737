#ifndef VAULTIX_VAULT_APPFILE_H
#define VAULTIX_VAULT_APPFILE_H

class CxFile;

// The application's record file, alive for the whole run.
extern CxFile* _AppFile;

extern const char* const _AppSignature; // "Vaultix0001"

#endif
