#include "storage/cxio.h"

#include <cerrno>

#include <fcntl.h>
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

} // namespace

CxPosixIo::~CxPosixIo()
{
    close();
}

int CxPosixIo::open(const char* path, Mode mode)
{
    close();
    if (!path)
        return EINVAL;
    int flags = O_CLOEXEC;
    switch (mode) {
    case Mode::ReadWrite: flags |= O_RDWR; break;
    case Mode::ReadOnly: flags |= O_RDONLY; break;
    case Mode::Create: flags |= O_RDWR | O_CREAT; break;
    }
    const int fd = ::open(path, flags, 0600);
    if (fd < 0)
        return errno;
    m_fd = keepAboveZero(fd);
    if (m_fd < 0) {
        const int error = errno;
        m_fd = -1;
        return error;
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
        const ssize_t got = ::pread(m_fd, at, size_t(length), off_t(offset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            return false;
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
        const ssize_t done = ::pwrite(m_fd, at, size_t(length), off_t(offset));
        if (done < 0 && errno == EINTR)
            continue;
        if (done <= 0)
            return false;
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
    return isOpen() && ::fsync(m_fd) == 0;
}
