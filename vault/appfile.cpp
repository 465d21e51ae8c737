#include "vault/appfile.h"

CxFile* _AppFile = nullptr;

const char* const _AppSignature = "Vaultix0001";
