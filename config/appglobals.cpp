#include "config/appglobals.h"

CvxConfig* _AppCfg = nullptr;
