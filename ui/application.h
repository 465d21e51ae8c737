#ifndef VAULTIX_UI_APPLICATION_H
#define VAULTIX_UI_APPLICATION_H

#include "platform/qpeapplication.h"

// Vaultix's application object: every pen press, key press or wheel turn
// anywhere in the program, modal dialogs included, begins the autolock
// period again. Releases and moves do not.
class CApplication : public QPEApplication
{
    Q_OBJECT

public:
    CApplication(int& argc, char** argv);

    bool eventFilter(QObject* watched, QEvent* event) override;
};

#endif
