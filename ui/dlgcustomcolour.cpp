#include "ui/dlgcustomcolour.h"

#include "ui/watchedlist.h"

#include <QLabel>
#include <QSlider>

CDlgCustomColour::CDlgCustomColour(QWidget* parent, QColor colour)
    : CQPEDialog(parent, WatchedList(parent), 189, 90)
    , m_colour(colour.isValid() ? colour.toRgb() : QColor(255, 255, 255))
{
    setWindowTitle(tr("Custom Colour"));
    setFocusPolicy(Qt::NoFocus);

    m_red = makeClrSlider(this, 10, 10, 96, 20);
    m_green = makeClrSlider(this, 10, 35, 96, 20);
    m_blue = makeClrSlider(this, 10, 60, 96, 20);
    m_red->setObjectName(QStringLiteral("red"));
    m_green->setObjectName(QStringLiteral("green"));
    m_blue->setObjectName(QStringLiteral("blue"));
    makeLabel(this, tr("R"), 111, 12, 10, 16);
    makeLabel(this, tr("G"), 111, 37, 10, 16);
    makeLabel(this, tr("B"), 111, 62, 10, 16);
    m_redValue = makeLabel(this, QStringLiteral("255"), 123, 12, 24, 16);
    m_greenValue = makeLabel(this, QStringLiteral("255"), 123, 37, 24, 16);
    m_blueValue = makeLabel(this, QStringLiteral("255"), 123, 62, 24, 16);

    // A label, so that it scrolls with the other controls.
    m_preview = makeLabel(this, QString(), 149, 10, 30, 70);
    m_preview->setFrameStyle(QFrame::Box | QFrame::Plain);
    m_preview->setAutoFillBackground(true);

    connect(m_red, &QSlider::sliderMoved, this, &CDlgCustomColour::changedRed);
    connect(m_green, &QSlider::sliderMoved, this, &CDlgCustomColour::changedGreen);
    connect(m_blue, &QSlider::sliderMoved, this, &CDlgCustomColour::changedBlue);
    connect(this, &CDlgCustomColour::colourChanged, this, &CDlgCustomColour::changedColour);
    emit colourChanged();
}

QSlider* CDlgCustomColour::makeClrSlider(QWidget* parent, int x, int y, int w, int h)
{
    auto* slider = new QSlider(Qt::Horizontal, parent);
    slider->setGeometry(x, y, w, h);
    slider->setRange(0, 255);
    slider->setTickPosition(QSlider::TicksBelow);
    slider->setTickInterval(32);
    slider->setFocusPolicy(Qt::NoFocus);
    return slider;
}

void CDlgCustomColour::changedRed(int value)
{
    m_colour.setRed(value);
    emit colourChanged();
}

void CDlgCustomColour::changedGreen(int value)
{
    m_colour.setGreen(value);
    emit colourChanged();
}

void CDlgCustomColour::changedBlue(int value)
{
    m_colour.setBlue(value);
    emit colourChanged();
}

void CDlgCustomColour::changedColour()
{
    const QSignalBlocker r(m_red), g(m_green), b(m_blue);
    m_red->setValue(m_colour.red());
    m_green->setValue(m_colour.green());
    m_blue->setValue(m_colour.blue());
    m_redValue->setNum(m_colour.red());
    m_greenValue->setNum(m_colour.green());
    m_blueValue->setNum(m_colour.blue());
    QPalette pal = m_preview->palette();
    pal.setColor(QPalette::Window, m_colour);
    m_preview->setPalette(pal);
}
