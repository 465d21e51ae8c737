// Vaultix: start-up and shut-down of the application.

#include "config/appglobals.h"
#include "crypto/coredumps.h"
#include "model/session.h"
#include "platform/global.h"
#include "security/dlgpwdwarn.h"
#include "ui/application.h"
#include "ui/shell.h"
#include "ui/startup.h"
#include "ui/vaultixwindow.h"
#include "ui/vxlistview.h"

#include <QTimer>

int main(int argc, char** argv)
{
    // Before anything is deciphered: a crash must not write it to disk.
    DisableCoreDumps();
    CApplication app(argc, argv);

    // The record file and the settings: opened (or created) here, refused
    // with a message when the file must not be written.
    CSession session(Global::applicationFileName(QStringLiteral("Vaultix"), QStringLiteral("Vaultix.Dat")));
    if (!CStartup::openDataFile(session))
        return 1;

    CVaultixWindow window(nullptr, nullptr, 0);
    window.resize(240, 320);
    app.showMainWidget(&window, false);
    RestartAutolockTimout();
    ShowNoPasswordWarning(window.getListView());

    const int code = app.exec();

    // Settings saved and freed, then the record file closed; then the timer.
    session.close();
    delete _LockoutTimer;
    _LockoutTimer = nullptr;
    return code;
}
