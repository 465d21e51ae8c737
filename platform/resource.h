#ifndef VAULTIX_PLATFORM_RESOURCE_H
#define VAULTIX_PLATFORM_RESOURCE_H

#include <QPixmap>
#include <QString>

// Named pictures: "korel/buttons/lock" is <pictures root>/pics/korel/buttons/lock.png.
class Resource
{
public:
    // A null pixmap when the picture does not exist. Each name is read from
    // disk once; the list paints the same category icons on every rebuild.
    static QPixmap loadPixmap(const QString& name);
};

#endif
