#ifndef VAULTIX_UI_DLGPWDWARN_H
#define VAULTIX_UI_DLGPWDWARN_H

#include "ui/qpedialog.h"

class CVault;
class QCheckBox;

// The start-up warning that no master password is set.
class CdlgPwdWarn : public CQPEDialog
{
    Q_OBJECT

public:
    explicit CdlgPwdWarn(QWidget* parent);

    // Whether the user wants the warning at the next start too.
    bool GetShowWarning() const;

private:
    QCheckBox* m_show;
};

// Shows the warning when no password is set and the setting asks for it;
// turns the setting off (and saves it) when the user unticks the box.
void ShowNoPasswordWarning(CVault& vault, QWidget* list);

#endif
