#include "platform/appstyle.h"

#include <QApplication>
#include <QStyleFactory>

QFont AppStyle::font()
{
    QFont f(QStringLiteral("DejaVu Sans"));
    f.setPixelSize(10);
    // Picks the Condensed face when it is installed; Qt narrows the regular
    // face otherwise, so the widths stay close either way.
    f.setStretch(QFont::SemiCondensed);
    f.setStyleHint(QFont::SansSerif);
    return f;
}

void AppStyle::apply(QApplication& app)
{
    if (QStyle* fusion = QStyleFactory::create(QStringLiteral("Fusion")))
        app.setStyle(fusion);
    app.setFont(font());
}
