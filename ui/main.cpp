// Vaultix: start-up and shut-down of the application.

#include "crypto/coredumps.h"
#include "platform/global.h"
#include "ui/application.h"
#include "ui/dlgpwdwarn.h"
#include "ui/startup.h"
#include "ui/vaultixwindow.h"
#include "ui/vxlistview.h"
#include "vault/vault.h"

int main(int argc, char** argv)
{
    // Before anything is deciphered: a crash must not write it to disk.
    DisableCoreDumps();
    CApplication app(argc, argv);

    // The data file: opened (or created) here, refused with a message when
    // it must not be written.
    CVault vault(Global::applicationFileName(QStringLiteral("Vaultix"), QStringLiteral("Vaultix.Dat")));
    if (!CStartup::openDataFile(vault))
        return 1;

    CVaultixWindow window(vault);
    QObject::connect(&app, &CApplication::signalUserActivity, &window, &CVaultixWindow::RestartAutolockTimout);
    window.resize(240, 320);
    app.showMainWidget(&window, false);
    window.RestartAutolockTimout();
    ShowNoPasswordWarning(vault, window.getListView());

    const int code = app.exec();
    // Every change is stored as it is made: closing writes nothing.
    vault.close();
    return code;
}
