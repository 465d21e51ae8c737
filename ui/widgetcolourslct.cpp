#include "ui/widgetcolourslct.h"

#include <QMouseEvent>
#include <QPainter>

const CColourSwatch colourSwatches[15] = {
    {0xEF, 0xEF, 0xEF}, {0xDD, 0xDD, 0xDD}, {0xDD, 0xEE, 0xFF}, {0x99, 0xCC, 0xFF},
    {0xFF, 0xFD, 0xE9}, {0xFF, 0xF9, 0xC4}, {0xFF, 0xEA, 0xEA}, {0xFF, 0xB4, 0xB4},
    {0xE0, 0xF9, 0xEB}, {0xC4, 0xF2, 0xD8}, {0xFF, 0xF3, 0xFF}, {0xFF, 0xE5, 0xFE},
    {0xEE, 0xDD, 0xFF}, {0xBD, 0x9A, 0xE0}, {0xFF, 0xFF, 0xFF},
};

namespace {
constexpr int Margin = 2;
constexpr int Pitch = 18;
constexpr int Cell = 16;

// The cell column (or row) under a coordinate; -1 on the black lines
// between cells and around the grid.
int band(int v)
{
    if (v < Margin)
        return -1;
    const int i = (v - Margin) / Pitch;
    const int within = (v - Margin) % Pitch;
    return i < 4 && within <= Cell ? i : -1;
}
} // namespace

CWidgetColourSlct::CWidgetColourSlct(QWidget* parent, QColor colour)
    : QWidget(parent)
{
    setFixedSize(Size, Size);
    int found = CustomIndex;
    for (int i = 0; i < CustomIndex; ++i) {
        if (QColor(colourSwatches[i].red, colourSwatches[i].green, colourSwatches[i].blue) == colour.toRgb()) {
            found = i;
            break;
        }
    }
    if (found == CustomIndex)
        m_custom = colour;
    m_selected = found;
}

QRect CWidgetColourSlct::CellRect(int index)
{
    return QRect(Margin + Pitch * (index % 4), Margin + Pitch * (index / 4), Cell, Cell);
}

QColor CWidgetColourSlct::SwatchColour(int index) const
{
    if (index == CustomIndex)
        return m_custom;
    if (index < 0 || index > CustomIndex)
        return QColor();
    const CColourSwatch& s = colourSwatches[index];
    return QColor(s.red, s.green, s.blue);
}

void CWidgetColourSlct::SetCustomColour(QColor colour)
{
    m_custom = colour;
    update();
}

void CWidgetColourSlct::SelectSwatch(int index)
{
    m_selected = index;
    update();
    if (index >= 0 && index <= CustomIndex)
        emit signalColourSelected(SwatchColour(index));
}

void CWidgetColourSlct::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.fillRect(0, 0, Size, Size, Qt::black);
    for (int i = 0; i <= CustomIndex; ++i)
        p.fillRect(CellRect(i), SwatchColour(i));
    if (m_selected < 0 || m_selected > CustomIndex)
        return;
    // Four lines on the black gaps around the cell: 17 pixels a side.
    const QRect r = CellRect(m_selected);
    const int l = r.left() - 1, t = r.top() - 1, rr = r.left() + Cell, b = r.top() + Cell;
    p.setPen(QColor(255, 0, 0));
    p.drawLine(l, t, rr, t);
    p.drawLine(rr, t, rr, b);
    p.drawLine(rr, b, l, b);
    p.drawLine(l, b, l, t);
}

void CWidgetColourSlct::mouseReleaseEvent(QMouseEvent* e)
{
    if (e->button() != Qt::LeftButton)
        return;
    const QPoint pos = e->position().toPoint();
    const int column = band(pos.x());
    const int row = band(pos.y());
    // A tap on a gap still confirms the present choice.
    SelectSwatch(column < 0 || row < 0 ? m_selected : row * 4 + column);
}
