#ifndef VAULTIX_UI_SHELL_H
#define VAULTIX_UI_SHELL_H

#include <QString>

// The program's name and version, the caption of every message box.
namespace Shell {

inline QString Title()
{
    return QStringLiteral("Vaultix");
}

inline QString Version()
{
    return QStringLiteral("1.0.0");
}

// "Vaultix V1.0.0": the main window's caption.
inline QString TitleAndVersion()
{
    return Title() + QStringLiteral(" V") + Version();
}

} // namespace Shell

#endif
