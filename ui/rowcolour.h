#ifndef VAULTIX_UI_ROWCOLOUR_H
#define VAULTIX_UI_ROWCOLOUR_H

#include "vault/vxconfig.h"

#include <QColor>

// The settings keep row colours as plain parts, so that nothing below the
// widgets needs the GUI library; these turn them into colours and back.
namespace RowColour {

inline QColor ToQColor(const CvxConfig::Colour& c)
{
    return QColor(c.red, c.green, c.blue);
}

inline CvxConfig::Colour FromQColor(const QColor& c)
{
    return {c.red(), c.green(), c.blue()};
}

} // namespace RowColour

#endif
