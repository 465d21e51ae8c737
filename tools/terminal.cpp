#include "tools/terminal.h"

#include "crypto/wipe.h"

#include <QByteArray>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {

// Longer lines are read to their end but cut to this many bytes.
constexpr size_t MaxLine = 4096;

// The terminal whose echo is off right now, so that an interrupt can switch
// it back on before the program dies.
volatile sig_atomic_t g_ttyFd = -1;
struct termios g_saved;

const int CaughtSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

void restoreAndReraise(int sig)
{
    if (g_ttyFd >= 0)
        tcsetattr(g_ttyFd, TCSAFLUSH, &g_saved);
    std::signal(sig, SIG_DFL);
    std::raise(sig);
}

// One byte at a time, so nothing after the line end is consumed.
bool readLineFd(int fd, char* buf, size_t capacity, size_t& length)
{
    length = 0;
    bool any = false;
    for (;;) {
        char c = 0;
        const ssize_t got = ::read(fd, &c, 1);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        any = true;
        if (c == '\n')
            break;
        if (length < capacity)
            buf[length++] = c;
    }
    if (length > 0 && buf[length - 1] == '\r')
        --length;
    return any;
}

void writeAll(int fd, const QByteArray& bytes)
{
    const char* p = bytes.constData();
    qint64 left = bytes.size();
    while (left > 0) {
        const ssize_t n = ::write(fd, p, size_t(left));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return;
        p += n;
        left -= n;
    }
}

} // namespace

bool CTerminal::stdinIsTerminal()
{
    return ::isatty(STDIN_FILENO) == 1;
}

bool CTerminal::readStdinLine(QString& line)
{
    char buf[MaxLine];
    size_t length = 0;
    const bool any = readLineFd(STDIN_FILENO, buf, sizeof buf, length);
    line = QString::fromLocal8Bit(buf, int(length));
    WipeBytes(buf, sizeof buf);
    return any;
}

bool CTerminal::readSecret(const QString& prompt, QString& secret)
{
    secret.clear();
    int fd = ::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC);
    const bool ownFd = fd >= 0;
    if (!ownFd) {
        if (!stdinIsTerminal())
            return false;
        fd = STDIN_FILENO;
    }
    writeAll(ownFd ? fd : STDERR_FILENO, prompt.toLocal8Bit());

    struct sigaction previous[sizeof CaughtSignals / sizeof CaughtSignals[0]];
    const bool echoOff = tcgetattr(fd, &g_saved) == 0;
    if (echoOff) {
        g_ttyFd = fd;
        struct sigaction sa;
        std::memset(&sa, 0, sizeof sa);
        sa.sa_handler = restoreAndReraise;
        sigemptyset(&sa.sa_mask);
        for (size_t i = 0; i < sizeof CaughtSignals / sizeof CaughtSignals[0]; ++i)
            sigaction(CaughtSignals[i], &sa, &previous[i]);
        struct termios quiet = g_saved;
        quiet.c_lflag &= ~tcflag_t(ECHO);
        tcsetattr(fd, TCSAFLUSH, &quiet);
    }

    char buf[MaxLine];
    size_t length = 0;
    const bool any = readLineFd(fd, buf, sizeof buf, length);

    if (echoOff) {
        tcsetattr(fd, TCSAFLUSH, &g_saved);
        g_ttyFd = -1;
        for (size_t i = 0; i < sizeof CaughtSignals / sizeof CaughtSignals[0]; ++i)
            sigaction(CaughtSignals[i], &previous[i], nullptr);
    }
    // The typed line end was not echoed.
    writeAll(ownFd ? fd : STDERR_FILENO, QByteArray("\n"));
    if (ownFd)
        ::close(fd);

    secret = QString::fromLocal8Bit(buf, int(length));
    WipeBytes(buf, sizeof buf);
    return any;
}

void CTerminal::wipe(QString& text)
{
    text.fill(QChar(u'\0'));
    text.clear();
}
