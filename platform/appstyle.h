#ifndef VAULTIX_PLATFORM_APPSTYLE_H
#define VAULTIX_PLATFORM_APPSTYLE_H

#include <QFont>

class QApplication;

// The look that the fixed 240 x 320 layouts are measured against.
namespace AppStyle {

// DejaVu Sans Condensed, 10 pixels: the widest labels of the fixed forms
// ("Show this warning in the future." in a 176-pixel check box) fit with it.
QFont font();
// Fusion and the font above, on every platform alike.
void apply(QApplication& app);

} // namespace AppStyle

#endif
