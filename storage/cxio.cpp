#include "storage/cxio.h"

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// Descriptor 0 counts as "not open" for the record file, so a file that
// happens to get it is moved to another number.
int keepAboveZero(int fd)
{
    if (fd != 0)
        return fd;
    const int moved = fcntl(fd, F_DUPFD_CLOEXEC, 1);
    ::close(fd);
    return moved;
}

std::string folderOf(const char* path)
{
    const std::string p(path);
    const size_t slash = p.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : p.substr(0, slash);
}

bool syncFolder(const std::string& folder)
{
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    const bool synced = ::fsync(fd) == 0;
    ::close(fd);
    return synced;
}

// Why an open file is not one to use: not a regular file (EINVAL), or,
// when only files we could have made will do, another user's (EPERM).
int unusable(int fd, bool ownOnly, struct stat& info)
{
    if (::fstat(fd, &info) != 0)
        return errno;
    if (!S_ISREG(info.st_mode))
        return EINVAL;
    return ownOnly && info.st_uid != ::geteuid() ? EPERM : 0;
}

} // namespace

CxPosixIo::~CxPosixIo()
{
    close();
}

bool CxPosixIo::failed()
{
    m_error = errno ? errno : EIO;
    return false;
}

int CxPosixIo::open(const char* path, Mode mode)
{
    close();
    if (!path)
        return m_error = EINVAL;
    int flags = O_CLOEXEC;
    switch (mode) {
    case Mode::ReadWrite: flags |= O_RDWR; break;
    case Mode::ReadOnly: flags |= O_RDONLY; break;
    case Mode::Create: flags |= O_RDWR | O_CREAT; break;
    case Mode::CreateNew: flags |= O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW; break;
    }
    // A FIFO in the file's place must not block the open (and is then
    // refused); a file of ours is not even read through a link.
    flags |= O_NONBLOCK;
    if (m_ownFilesOnly)
        flags |= O_NOFOLLOW;
    int fd = -1;
    m_created = false;
    if (mode == Mode::Create) {
        fd = ::open(path, flags | O_EXCL, 0600);
        m_created = fd >= 0;
    }
    if (fd < 0)
        fd = ::open(path, flags, 0600);
    if (fd < 0)
        return m_error = errno;
    m_created = m_created || mode == Mode::CreateNew;
    struct stat info;
    if (const int refused = unusable(fd, m_ownFilesOnly, info)) {
        ::close(fd);
        return m_error = refused;
    }
    // Every secret is in the data file: others have no business reading
    // it. Where the mode cannot be changed (someone else's file, a file
    // system without modes), it is used as it is.
    if (mode != Mode::ReadOnly && (info.st_mode & 077) != 0)
        (void)::fchmod(fd, info.st_mode & 0700);
    m_folder = m_created ? folderOf(path) : std::string();
    m_fd = keepAboveZero(fd);
    if (m_fd < 0) {
        m_fd = -1;
        return m_error = errno;
    }
    return 0;
}

void CxPosixIo::close()
{
    if (m_fd >= 1)
        ::close(m_fd);
    m_fd = -1;
}

bool CxPosixIo::read(int64_t offset, void* buffer, int64_t length)
{
    auto* at = static_cast<unsigned char*>(buffer);
    while (isOpen() && length > 0) {
        errno = 0;
        const ssize_t got = ::pread(m_fd, at, size_t(length), off_t(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return failed();
        at += got;
        offset += got;
        length -= got;
    }
    return isOpen();
}

bool CxPosixIo::write(int64_t offset, const void* buffer, int64_t length)
{
    const auto* at = static_cast<const unsigned char*>(buffer);
    while (isOpen() && length > 0) {
        errno = 0;
        const ssize_t done = ::pwrite(m_fd, at, size_t(length), off_t(offset));
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return failed();
        at += done;
        offset += done;
        length -= done;
    }
    return isOpen();
}

int64_t CxPosixIo::size()
{
    return isOpen() ? int64_t(lseek(m_fd, 0, SEEK_END)) : -1;
}

bool CxPosixIo::sync()
{
    if (!isOpen() || ::fsync(m_fd) != 0)
        return failed();
    if (m_created && !syncFolder(m_folder))
        return failed();
    m_created = false;
    return true;
}

bool CxPosixIo::truncate(int64_t length)
{
    return (isOpen() && ::ftruncate(m_fd, off_t(length)) == 0) || failed();
}

int64_t CxPosixIo::fileId()
{
    struct stat info;
    return isOpen() && ::fstat(m_fd, &info) == 0 ? int64_t(info.st_ino) : -1;
}

bool CxPosixIo::remove(const char* path)
{
    if (!path)
        return false;
    if (::unlink(path) != 0)
        return errno == ENOENT || failed();
    return syncFolder(folderOf(path)) || failed();
}

bool CxPosixIo::rename(const char* from, const char* to)
{
    if (!from || !to)
        return false;
    if (::renameat2(AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE) != 0) {
        if (errno != EINVAL)
            return failed();
        // A file system that cannot refuse to replace: look first.
        struct stat info;
        if (::lstat(to, &info) == 0) {
            errno = EEXIST;
            return failed();
        }
        if (::rename(from, to) != 0)
            return failed();
    }
    return syncFolder(folderOf(to)) || failed();
}
