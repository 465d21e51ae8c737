#ifndef VAULTIX_PLATFORM_MESSAGEBOX_H
#define VAULTIX_PLATFORM_MESSAGEBOX_H

#include <QMessageBox>
#include <QString>

#include <functional>

class QWidget;

// Every message box of the program passes through here: created, run
// modally and deleted at once. Tests install a hook that sees each box
// while it runs and answers it with real input.
class CMessageBox
{
public:
    // Refusal: information icon, one OK button.
    static void information(QWidget* parent, const QString& caption, const QString& text);
    // Error or result: warning icon, one OK button.
    static void warning(QWidget* parent, const QString& caption, const QString& text);
    // A change that could not be stored: critical icon, one OK button.
    static void critical(QWidget* parent, const QString& caption, const QString& text);
    // Question: Yes (default) and No (escape); true when Yes was chosen.
    static bool question(QWidget* parent, const QString& caption, const QString& text,
                         QMessageBox::Icon icon = QMessageBox::Question);
    // Any other box: the given buttons, default and escape; returns the
    // button chosen (the escape button when the box is closed).
    static QMessageBox::StandardButton ask(QWidget* parent, QMessageBox::Icon icon, const QString& caption,
                                           const QString& text, QMessageBox::StandardButtons buttons,
                                           QMessageBox::StandardButton defaultButton,
                                           QMessageBox::StandardButton escapeButton);

    // Called from inside each box's modal loop, once it is shown. A test
    // answers the box here (e.g. clicks one of its buttons); an empty hook
    // leaves the box to the user.
    using Hook = std::function<void(QMessageBox& box)>;
    static void setHook(Hook hook);
};

#endif
