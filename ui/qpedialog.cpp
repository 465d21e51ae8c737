#include "ui/qpedialog.h"

#include <QGroupBox>
#include <QLabel>
#include <QResizeEvent>
#include <QScrollBar>

#include <algorithm>
#include <iterator>

namespace {
// The controls a form scrolls, in the order they are moved. Any other
// widget (the scroll bar included) keeps its place.
const char* const ScrolledClasses[] = {
    "QLabel", "QComboBox", "QLineEdit", "QPlainTextEdit", "QPushButton",
    "QCheckBox", "QSpinBox", "QListWidget", "QGroupBox",
};

bool isScrolledClass(const QObject* o)
{
    return std::any_of(std::begin(ScrolledClasses), std::end(ScrolledClasses),
                       [o](const char* name) { return o->inherits(name); });
}
} // namespace

CQPEDialog::CQPEDialog(QWidget* parent, int width, int height)
    : CQPEDialog(parent, parent, width, height)
{
}

CQPEDialog::CQPEDialog(QWidget* parent, QWidget* watched, int width, int height)
    : QDialog(parent)
    , m_watched(watched ? watched : parent)
    , m_scrollBar(new QScrollBar(Qt::Vertical, this))
    , m_width(width)
    , m_height(std::min(height, MaxDesignHeight))
{
    setModal(true);
    m_scrollBar->hide();

    connect(m_scrollBar, &QScrollBar::valueChanged, this, &CQPEDialog::slotScrollWindow);
    if (m_watched) {
        // By name: any widget with this signal can be watched.
        connect(m_watched, SIGNAL(signalResized(QResizeEvent*)), this, SLOT(slotResized(QResizeEvent*)));
        setSize(m_watched->width(), m_watched->height());
    } else {
        // Nothing to follow: the form gets its design size.
        setSize(m_width, m_height - HeightAllowance);
    }
}

CQPEDialog::~CQPEDialog()
{
    if (m_watched)
        disconnect(m_watched, SIGNAL(signalResized(QResizeEvent*)), this, SLOT(slotResized(QResizeEvent*)));
}

void CQPEDialog::setSize(int width, int height)
{
    const int wanted = height + HeightAllowance;
    const int h = std::min(wanted, m_height);
    int w = std::min(width, m_width);

    // Every size starts from the form's design positions.
    slotScrollWindow(0);
    m_scrollPos = 0;
    // The slider goes home with the controls (the slot has nothing left to move).
    m_scrollBar->setValue(0);

    if (h < m_height) {
        // The form moves when the slider is let go, not while dragged.
        m_scrollBar->setTracking(false);
        m_scrollBar->move(w, 1);
        m_scrollBar->setFixedSize(ScrollBarWidth, h - 2);
        m_scrollBar->setRange(0, m_height - h);
        m_scrollBar->setPageStep(m_height / 4);
        m_scrollBar->setSingleStep(fontMetrics().height());
        w += ScrollBarWidth;
        m_scrollBar->show();
    } else {
        m_scrollBar->hide();
    }

    if (w > MaxWidth - 1)
        w = MaxWidth;
    setFixedSize(w, h);

    // The numbers are relative to the main window's client area; the
    // dialog is a window of its own, so place it on the screen.
    QPoint origin;
    if (m_watched && m_watched->window() != this)
        origin = m_watched->window()->mapToGlobal(QPoint(0, 0));
    const QPoint pos(origin.x() + (MaxWidth - w) / 2 + OffsetX, origin.y() + (wanted - h) / 2 + OffsetY);
    setGeometry(QRect(pos, QSize(w, h)));
}

void CQPEDialog::slotResized(QResizeEvent* e)
{
    if (e)
        setSize(e->size().width(), e->size().height());
}

void CQPEDialog::slotScrollWindow(int value)
{
    const int delta = m_scrollPos - value;
    m_scrollPos = value;
    if (delta == 0)
        return;
    setUpdatesEnabled(false);
    for (const char* name : ScrolledClasses)
        scrollControls(name, 0, delta);
    setUpdatesEnabled(true);
}

void CQPEDialog::scrollControls(const char* className, int dx, int dy)
{
    const QList<QWidget*> all = findChildren<QWidget*>();
    for (QWidget* w : all) {
        if (!w->inherits(className) || w->window() != this)
            continue;
        // Children of a group box travel with it; the parts inside a
        // control (a spin box's line edit) belong to that control.
        if (w->parentWidget() != this && isScrolledClass(w->parentWidget()))
            continue;
        w->move(w->x() + dx, w->y() + dy);
    }
}

QGroupBox* makeGroupBox(QWidget* parent, const QString& title, int x, int y, int w, int h)
{
    // Qt 6 group boxes draw their own sunken frame; there is no frame
    // shape to set.
    auto* box = new QGroupBox(title, parent);
    box->setGeometry(x, y, w, h);
    return box;
}

QLabel* makeLabel(QWidget* parent, const QString& text, int x, int y, int w, int h)
{
    auto* label = new QLabel(parent);
    label->setGeometry(x, y, w, h);
    label->setText(text);
    return label;
}
