#ifndef VAULTIX_UI_COLOURPUSHBUTTON_H
#define VAULTIX_UI_COLOURPUSHBUTTON_H

#include <QColor>
#include <QPushButton>

// A push button that shows a colour in a bar across its face.
class CColourPushButton : public QPushButton
{
    Q_OBJECT

public:
    CColourPushButton(QWidget* parent, int x, int y, int w, int h, QColor colour);

    QColor Colour() const { return m_colour; }
    void SetColour(QColor colour);

protected:
    void paintEvent(QPaintEvent* e) override;

private:
    QColor m_colour;
};

#endif
