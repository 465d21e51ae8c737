#include "ui/colourpushbutton.h"

#include <QPainter>

CColourPushButton::CColourPushButton(QWidget* parent, int x, int y, int w, int h, QColor colour)
    : QPushButton(parent)
    , m_colour(colour)
{
    setGeometry(x, y, w, h);
    setFocusPolicy(Qt::NoFocus);
    setAutoDefault(false);
}

void CColourPushButton::SetColour(QColor colour)
{
    m_colour = colour;
    update();
}

void CColourPushButton::paintEvent(QPaintEvent* e)
{
    QPushButton::paintEvent(e);
    QPainter painter(this);
    painter.fillRect(8, 8, 34, 10, m_colour);
    // A thin frame, so that white (the default odd rows) shows on the face.
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(7, 7, 35, 11);
}
