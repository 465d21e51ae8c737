#ifndef VAULTIX_UI_UNLOCKDATABASE_H
#define VAULTIX_UI_UNLOCKDATABASE_H

#include <QString>

class CVault;
class QWidget;

// Asks for the master password until it is right or the user gives up.
// True when the data is (or already was) unlocked, or no password is set.
// A non-null prompt is shown above the entry field. The dialog watches
// `second`.
bool UnlockDatabase(CVault& vault, QWidget* parent, QWidget* second, const QString& prompt);

#endif
