#include "vault/appglobals.h"

CvxConfig* _AppCfg = nullptr;
