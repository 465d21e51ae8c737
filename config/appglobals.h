#ifndef VAULTIX_CONFIG_APPGLOBALS_H
#define VAULTIX_CONFIG_APPGLOBALS_H

#include "model/appfile.h"

class CvxConfig;

// The application's settings, alive for the whole run.
extern CvxConfig* _AppCfg;

#endif
