#ifndef VAULTIX_PLATFORM_QPETOOLBAR_H
#define VAULTIX_PLATFORM_QPETOOLBAR_H

#include <QToolBar>

// The handheld's tool bar: a tool bar that stays where the window puts it.
class QPEToolBar : public QToolBar
{
public:
    explicit QPEToolBar(QWidget* parent = nullptr)
        : QToolBar(parent)
    {
        setMovable(false);
        setFloatable(false);
    }
};

#endif
