#ifndef VAULTIX_UI_DLGCUSTOMCOLOUR_H
#define VAULTIX_UI_DLGCUSTOMCOLOUR_H

#include "ui/qpedialog.h"

#include <QColor>

class QLabel;
class QSlider;

// Mixes a colour from red, green and blue sliders, with a preview.
class CDlgCustomColour : public CQPEDialog
{
    Q_OBJECT

public:
    CDlgCustomColour(QWidget* parent, QColor colour);

    QColor Colour() const { return m_colour; }

signals:
    void colourChanged();

public slots:
    void changedRed(int value);
    void changedGreen(int value);
    void changedBlue(int value);
    void changedColour();

private:
    QSlider* makeClrSlider(QWidget* parent, int x, int y, int w, int h);

    QColor m_colour;
    QSlider* m_red;
    QSlider* m_green;
    QSlider* m_blue;
    QLabel* m_redValue;
    QLabel* m_greenValue;
    QLabel* m_blueValue;
    QLabel* m_preview;
};

#endif
