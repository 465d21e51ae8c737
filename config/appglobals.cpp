#include "config/appglobals.h"

CxFile* _AppFile = nullptr;
CvxConfig* _AppCfg = nullptr;

const char* const _AppSignature = "Vaultix0001";
