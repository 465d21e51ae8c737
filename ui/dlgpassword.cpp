#include "ui/dlgpassword.h"

#include <QLabel>
#include <QLineEdit>

CdlgPassword::CdlgPassword(QWidget* parent, QWidget* second)
    : CQPEDialog(parent, second, 148, 57)
{
    makeEntry(10);
}

CdlgPassword::CdlgPassword(QWidget* parent, QWidget* second, const QString& prompt)
    : CQPEDialog(parent, second, 148, 115)
{
    QLabel* label = makeLabel(this, prompt, 10, 10, 128, 48);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    makeEntry(68);
}

CdlgPassword::~CdlgPassword()
{
    // Leave no copy of the password in the field's buffer.
    m_pwd->clear();
}

void CdlgPassword::makeEntry(int y)
{
    setWindowTitle(tr("Enter Password"));
    makeLabel(this, tr("Enter password"), 10, y, 120, 16);
    m_pwd = new QLineEdit(this);
    m_pwd->setObjectName(QStringLiteral("password"));
    m_pwd->setGeometry(25, y + 19, 98, 18);
    m_pwd->setEchoMode(QLineEdit::Password);
    m_pwd->setFocus();
}

void CdlgPassword::setClearText(bool clear)
{
    m_pwd->setEchoMode(clear ? QLineEdit::Normal : QLineEdit::Password);
}

QString CdlgPassword::GetPassword() const
{
    return m_pwd->text();
}
