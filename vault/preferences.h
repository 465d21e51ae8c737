#ifndef VAULTIX_VAULT_PREFERENCES_H
#define VAULTIX_VAULT_PREFERENCES_H

#include "vault/vaultresult.h"

#include <QCoreApplication>
#include <QString>

// The user's choices that the data file's settings record has no room
// for, in a file of their own ($XDG_CONFIG_HOME/Vaultix/Vaultix.conf), so
// that the data file stays exactly as other programs expect it. A missing
// or unreadable file gives the defaults.
class CPreferences
{
    Q_DECLARE_TR_FUNCTIONS(CPreferences)

public:
    static constexpr int DefaultClipboardSeconds = 30;
    static constexpr int MaxClipboardSeconds = 999;

    // Reads the file at `path`.
    explicit CPreferences(const QString& path = defaultPath());

    // $XDG_CONFIG_HOME/Vaultix/Vaultix.conf (default ~/.config).
    static QString defaultPath();
    const QString& path() const { return m_path; }

    // How long a copied text stays on the clipboard; 0: until replaced.
    int clipboardSeconds = DefaultClipboardSeconds;

    // Writes every preference; a failure names the file and the cause.
    [[nodiscard]] CVaultResult save() const;

private:
    QString m_path;
};

#endif
