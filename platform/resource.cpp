#include "platform/resource.h"

#include "platform/global.h"

#include <QHash>

QPixmap Resource::loadPixmap(const QString& name)
{
    static QHash<QString, QPixmap> cache;
    const auto found = cache.constFind(name);
    if (found != cache.constEnd())
        return *found;
    QPixmap pixmap(Global::qpeDir() + QStringLiteral("/pics/") + name + QStringLiteral(".png"));
    cache.insert(name, pixmap);
    return pixmap;
}
