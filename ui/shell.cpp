#include "ui/shell.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"

#include <QTimer>

const char* const _Title = "Vaultix";
const char* const _Version = "1.0.0";
QString _TitleAndVersion;
QTimer* _LockoutTimer = nullptr;

void RestartAutolockTimout()
{
    if (!_LockoutTimer)
        return;
    _LockoutTimer->stop();
    if (!_AppCfg || _AppCfg->autolockMinutes < 1)
        return;
    if (_AppCfg->locked)
        return;
    _LockoutTimer->setSingleShot(false);
    _LockoutTimer->start(_AppCfg->autolockMinutes * 60000);
}
