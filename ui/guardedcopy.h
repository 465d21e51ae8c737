#ifndef VAULTIX_UI_GUARDEDCOPY_H
#define VAULTIX_UI_GUARDEDCOPY_H

#include <QObject>

class CClipboardGuard;
class QWidget;

// Makes Copy and Cut of the watched text fields (Ctrl+C, Ctrl+X and their
// context menu) go through the clipboard guard, so that a text copied from
// a record is marked secret and taken off again like one copied from the
// list's row menu.
class CGuardedCopy : public QObject
{
    Q_OBJECT

public:
    CGuardedCopy(CClipboardGuard* guard, QObject* parent);

    // A QLineEdit or a QPlainTextEdit.
    void watch(QWidget* field);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    // Copies the field's selection; `cut` then removes it when it may.
    void copy(QWidget* field, bool cut);
    void showMenu(QWidget* field, const QPoint& local, const QPoint& global);

    CClipboardGuard* m_guard;
};

#endif
