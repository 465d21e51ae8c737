#ifndef VAULTIX_UI_CLIPBOARDGUARD_H
#define VAULTIX_UI_CLIPBOARDGUARD_H

#include <QObject>
#include <QString>

class QMimeData;
class QTimer;

// Puts a secret on the clipboard and takes it off again: after the
// user's chosen time, and whenever clear() is called (at lock and quit).
// It only ever clears what it put there itself: once anything else has been
// copied, the clipboard is left alone.
class CClipboardGuard : public QObject
{
    Q_OBJECT

public:
    explicit CClipboardGuard(QObject* parent = nullptr);
    // Takes the secret off, as at quit.
    ~CClipboardGuard() override;

    // Copies `text`, marked secret; it is cleared after `seconds` (0: only
    // at lock and quit).
    void copy(const QString& text, int seconds);
    // Whether the clipboard still holds the last copy.
    bool holdsCopy() const;
    // The time-out that clears it; tests fire it by hand.
    QTimer* timer() const { return m_timer; }

public slots:
    // Empties the clipboard if it still holds the last copy.
    void clear();

private:
    void forget();

    QTimer* m_timer;
    // Compared by address only: once the clipboard has moved on it may be gone.
    const QMimeData* m_copy = nullptr;
    bool m_copying = false;
};

#endif
