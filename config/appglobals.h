#ifndef VAULTIX_CONFIG_APPGLOBALS_H
#define VAULTIX_CONFIG_APPGLOBALS_H

class CxFile;
class CvxConfig;

// The application's record file and settings, alive for the whole run.
extern CxFile* _AppFile;
extern CvxConfig* _AppCfg;

extern const char* const _AppSignature; // "Vaultix0001"

#endif
