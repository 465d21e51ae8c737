#ifndef VAULTIX_UI_WATCHEDLIST_H
#define VAULTIX_UI_WATCHEDLIST_H

#include "ui/qpedialog.h"

// The widget a dialog opened from another dialog follows: the first
// ancestor that is not itself a form, i.e. the record list.
inline QWidget* WatchedList(QWidget* parent)
{
    QWidget* w = parent;
    while (qobject_cast<CQPEDialog*>(w) && w->parentWidget())
        w = w->parentWidget();
    return w;
}

#endif
