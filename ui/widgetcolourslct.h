#ifndef VAULTIX_UI_WIDGETCOLOURSLCT_H
#define VAULTIX_UI_WIDGETCOLOURSLCT_H

#include <QColor>
#include <QWidget>

// The colours offered for the list's rows; a colour of its own is mixed in
// the custom swatch.
struct CColourSwatch
{
    int red;
    int green;
    int blue;
};
extern const CColourSwatch colourSwatches[15];

// A 4 x 4 grid of 16-pixel swatches on black: the fifteen fixed colours and
// the custom one last. The selected cell has a red square around it.
class CWidgetColourSlct : public QWidget
{
    Q_OBJECT

public:
    static constexpr int CustomIndex = 15;
    static constexpr int Size = 74;

    CWidgetColourSlct(QWidget* parent, QColor colour);

    // 0..14 a fixed swatch, 15 the custom one; tells the owner the colour.
    void SelectSwatch(int index);
    int SelectedSwatch() const { return m_selected; }
    QColor GetCustomColour() const { return m_custom; }
    void SetCustomColour(QColor colour);
    // The colour of a cell; the custom colour for 15.
    QColor SwatchColour(int index) const;
    // Where cell `index` lies in the widget.
    static QRect CellRect(int index);

signals:
    void signalColourSelected(QColor colour);

protected:
    void paintEvent(QPaintEvent* e) override;
    void mouseReleaseEvent(QMouseEvent* e) override;

private:
    int m_selected = -1;
    QColor m_custom{255, 255, 255};
};

#endif
