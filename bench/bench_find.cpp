// Find on a large list: the time from a keystroke in the find field to the
// list painted again, on the real window (offscreen unless QT_QPA_PLATFORM
// says otherwise), locked and unlocked.
//
//   bench_find [COUNT]          (default 10000 records, half of them protected)

#include "tools/demodata.h"
#include "ui/application.h"
#include "ui/findbar.h"
#include "ui/vaultixwindow.h"
#include "ui/vxlistview.h"
#include "vault/vault.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

const QString Password = QStringLiteral("bench password");

// Notes each paint of the list's rows.
class Paints : public QObject
{
public:
    int count = 0;

protected:
    bool eventFilter(QObject*, QEvent* e) override
    {
        if (e->type() == QEvent::Paint)
            ++count;
        return false;
    }
};

struct Figures
{
    double first = 0;
    double mean = 0;
    double worst = 0;
    int keys = 0;
};

// Types `text` into the find field key by key, then takes it back with
// Backspace; each key is timed until the list has been painted.
Figures typeAndErase(CVaultixWindow& window, const QString& text)
{
    CFindBar* bar = window.findBar();
    QWidget* rows = window.getListView()->viewport();
    Paints paints;
    rows->installEventFilter(&paints);
    std::vector<double> times;
    auto timed = [&](auto press) {
        const int before = paints.count;
        QElapsedTimer t;
        t.start();
        press();
        while (paints.count == before)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        times.push_back(double(t.nsecsElapsed()) / 1e6);
    };
    window.findAction()->trigger();
    for (QChar c : text)
        timed([&] { QTest::keyClick(bar, c.toLatin1()); });
    for (int i = 0; i < text.size(); ++i)
        timed([&] { QTest::keyClick(bar, Qt::Key_Backspace); });
    timed([&] { QTest::keyClick(bar, Qt::Key_Escape); });
    rows->removeEventFilter(&paints);

    Figures f;
    f.first = times.front();
    f.keys = int(times.size());
    for (double ms : times)
        f.mean += ms / f.keys;
    f.worst = *std::max_element(times.begin(), times.end());
    return f;
}

void print(const char* state, const Figures& f)
{
    std::printf("%-9s %3d keys   first %6.1f ms   mean %6.1f ms   worst %6.1f ms\n", state, f.keys, f.first, f.mean,
                f.worst);
}

} // namespace

int main(int argc, char** argv)
{
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    CApplication app(argc, argv);
    const int count = argc > 1 ? QString::fromLocal8Bit(argv[1]).toInt() : 10000;
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("Vaultix.Dat"));
    if (!WriteDemoData(path, count, Password)) {
        std::fprintf(stderr, "bench_find: cannot make %s\n", qPrintable(path));
        return 1;
    }
    CVault vault(path);
    if (!vault.session().lock() || !vault.open())
        return 1;
    CVaultixWindow window(vault);
    window.resize(240, 320);
    app.showMainWidget(&window, false);
    if (!QTest::qWaitForWindowExposed(&window))
        return 1;

    // Matches many rows, then few, then none; the protected fields take
    // part only once unlocked.
    const QString typed = QStringLiteral("garden 0");
    std::printf("records %d, typing \"%s\" and erasing it, then Escape\n", window.getListView()->shownRowCount(),
                qPrintable(typed));
    print("locked", typeAndErase(window, typed));
    if (!vault.unlock(Password))
        return 1;
    print("unlocked", typeAndErase(window, typed));
    print("again", typeAndErase(window, typed));
    vault.close();
    return 0;
}
