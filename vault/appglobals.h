#ifndef VAULTIX_VAULT_APPGLOBALS_H
#define VAULTIX_VAULT_APPGLOBALS_H

#include "vault/appfile.h"

class CvxConfig;

// The application's settings, alive for the whole run.
extern CvxConfig* _AppCfg;

#endif
