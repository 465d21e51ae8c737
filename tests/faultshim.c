/* Loaded with LD_PRELOAD into a program under test: counts the calls that
 * change files inside one folder and makes one of them fail, as a full or
 * failing disk would.
 *
 *   VX_FAULT_DIR    the folder (absolute); nothing outside it is touched
 *   VX_FAULT_AT     the number (from 1) of the call that fails; none when unset
 *   VX_FAULT_ERRNO  EIO (the default), ENOSPC, or a number
 *   VX_FAULT_COUNT  a file that gets the number of calls counted, at exit
 *   VX_FAULT_LOG    a file that gets one line per call counted: its number,
 *                   the call and the path it was made on
 *
 * Counted: write, pwrite, pwrite64, writev, fsync, fdatasync, ftruncate,
 * ftruncate64, unlink, unlinkat, rename, renameat, renameat2, link, and
 * every open that may create a file (O_CREAT). Calls on descriptors count
 * when the descriptor was opened on a path inside the folder (the folder
 * itself included, as opened to sync it). */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <sys/uio.h>
#include <unistd.h>

#define MAX_FDS 4096

static char folder[PATH_MAX];
static size_t folderLength;
static long failAt;
static int failErrno = EIO;
static long counted;
static int ready;
static char* names[MAX_FDS];

#define REAL(name) ((__typeof__(&name))dlsym(RTLD_NEXT, #name))

static void setUp(void)
{
    if (ready)
        return;
    ready = 1;
    const char* dir = getenv("VX_FAULT_DIR");
    if (dir && strlen(dir) < sizeof folder) {
        strcpy(folder, dir);
        folderLength = strlen(folder);
        while (folderLength > 1 && folder[folderLength - 1] == '/')
            folder[--folderLength] = '\0';
    }
    const char* at = getenv("VX_FAULT_AT");
    failAt = at ? atol(at) : 0;
    const char* error = getenv("VX_FAULT_ERRNO");
    if (error)
        failErrno = strcmp(error, "ENOSPC") == 0 ? ENOSPC : strcmp(error, "EIO") == 0 ? EIO : atoi(error);
}

/* The path as an absolute one, when `dirfd` and `path` name something. */
static int absolute(int dirfd, const char* path, char* out)
{
    if (!path)
        return 0;
    if (path[0] == '/')
        return snprintf(out, PATH_MAX, "%s", path) < PATH_MAX;
    if (dirfd == AT_FDCWD) {
        char cwd[PATH_MAX];
        return getcwd(cwd, sizeof cwd) && snprintf(out, PATH_MAX, "%s/%s", cwd, path) < PATH_MAX;
    }
    return dirfd >= 0 && dirfd < MAX_FDS && names[dirfd] && snprintf(out, PATH_MAX, "%s/%s", names[dirfd], path) < PATH_MAX;
}

static int inside(const char* path)
{
    return folderLength > 0 && strncmp(path, folder, folderLength) == 0
           && (path[folderLength] == '\0' || path[folderLength] == '/');
}

static void logCall(const char* call, const char* path)
{
    const char* log = getenv("VX_FAULT_LOG");
    if (!log)
        return;
    char line[PATH_MAX + 64];
    const int n = snprintf(line, sizeof line, "%ld %s %s\n", counted, call, path ? path : "?");
    const int fd = REAL(open)(log, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd >= 0) {
        if (REAL(write)(fd, line, (size_t)n) < 0) {
            /* nothing more to do */
        }
        REAL(close)(fd);
    }
}

/* Counts a call on `path` (null: not inside); true when it is to fail. */
static int failing(const char* call, const char* path)
{
    setUp();
    if (!path)
        return 0;
    const long number = __atomic_add_fetch(&counted, 1, __ATOMIC_SEQ_CST);
    logCall(call, path);
    if (number == failAt) {
        errno = failErrno;
        return 1;
    }
    return 0;
}

static const char* pathAt(int dirfd, const char* path, char* buffer)
{
    setUp();
    return absolute(dirfd, path, buffer) && inside(buffer) ? buffer : NULL;
}

static const char* fdPath(int fd)
{
    return fd >= 0 && fd < MAX_FDS ? names[fd] : NULL;
}

static void remember(int fd, const char* path)
{
    if (fd < 0 || fd >= MAX_FDS)
        return;
    free(names[fd]);
    names[fd] = path ? strdup(path) : NULL;
}

static int openAt(const char* call, int dirfd, const char* path, int flags, mode_t mode)
{
    char buffer[PATH_MAX];
    const char* mine = pathAt(dirfd, path, buffer);
    if ((flags & O_CREAT) && failing(call, mine))
        return -1;
    const int fd = REAL(openat)(dirfd, path, flags, mode);
    if (fd >= 0)
        remember(fd, mine);
    return fd;
}

