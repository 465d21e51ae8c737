#ifndef VAULTIX_UI_DLGCHGPASSWORD_H
#define VAULTIX_UI_DLGCHGPASSWORD_H

#include "ui/qpedialog.h"

class CVault;
class QLineEdit;

// Sets, changes or removes the master password. OK always closes the
// dialog; a wrong old password, a mismatched confirmation or a character
// outside Latin-1 is reported and leaves the status at 0. Checking the old
// password changes nothing.
class CdlgChgPassword : public CQPEDialog
{
    Q_OBJECT

public:
    CdlgChgPassword(const CVault& vault, QWidget* parent);
    ~CdlgChgPassword() override;

    // 0 nothing to do, 1 set, 2 removed, 3 changed.
    int GetChangedPasswordStatus() const { return m_status; }
    QString GetNewPassword() const { return m_newPassword; }
    QString GetOldPassword() const;

    // The Password command: runs the dialog and stores the chosen change,
    // telling the user when it cannot be stored. Returns the status (0 when
    // cancelled, refused or nothing changed).
    static int RunChangeFlow(CVault& vault, QWidget* list);

public slots:
    void accept() override;

private:
    QLineEdit* makeEntry(const char* name, int y);

    const CVault& m_vault;
    QLineEdit* m_old;
    QLineEdit* m_new;
    QLineEdit* m_confirm;
    int m_status = 0;
    QString m_newPassword;
};

#endif
