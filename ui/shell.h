#ifndef VAULTIX_UI_SHELL_H
#define VAULTIX_UI_SHELL_H

#include <QString>

class QTimer;

extern const char* const _Title;   // "Vaultix"
extern const char* const _Version; // "1.0.0"
// "Vaultix V1.0.0", composed by the main window; the caption everywhere.
extern QString _TitleAndVersion;

// The autolock timer: runs only while the data is unlocked and an autolock
// period is set. Made by the main window, deleted by main().
extern QTimer* _LockoutTimer;

// Begins a full autolock period again, or leaves the timer stopped when
// autolock is off or the data is locked. The only way the timer starts.
void RestartAutolockTimout();

#endif
