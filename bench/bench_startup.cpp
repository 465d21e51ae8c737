// Start-up of the application on a large data file: from the process's
// start to the first painted list, one rebuild of the list, and the peak
// memory while locked and after unlocking. Runs the same start-up as
// ui/main.cpp with the real window; bench/bench_startup.sh drives it.
//
//   VX_START_NS=$(date +%s%N) bench_startup   (XDG_DATA_HOME names the data)
//
// The password comes on the first line of standard input.

#include "platform/global.h"
#include "ui/application.h"
#include "ui/startup.h"
#include "ui/vaultixwindow.h"
#include "ui/vxlistview.h"
#include "vault/vault.h"

#include <QElapsedTimer>
#include <QFile>
#include <QTextStream>
#include <QTimer>

#include <cstdio>
#include <ctime>

namespace {

qint64 nowNs()
{
    timespec t;
    clock_gettime(CLOCK_REALTIME, &t);
    return qint64(t.tv_sec) * 1000000000 + t.tv_nsec;
}

long peakKiB()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').first().toLong();
    }
    return -1;
}

// Notes the moment the list's viewport has been painted once.
class FirstPaint : public QObject
{
public:
    qint64 at = 0;

protected:
    bool eventFilter(QObject*, QEvent* e) override
    {
        if (e->type() == QEvent::Paint && !at) {
            // After the paint event returns: the rows are on the screen.
            QTimer::singleShot(0, [this] { at = nowNs(); });
        }
        return false;
    }
};

} // namespace

int main(int argc, char** argv)
{
    const qint64 started = qEnvironmentVariableIsSet("VX_START_NS") ? qgetenv("VX_START_NS").toLongLong() : nowNs();
    QString password;
    {
        QTextStream in(stdin);
        password = in.readLine();
    }

    CApplication app(argc, argv);
    const qint64 appMade = nowNs();
    CVault vault(Global::applicationFileName(QStringLiteral("Vaultix"), QStringLiteral("Vaultix.Dat")));
    if (!CStartup::openDataFile(vault))
        return 1;
    const qint64 fileOpen = nowNs();
    CVaultixWindow window(vault);
    QObject::connect(&app, &CApplication::signalUserActivity, &window, &CVaultixWindow::RestartAutolockTimout);
    const qint64 windowMade = nowNs();
    window.resize(240, 320);
    FirstPaint painted;
    window.getListView()->viewport()->installEventFilter(&painted);
    app.showMainWidget(&window, false);
    window.RestartAutolockTimout();
    while (!painted.at)
        app.processEvents(QEventLoop::WaitForMoreEvents);
    const double startMs = double(painted.at - started) / 1e6;
    const long lockedKiB = peakKiB();
    CvxListView* list = window.getListView();

    auto rebuildMs = [&] {
        constexpr int Rounds = 10;
        QElapsedTimer t;
        t.start();
        for (int i = 0; i < Rounds; ++i) {
            list->slotShowFilteredByCategory();
            app.processEvents(); // and paint it
        }
        return double(t.nsecsElapsed()) / 1e6 / Rounds;
    };
    const double lockedRebuild = rebuildMs();

    // Unlocking rebuilds the list once by itself.
    if (!vault.unlock(password)) {
        std::fprintf(stderr, "bench_startup: wrong password\n");
        return 1;
    }
    const double unlockedRebuild = rebuildMs();
    const long unlockedKiB = peakKiB();

    std::printf("records                         %d\n", list->shownRowCount());
    std::printf("process start to painted list   %.1f ms\n", startMs);
    std::printf("  of which: to the application  %.1f ms\n", double(appMade - started) / 1e6);
    std::printf("            opening the file    %.1f ms   (settings and categories; records as the list asks)\n", double(fileOpen - appMade) / 1e6);
    std::printf("            the window          %.1f ms\n", double(windowMade - fileOpen) / 1e6);
    std::printf("            show and paint      %.1f ms\n", double(painted.at - windowMade) / 1e6);
    std::printf("one rebuild of the list, locked %.1f ms\n", lockedRebuild);
    std::printf("one rebuild, unlocked           %.1f ms\n", unlockedRebuild);
    std::printf("peak memory (VmHWM), locked     %.1f MiB\n", lockedKiB / 1024.0);
    std::printf("peak memory (VmHWM), unlocked   %.1f MiB\n", unlockedKiB / 1024.0);

    vault.close();
    return 0;
}
