#ifndef VAULTIX_VAULT_DEFAULTDB_H
#define VAULTIX_VAULT_DEFAULTDB_H

// Writes the two range markers and the twelve ready-made categories.
void CreateDefaultDatabase();

#endif