static mode_t modeOf(int flags, va_list args)
{
    return (flags & O_CREAT) || (flags & O_TMPFILE) == O_TMPFILE ? (mode_t)va_arg(args, int) : 0;
}

int open(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = modeOf(flags, args);
    va_end(args);
    return openAt("open", AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = modeOf(flags, args);
    va_end(args);
    return openAt("open", AT_FDCWD, path, flags, mode);
}

int openat(int dirfd, const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = modeOf(flags, args);
    va_end(args);
    return openAt("open", dirfd, path, flags, mode);
}

int openat64(int dirfd, const char* path, int flags, ...)
{
    va_list args;
    va_start(args, flags);
    const mode_t mode = modeOf(flags, args);
    va_end(args);
    return openAt("open", dirfd, path, flags, mode);
}

/* The fortified entry points, which never create. */
int __open_2(const char* path, int flags) { return openAt("open", AT_FDCWD, path, flags, 0); }
int __open64_2(const char* path, int flags) { return openAt("open", AT_FDCWD, path, flags, 0); }
int __openat_2(int dirfd, const char* path, int flags) { return openAt("open", dirfd, path, flags, 0); }
int __openat64_2(int dirfd, const char* path, int flags) { return openAt("open", dirfd, path, flags, 0); }

int close(int fd)
{
    remember(fd, NULL);
    return REAL(close)(fd);
}

ssize_t write(int fd, const void* buffer, size_t length)
{
    return failing("write", fdPath(fd)) ? -1 : REAL(write)(fd, buffer, length);
}

ssize_t writev(int fd, const struct iovec* parts, int count)
{
    return failing("writev", fdPath(fd)) ? -1 : REAL(writev)(fd, parts, count);
}

ssize_t pwrite(int fd, const void* buffer, size_t length, off_t offset)
{
    return failing("pwrite", fdPath(fd)) ? -1 : REAL(pwrite)(fd, buffer, length, offset);
}

ssize_t pwrite64(int fd, const void* buffer, size_t length, off64_t offset)
{
    return failing("pwrite", fdPath(fd)) ? -1 : REAL(pwrite64)(fd, buffer, length, offset);
}

int fsync(int fd)
{
    return failing("fsync", fdPath(fd)) ? -1 : REAL(fsync)(fd);
}

int fdatasync(int fd)
{
    return failing("fdatasync", fdPath(fd)) ? -1 : REAL(fdatasync)(fd);
}

int ftruncate(int fd, off_t length)
{
    return failing("ftruncate", fdPath(fd)) ? -1 : REAL(ftruncate)(fd, length);
}

int ftruncate64(int fd, off64_t length)
{
    return failing("ftruncate", fdPath(fd)) ? -1 : REAL(ftruncate64)(fd, length);
}

int unlink(const char* path)
{
    char buffer[PATH_MAX];
    return failing("unlink", pathAt(AT_FDCWD, path, buffer)) ? -1 : REAL(unlink)(path);
}

int unlinkat(int dirfd, const char* path, int flags)
{
    char buffer[PATH_MAX];
    return failing("unlink", pathAt(dirfd, path, buffer)) ? -1 : REAL(unlinkat)(dirfd, path, flags);
}

int rename(const char* from, const char* to)
{
    char buffer[PATH_MAX];
    return failing("rename", pathAt(AT_FDCWD, from, buffer)) ? -1 : REAL(rename)(from, to);
}

int renameat(int fromfd, const char* from, int tofd, const char* to)
{
    char buffer[PATH_MAX];
    return failing("rename", pathAt(fromfd, from, buffer)) ? -1 : REAL(renameat)(fromfd, from, tofd, to);
}

int renameat2(int fromfd, const char* from, int tofd, const char* to, unsigned int flags)
{
    char buffer[PATH_MAX];
    return failing("rename", pathAt(fromfd, from, buffer)) ? -1 : REAL(renameat2)(fromfd, from, tofd, to, flags);
}

int link(const char* from, const char* to)
{
    char buffer[PATH_MAX];
    return failing("link", pathAt(AT_FDCWD, to, buffer)) ? -1 : REAL(link)(from, to);
}

__attribute__((destructor)) static void report(void)
{
    const char* out = getenv("VX_FAULT_COUNT");
    if (!out)
        return;
    char text[32];
    const int n = snprintf(text, sizeof text, "%ld\n", counted);
    const int fd = REAL(open)(out, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd >= 0) {
        if (REAL(write)(fd, text, (size_t)n) < 0) {
            /* nothing more to do */
        }
        REAL(close)(fd);
    }
}
