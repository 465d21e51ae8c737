#include "crypto/coredumps.h"

#include <sys/prctl.h>
#include <sys/resource.h>

bool DisableCoreDumps()
{
    const bool notDumpable = prctl(PR_SET_DUMPABLE, 0, 0, 0, 0) == 0;
    const struct rlimit none = {0, 0};
    const bool noCore = setrlimit(RLIMIT_CORE, &none) == 0;
    return notDumpable && noCore;
}
