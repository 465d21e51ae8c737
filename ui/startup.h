#ifndef VAULTIX_UI_STARTUP_H
#define VAULTIX_UI_STARTUP_H

#include <QCoreApplication>
#include <QString>

class CVault;
class QWidget;

// Opening the data file at start without ever writing over a file that is
// not a sound Vaultix data file. A new file is made only where there was
// none or an empty one; a foreign or unreadable file is refused; a damaged
// one is used only after the user chose so and a copy of it was saved; a
// file that another Vaultix has open is refused.
class CStartup
{
    Q_DECLARE_TR_FUNCTIONS(CStartup)

public:
    // True when the session is open, locked for this run. False after a
    // message box said why: the program then ends with status 1.
    static bool openDataFile(CVault& vault, QWidget* parent = nullptr);

    // The path with break chances after each '/', so that a message box
    // on the small screen can wrap a long one.
    static QString breakablePath(const QString& path);
};

#endif
