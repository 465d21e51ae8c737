#include "ui/dlgcolourslct.h"

#include "ui/dlgcustomcolour.h"
#include "ui/watchedlist.h"
#include "ui/widgetcolourslct.h"

#include <QPushButton>

CDlgColourSlct::CDlgColourSlct(QWidget* parent, QColor colour)
    : CQPEDialog(parent, WatchedList(parent), 134, 115)
{
    setWindowTitle(tr("Select Colour"));
    setFocusPolicy(Qt::NoFocus);

    m_grid = new CWidgetColourSlct(this, colour);
    m_grid->move(30, 5);
    m_colour = m_grid->SwatchColour(m_grid->SelectedSwatch());
    connect(m_grid, &CWidgetColourSlct::signalColourSelected, this, &CDlgColourSlct::SetColour);

    m_custom = new QPushButton(tr("&Custom"), this);
    m_custom->setGeometry(30, 84, 54, 26);
    m_custom->setAutoDefault(false);
    m_custom->setFocusPolicy(Qt::NoFocus);
    connect(m_custom, &QPushButton::clicked, this, &CDlgColourSlct::slotCustomColour);
}

void CDlgColourSlct::slotCustomColour()
{
    CDlgCustomColour dlg(this, m_grid->GetCustomColour());
    if (dlg.exec() != QDialog::Accepted)
        return;
    m_grid->SetCustomColour(dlg.Colour());
    m_grid->SelectSwatch(CWidgetColourSlct::CustomIndex);
}
