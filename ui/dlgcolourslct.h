#ifndef VAULTIX_UI_DLGCOLOURSLCT_H
#define VAULTIX_UI_DLGCOLOURSLCT_H

#include "ui/qpedialog.h"

#include <QColor>

class CWidgetColourSlct;
class QPushButton;

// Picks a row colour from the swatch grid, or mixes one of its own.
class CDlgColourSlct : public CQPEDialog
{
    Q_OBJECT

public:
    CDlgColourSlct(QWidget* parent, QColor colour);

    QColor Colour() const { return m_colour; }
    void SetColour(QColor colour) { m_colour = colour; }
    CWidgetColourSlct* grid() const { return m_grid; }

public slots:
    void slotCustomColour();

private:
    QColor m_colour;
    CWidgetColourSlct* m_grid;
    QPushButton* m_custom;
};

#endif
