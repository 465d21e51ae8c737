#include "platform/messagebox.h"

#include <QPushButton>
#include <QTimer>

namespace {
CMessageBox::Hook& hook()
{
    static CMessageBox::Hook h;
    return h;
}
} // namespace

void CMessageBox::setHook(Hook h)
{
    hook() = std::move(h);
}

QMessageBox::StandardButton CMessageBox::ask(QWidget* parent, QMessageBox::Icon icon, const QString& caption,
                                             const QString& text, QMessageBox::StandardButtons buttons,
                                             QMessageBox::StandardButton defaultButton,
                                             QMessageBox::StandardButton escapeButton)
{
    QMessageBox box(icon, caption, text, buttons, parent);
    box.setDefaultButton(defaultButton);
    box.setEscapeButton(escapeButton);
    if (hook()) {
        // Runs once the box's own event loop has started.
        QTimer::singleShot(0, &box, [&box] {
            if (hook())
                hook()(box);
        });
    }
    const int result = box.exec();
    QAbstractButton* clicked = box.clickedButton();
    if (!clicked)
        return escapeButton;
    const QMessageBox::StandardButton chosen = box.standardButton(clicked);
    return chosen == QMessageBox::NoButton ? QMessageBox::StandardButton(result) : chosen;
}

void CMessageBox::information(QWidget* parent, const QString& caption, const QString& text)
{
    ask(parent, QMessageBox::Information, caption, text, QMessageBox::Ok, QMessageBox::Ok, QMessageBox::Ok);
}

void CMessageBox::warning(QWidget* parent, const QString& caption, const QString& text)
{
    ask(parent, QMessageBox::Warning, caption, text, QMessageBox::Ok, QMessageBox::Ok, QMessageBox::Ok);
}

void CMessageBox::critical(QWidget* parent, const QString& caption, const QString& text)
{
    ask(parent, QMessageBox::Critical, caption, text, QMessageBox::Ok, QMessageBox::Ok, QMessageBox::Ok);
}

bool CMessageBox::question(QWidget* parent, const QString& caption, const QString& text, QMessageBox::Icon icon)
{
    return ask(parent, icon, caption, text, QMessageBox::Yes | QMessageBox::No, QMessageBox::Yes, QMessageBox::No)
           == QMessageBox::Yes;
}
