#include "platform/global.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>

namespace {

QString envValue(const char* name)
{
    return QFile::decodeName(qgetenv(name));
}

// Where this program's executable lives, with or without an application
// object (the command-line tool and the tests may have none).
QString programDir()
{
    if (QCoreApplication::instance())
        return QCoreApplication::applicationDirPath();
    const QString exe = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    if (!exe.isEmpty())
        return QFileInfo(exe).absolutePath();
    return QDir::currentPath();
}

// Creates every missing folder of `path`; the last one is made owner-only
// because it holds the user's secrets.
bool makeOwnerOnlyDir(const QString& path)
{
    QDir dir(path);
    if (dir.exists())
        return true;
    const QString parent = QFileInfo(dir.absolutePath()).absolutePath();
    if (!QDir().mkpath(parent))
        return false;
    if (::mkdir(QFile::encodeName(dir.absolutePath()).constData(), 0700) != 0)
        return dir.exists();
    return true;
}

} // namespace

QString Global::applicationFileName(const QString& app, const QString& file)
{
    // A relative XDG_DATA_HOME is invalid and ignored, like an unset one.
    QString base = envValue("XDG_DATA_HOME");
    if (base.isEmpty() || QDir::isRelativePath(base))
        base = QDir::homePath() + QStringLiteral("/.local/share");
    const QString dir = QDir::cleanPath(base + QLatin1Char('/') + app);
    makeOwnerOnlyDir(dir);
    return dir + QLatin1Char('/') + file;
}

QString Global::qpeDir()
{
    const QString fromEnv = envValue("QPEDIR");
    if (!fromEnv.isEmpty())
        return fromEnv;

    // A build tree puts programs next to a copied pics/; an installed program
    // finds its pictures in the data folder beside bin/.
    const QString appDir = programDir();
    const QString candidates[] = {
        appDir,
        appDir + QStringLiteral("/.."),
        appDir + QStringLiteral("/../share/vaultix"),
    };
    for (const QString& c : candidates) {
        if (QFileInfo(c + QStringLiteral("/pics")).isDir())
            return QDir::cleanPath(c);
    }
    return appDir;
}
