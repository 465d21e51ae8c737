#ifndef VAULTIX_UI_ROWMENU_H
#define VAULTIX_UI_ROWMENU_H

#include "ui/listcontext.h"

#include <QMenu>

class CRecord;

// The menu of a held (or right-clicked) row: View, Edit, Delete, then
// "Copy <label>" for each field of the record that holds text.
class CRowMenu : public QMenu
{
    Q_OBJECT

public:
    CRowMenu(const CListContext& list, const CRecord& record);

    // Opens the menu at the global position `at` for the record `key` and
    // carries out the command chosen.
    static void Run(const CListContext& list, int key, const QPoint& at);

private:
    enum Command { View = -1, Edit = -2, Delete = -3 };

    // Copies field `number` (0 to 5) of the record to the clipboard, asking
    // for the password first when it is protected and the data locked.
    static void Copy(const CListContext& list, int key, int number);
};

#endif
