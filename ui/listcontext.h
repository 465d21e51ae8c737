#ifndef VAULTIX_UI_LISTCONTEXT_H
#define VAULTIX_UI_LISTCONTEXT_H

class CClipboardGuard;
class CVault;
class QWidget;

// What a command on a record takes from the list it was given on: the
// vault, the widget to stand over, the category shown (-1: all) and the
// guard of what it copies.
struct CListContext
{
    CVault& vault;
    QWidget* widget;
    int filter;
    CClipboardGuard* clipboard;
};

#endif
