#ifndef VAULTIX_UI_DLGABOUT_H
#define VAULTIX_UI_DLGABOUT_H

#include "ui/qpedialog.h"

// The logo and the title with its version, on white. Closed through the
// title bar.
class CdlgAbout : public CQPEDialog
{
    Q_OBJECT

public:
    explicit CdlgAbout(QWidget* parent);

    // The About command.
    static void RunAbout(QWidget* list);
};

#endif
