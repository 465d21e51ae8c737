#ifndef VAULTIX_PLATFORM_QPEMENUBAR_H
#define VAULTIX_PLATFORM_QPEMENUBAR_H

#include <QMenuBar>

// The handheld's menu bar, which lives inside a tool bar rather than on top
// of the window; never handed to a desktop's global menu.
class QPEMenuBar : public QMenuBar
{
public:
    explicit QPEMenuBar(QWidget* parent = nullptr)
        : QMenuBar(parent)
    {
        setNativeMenuBar(false);
    }
};

#endif
