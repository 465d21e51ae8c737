#ifndef VAULTIX_PLATFORM_GLOBAL_H
#define VAULTIX_PLATFORM_GLOBAL_H

#include <QString>

class Global
{
public:
    // $XDG_DATA_HOME/<app>/<file> (default ~/.local/share); the folder is
    // created, owner-only, when missing.
    static QString applicationFileName(const QString& app, const QString& file);
    // Root below which pics/ lives: $QPEDIR when set, otherwise the folder
    // that holds the program's own pics/.
    static QString qpeDir();
};

#endif
