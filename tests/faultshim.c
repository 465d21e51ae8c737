/* Preloaded (LD_PRELOAD) into a program under test: counts the calls that
 * change files inside one folder, and fails one of them as a failing or full
 * disk would. VX_FAULT_DIR: the folder (absolute); VX_FAULT_AT: the number,
 * from 1, of the call that fails; VX_FAULT_ERRNO: its errno (EIO by default);
 * VX_FAULT_COUNT: a file that gets the count at exit; VX_FAULT_LOG: a file
 * that gets a line "NUMBER CALL PATH" per call counted.
 * Counted: the write, sync and truncate calls, unlink, rename, link, and the
 * opens that may create. A descriptor's calls count when it was opened on a
 * path inside the folder, the folder itself included (as opened to sync it). */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/uio.h>
#include <unistd.h>

#define MAX_FDS 4096
#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

static long counted;
static char* names[MAX_FDS]; /* the path of each descriptor opened inside */

static void writeTo(const char* file, int flags, const char* text)
{
    const int fd = file ? REAL(open)(file, O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600) : -1;
    if (fd < 0)
        return;
    const ssize_t written = REAL(write)(fd, text, strlen(text));
    (void)written;
    REAL(close)(fd);
}

/* `path` made absolute when it lies inside the folder, else null. */
static const char* inside(int dirfd, const char* path, char* out)
{
    const char* dir = getenv("VX_FAULT_DIR");
    char cwd[PATH_MAX];
    const char* base = path && path[0] == '/' ? "" : dirfd == AT_FDCWD ? getcwd(cwd, sizeof cwd)
                       : dirfd >= 0 && dirfd < MAX_FDS ? names[dirfd] : NULL;
    if (!dir || !*dir || !base || snprintf(out, PATH_MAX, "%s%s%s", base, *base ? "/" : "", path) >= PATH_MAX)
        return NULL;
    const size_t n = strlen(dir);
    return strncmp(out, dir, n) == 0 && (out[n] == '\0' || out[n] == '/') ? out : NULL;
}

/* Counts a call made on `path` (null: outside); true when it is to fail. */
static int failing(const char* call, const char* path)
{
    if (!path)
        return 0;
    const long number = __atomic_add_fetch(&counted, 1, __ATOMIC_SEQ_CST);
    char line[PATH_MAX + 64];
    snprintf(line, sizeof line, "%ld %s %s\n", number, call, path);
    writeTo(getenv("VX_FAULT_LOG"), O_APPEND, line);
    const char* at = getenv("VX_FAULT_AT");
    if (!at || atol(at) != number)
        return 0;
    const char* error = getenv("VX_FAULT_ERRNO");
    errno = !error ? EIO : strcmp(error, "ENOSPC") == 0 ? ENOSPC : strcmp(error, "EIO") == 0 ? EIO : atoi(error);
    return 1;
}

static const char* fdPath(int fd)
{
    return fd >= 0 && fd < MAX_FDS ? names[fd] : NULL;
}

static int openAt(int dirfd, const char* path, int flags, mode_t mode)
{
    char buffer[PATH_MAX];
    const char* mine = inside(dirfd, path, buffer);
    if ((flags & O_CREAT) && failing("open", mine))
        return -1;
    const int fd = REAL(openat)(dirfd, path, flags, mode);
    if (fd >= 0 && fd < MAX_FDS) {
        free(names[fd]);
        names[fd] = mine ? strdup(mine) : NULL;
    }
    return fd;
}

#define OPEN(name, params, dirfd)                                                          \
    int name params                                                                        \
    {                                                                                      \
        va_list args;                                                                      \
        va_start(args, flags);                                                             \
        const int takesMode = (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE;       \
        const mode_t mode = takesMode ? (mode_t)va_arg(args, int) : 0;                     \
        va_end(args);                                                                      \
        return openAt(dirfd, path, flags, mode);                                           \
    }
OPEN(open, (const char* path, int flags, ...), AT_FDCWD)
OPEN(open64, (const char* path, int flags, ...), AT_FDCWD)
OPEN(openat, (int dirfd, const char* path, int flags, ...), dirfd)
OPEN(openat64, (int dirfd, const char* path, int flags, ...), dirfd)
/* The fortified entry points, which never create. */
int __open_2(const char* path, int flags) { return openAt(AT_FDCWD, path, flags, 0); }
int __open64_2(const char* path, int flags) { return openAt(AT_FDCWD, path, flags, 0); }
int __openat_2(int dirfd, const char* path, int flags) { return openAt(dirfd, path, flags, 0); }
int __openat64_2(int dirfd, const char* path, int flags) { return openAt(dirfd, path, flags, 0); }

int close(int fd)
{
    if (fd >= 0 && fd < MAX_FDS) {
        free(names[fd]);
        names[fd] = NULL;
    }
    return REAL(close)(fd);
}

/* A call on a descriptor, and one on a path (relative to a descriptor). */
#define ON_FD(type, name, params, args) \
    type name params { return failing(#name, fdPath(fd)) ? -1 : REAL(name) args; }
#define ON_PATH(name, params, dirfd, path, args)                                   \
    int name params                                                                \
    {                                                                              \
        char buffer[PATH_MAX];                                                     \
        return failing(#name, inside(dirfd, path, buffer)) ? -1 : REAL(name) args; \
    }
ON_FD(ssize_t, write, (int fd, const void* b, size_t n), (fd, b, n))
ON_FD(ssize_t, writev, (int fd, const struct iovec* v, int n), (fd, v, n))
ON_FD(ssize_t, pwrite, (int fd, const void* b, size_t n, off_t at), (fd, b, n, at))
ON_FD(ssize_t, pwrite64, (int fd, const void* b, size_t n, off64_t at), (fd, b, n, at))
ON_FD(int, fsync, (int fd), (fd))
ON_FD(int, fdatasync, (int fd), (fd))
ON_FD(int, ftruncate, (int fd, off_t n), (fd, n))
ON_FD(int, ftruncate64, (int fd, off64_t n), (fd, n))
ON_PATH(unlink, (const char* path), AT_FDCWD, path, (path))
ON_PATH(unlinkat, (int fd, const char* path, int flags), fd, path, (fd, path, flags))
ON_PATH(rename, (const char* path, const char* to), AT_FDCWD, path, (path, to))
ON_PATH(renameat, (int fd, const char* path, int tofd, const char* to), fd, path, (fd, path, tofd, to))
ON_PATH(renameat2, (int fd, const char* path, int tofd, const char* to, unsigned flags), fd, path,
        (fd, path, tofd, to, flags))
ON_PATH(link, (const char* from, const char* path), AT_FDCWD, path, (from, path))

__attribute__((destructor)) static void report(void)
{
    char text[32];
    snprintf(text, sizeof text, "%ld\n", counted);
    writeTo(getenv("VX_FAULT_COUNT"), O_TRUNC, text);
}
