#ifndef VAULTIX_UI_DLGCHGPASSWORD_H
#define VAULTIX_UI_DLGCHGPASSWORD_H

#include "ui/qpedialog.h"

class CCategories;
class CRecords;
class QLineEdit;

// Sets, changes or removes the master password. OK always closes the
// dialog; a wrong old password or a mismatched confirmation is reported
// and leaves the status at 0.
class CdlgChgPassword : public CQPEDialog
{
    Q_OBJECT

public:
    explicit CdlgChgPassword(QWidget* parent);
    ~CdlgChgPassword() override;

    // 0 nothing to do, 1 set, 2 removed, 3 changed.
    int GetChangedPasswordStatus() const { return m_status; }
    QString GetNewPassword() const { return m_newPassword; }

    // The Password command: runs the dialog and rewrites the records for
    // the chosen change. Returns the status (0 when cancelled or nothing
    // changed); the caller refreshes the list when it is not 0.
    static int RunChangeFlow(QWidget* list, CRecords* records, CCategories* categories);

public slots:
    void accept() override;

private:
    QLineEdit* makeEntry(const char* name, int y);

    QLineEdit* m_old;
    QLineEdit* m_new;
    QLineEdit* m_confirm;
    int m_status = 0;
    QString m_newPassword;
};

#endif
