#ifndef VAULTIX_UI_FINDBAR_H
#define VAULTIX_UI_FINDBAR_H

#include <QLineEdit>

// The one-line field of the Find command above the list. Escape empties
// it and asks to be put away.
class CFindBar : public QLineEdit
{
    Q_OBJECT

public:
    explicit CFindBar(QWidget* parent = nullptr);

signals:
    void signalClosed();

protected:
    void keyPressEvent(QKeyEvent* e) override;
};

#endif
