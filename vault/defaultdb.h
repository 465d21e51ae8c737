#ifndef VAULTIX_VAULT_DEFAULTDB_H
#define VAULTIX_VAULT_DEFAULTDB_H

class CxFile;

// Writes the two range markers and the twelve ready-made categories into the
// open transaction of `file`; false when a write was refused.
bool CreateDefaultDatabase(CxFile& file);

#endif
