#ifndef VAULTIX_VAULT_PASSWORD_H
#define VAULTIX_VAULT_PASSWORD_H

#include <QString>

class CCipherKey;

// The master password's rules and its stored verifier.
namespace Password {

// The key a password makes: the file keys the cipher with its Latin-1 bytes.
CCipherKey KeyFor(const QString& password);
// The eight verifier bytes that a key stores.
void MakeVerifier(const CCipherKey& key, unsigned char out[8]);
// Whether every character fits in Latin-1, as the file keys the cipher with
// one byte per character; a password that does not must be refused, or two
// passwords would share a key.
bool IsLatin1(const QString& password);
// The sentence that refuses such a password.
QString NotLatin1Text();

} // namespace Password

#endif
