#include "ui/findbar.h"

#include <QKeyEvent>

CFindBar::CFindBar(QWidget* parent)
    : QLineEdit(parent)
{
    setObjectName(QStringLiteral("findBar"));
    setPlaceholderText(tr("Find in fields 1 to 3"));
    // With a pen, the cross is the quick way to see every row again.
    setClearButtonEnabled(true);
}

void CFindBar::keyPressEvent(QKeyEvent* e)
{
    if (e->key() == Qt::Key_Escape && e->modifiers() == Qt::NoModifier) {
        clear();
        emit signalClosed();
        return;
    }
    QLineEdit::keyPressEvent(e);
}
