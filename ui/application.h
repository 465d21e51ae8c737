#ifndef VAULTIX_UI_APPLICATION_H
#define VAULTIX_UI_APPLICATION_H

#include "platform/qpeapplication.h"

// Vaultix's application object: every pen press, key press or wheel turn
// anywhere in the program, modal dialogs included, is announced, so that the
// autolock period begins again. Releases and moves do not count.
class CApplication : public QPEApplication
{
    Q_OBJECT

public:
    CApplication(int& argc, char** argv);

    bool eventFilter(QObject* watched, QEvent* event) override;

signals:
    void signalUserActivity();
};

#endif
