#include "vault/preferences.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>

namespace {

const char* const ClipboardKey = "clipboard/clearAfterSeconds";

} // namespace

CPreferences::CPreferences(const QString& path)
    : m_path(path)
{
    const QSettings settings(m_path, QSettings::IniFormat);
    bool ok = false;
    const int seconds = settings.value(QLatin1String(ClipboardKey)).toInt(&ok);
    if (ok && seconds >= 0)
        clipboardSeconds = qMin(seconds, int(MaxClipboardSeconds));
}

QString CPreferences::defaultPath()
{
    // A relative XDG_CONFIG_HOME is invalid and ignored, like an unset one.
    QString base = QFile::decodeName(qgetenv("XDG_CONFIG_HOME"));
    if (base.isEmpty() || QDir::isRelativePath(base))
        base = QDir::homePath() + QStringLiteral("/.config");
    return QDir::cleanPath(base + QStringLiteral("/Vaultix/Vaultix.conf"));
}

CVaultResult CPreferences::save() const
{
    const QString folder = QFileInfo(m_path).absolutePath();
    if (!QDir().mkpath(folder))
        return CVaultResult::failure(tr("The preferences cannot be saved: the folder %1 cannot be made.").arg(folder));
    QSettings settings(m_path, QSettings::IniFormat);
    settings.setValue(QLatin1String(ClipboardKey), clipboardSeconds);
    settings.sync();
    if (settings.status() != QSettings::NoError)
        return CVaultResult::failure(tr("The preferences cannot be saved in %1.").arg(m_path));
    return CVaultResult::success();
}
