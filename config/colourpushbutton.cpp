#include "config/colourpushbutton.h"

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
}
