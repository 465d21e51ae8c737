#ifndef VAULTIX_UI_DLGPASSWORD_H
#define VAULTIX_UI_DLGPASSWORD_H

#include "ui/qpedialog.h"

class QLineEdit;

// Asks for the master password. It checks nothing itself: the caller reads
// the entry after an accepted run.
class CdlgPassword : public CQPEDialog
{
    Q_OBJECT

public:
    CdlgPassword(QWidget* parent, QWidget* second);
    // Shows the prompt above the entry field.
    CdlgPassword(QWidget* parent, QWidget* second, const QString& prompt);
    ~CdlgPassword() override;

    QString GetPassword() const;
    // Shows what is typed (the clear-text option) instead of dots.
    void setClearText(bool clear);

private:
    void makeEntry(int y);

    QLineEdit* m_pwd = nullptr;
};

#endif
