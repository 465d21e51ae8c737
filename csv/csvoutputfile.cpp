#include "csv/csvoutputfile.h"

#include <QFile>

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("CCsvOutputFile", text);
}

QString LinkRefusal(const QString& path)
{
    return tr("%1 is a symbolic link. An export holds every secret in plain text and is never written "
              "through a link.")
        .arg(path);
}

QString Failure(const QString& path, int error)
{
    return tr("%1 cannot be written: %2.").arg(path, qt_error_string(error));
}

QString KindRefusal(const QString& path, const struct stat& st)
{
    if (S_ISLNK(st.st_mode))
        return LinkRefusal(path);
    if (S_ISDIR(st.st_mode))
        return tr("%1 is a folder.").arg(path);
    if (!S_ISREG(st.st_mode))
        return tr("%1 is not a regular file.").arg(path);
    // Another name would keep the secrets where this one no longer shows
    // them, or lose a file that was never meant to be replaced.
    if (st.st_nlink > 1)
        return tr("%1 has other names (hard links). An export is only written to a file of its own.")
            .arg(path);
    if (st.st_uid != geteuid())
        return tr("%1 belongs to another user.").arg(path);
    return QString();
}

bool IsLink(const QByteArray& name)
{
    struct stat st;
    return ::lstat(name.constData(), &st) == 0 && S_ISLNK(st.st_mode);
}

} // namespace

QString CCsvOutputFile::refusal(const QString& path)
{
    struct stat st;
    if (::lstat(QFile::encodeName(path).constData(), &st) != 0)
        return QString();
    return KindRefusal(path, st);
}

bool CCsvOutputFile::open(QFile& file, const QString& path, bool overwrite, QString& error)
{
    error.clear();
    const QByteArray name = QFile::encodeName(path);
    // Not blocking, so that a named pipe is refused below rather than
    // waiting for a reader.
    const int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | (overwrite ? 0 : O_EXCL);
    const int fd = ::open(name.constData(), flags, 0600);
    if (fd < 0) {
        const int e = errno;
        if ((e == ELOOP || e == EEXIST) && IsLink(name))
            error = LinkRefusal(path);
        else if (e == EEXIST)
            error = tr("%1 exists already.").arg(path);
        else if (e == EISDIR)
            error = tr("%1 is a folder.").arg(path);
        else if (e == ENXIO)
            error = tr("%1 is not a regular file.").arg(path);
        else
            error = Failure(path, e);
        return false;
    }
    struct stat st;
    if (::fstat(fd, &st) != 0)
        error = Failure(path, errno);
    else
        error = KindRefusal(path, st);
    // Tightened before the first byte is written; new files are 0600 already
    // unless the umask took bits away.
    if (error.isEmpty() && (st.st_mode & 07777) != 0600 && ::fchmod(fd, 0600) != 0)
        error = Failure(path, errno);
    if (error.isEmpty() && (::ftruncate(fd, 0) != 0 || ::fcntl(fd, F_SETFL, 0) != 0))
        error = Failure(path, errno);
    if (error.isEmpty() && !file.open(fd, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle))
        error = tr("%1 cannot be written: %2.").arg(path, file.errorString());
    if (error.isEmpty())
        return true;
    ::close(fd);
    return false;
}
