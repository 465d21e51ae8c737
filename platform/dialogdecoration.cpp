#include "platform/dialogdecoration.h"

#include <QDialog>
#include <QLabel>
#include <QLayout>
#include <QMessageBox>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QPushButton>
#include <QScreen>
#include <QWindow>

namespace {

const char* const BarName = "qpe_dialog_decoration";

constexpr int ControlHeight = 17;
constexpr int CloseWidth = 19;
constexpr int OkWidth = 25;
constexpr int Gap = 2;

// Qt wraps a message box's text at half the screen's width, which on the
// 240-pixel screen breaks the texts' own short lines into ragged pieces.
// The texts carry their line breaks: keep them whole when they fit, and
// use the screen's whole width when they do not.
bool fitMessageBox(QMessageBox* box)
{
    auto* label = box->findChild<QLabel*>(QStringLiteral("qt_msgbox_label"));
    QScreen* screen = box->screen();
    if (!label || !label->wordWrap() || !box->layout() || !screen
        || box->width() >= screen->availableGeometry().width())
        return false;
    const QRect area = screen->availableGeometry();
    label->setWordWrap(false);
    box->layout()->activate();
    QSize whole = box->layout()->totalMinimumSize();
    if (whole.width() > area.width()) {
        // Too wide even so (a long path): wrap at the screen's width, not
        // at half of it.
        label->setWordWrap(true);
        box->layout()->activate();
        whole = QSize(area.width(), box->layout()->totalHeightForWidth(area.width()));
    }
    const QPoint centre = box->frameGeometry().center();
    box->setFixedSize(whole);
    QRect placed(QPoint(0, 0), whole);
    placed.moveCenter(centre);
    placed.moveLeft(qBound(area.left(), placed.left(), area.right() + 1 - whole.width()));
    box->move(placed.topLeft());
    return true;
}

} // namespace

CDialogDecoration::CDialogDecoration(QDialog* dialog)
    : QWidget(dialog, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus
                          | Qt::NoDropShadowWindowHint)
    , m_dialog(dialog)
{
    setObjectName(QLatin1String(BarName));
    // A name of its own, so that nobody takes it for the dialog.
    setWindowTitle(caption() + QStringLiteral(" (title bar)"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);
    QFont bold = font();
    bold.setBold(true);
    setFont(bold);
    dialog->installEventFilter(this);
}

CDialogDecoration* CDialogDecoration::attach(QDialog* dialog)
{
    CDialogDecoration* bar = of(dialog);
    if (!bar)
        bar = new CDialogDecoration(dialog);
    bar->dialogShowing();
    return bar;
}

void CDialogDecoration::prepare(QDialog* dialog)
{
    const Qt::WindowFlags flags = dialog->windowFlags();
    if (!dialog->isWindow() || (flags & Qt::FramelessWindowHint))
        return;
    // Not setWindowFlags(), which would re-create a window about to be
    // shown. Before the window exists this is all it takes; afterwards the
    // window is told too, though some platforms keep the frame they chose.
    dialog->overrideWindowFlags(flags | Qt::FramelessWindowHint);
    if (dialog->testAttribute(Qt::WA_WState_Created)) {
        if (QWindow* window = dialog->windowHandle())
            window->setFlags(flags | Qt::FramelessWindowHint);
    }
}

CDialogDecoration* CDialogDecoration::of(const QDialog* dialog)
{
    return dialog ? dialog->findChild<CDialogDecoration*>(QLatin1String(BarName), Qt::FindDirectChildrenOnly)
                  : nullptr;
}

void CDialogDecoration::accept(QDialog* dialog)
{
    if (auto* box = qobject_cast<QMessageBox*>(dialog)) {
        QAbstractButton* answer = box->defaultButton();
        if (!answer && !box->buttons().isEmpty())
            answer = box->buttons().first();
        if (answer) {
            answer->click();
            return;
        }
    }
    dialog->accept();
}

void CDialogDecoration::reject(QDialog* dialog)
{
    if (auto* box = qobject_cast<QMessageBox*>(dialog)) {
        if (QAbstractButton* answer = box->escapeButton()) {
            answer->click();
            return;
        }
    }
    dialog->reject();
}

QString CDialogDecoration::caption() const
{
    return m_dialog->windowTitle();
}

QRect CDialogDecoration::closeRect() const
{
    return QRect(width() - Gap - CloseWidth, (Height - ControlHeight) / 2, CloseWidth, ControlHeight);
}

QRect CDialogDecoration::okRect() const
{
    return QRect(closeRect().left() - Gap - OkWidth, (Height - ControlHeight) / 2, OkWidth, ControlHeight);
}

CDialogDecoration::Part CDialogDecoration::partAt(const QPoint& pos) const
{
    // The controls answer a little outside their drawn boxes too: a pen is
    // not a mouse pointer.
    if (closeRect().adjusted(-1, -2, Gap, 2).contains(pos))
        return ClosePart;
    if (okRect().adjusted(-3, -2, 1, 2).contains(pos))
        return OkPart;
    return NoPart;
}

void CDialogDecoration::dialogShowing()
{
    prepare(m_dialog);
}

void CDialogDecoration::dialogShown()
{
    if (auto* box = qobject_cast<QMessageBox*>(m_dialog))
        m_keepSize = fitMessageBox(box);
    // Qt centres a message box on its parent, possibly too close to the
    // screen's top for the bar: move it down by what is missing.
    if (QScreen* screen = m_dialog->screen()) {
        const int top = screen->availableGeometry().top() + Height;
        if (m_dialog->frameGeometry().top() < top) {
            m_dialog->move(m_dialog->x(), m_dialog->y() + top - m_dialog->frameGeometry().top());
        }
    }
    follow();
    show();
}

void CDialogDecoration::follow()
{
    const QRect frame = m_dialog->frameGeometry();
    setGeometry(frame.left(), frame.top() - Height, frame.width(), Height);
}

bool CDialogDecoration::eventFilter(QObject* watched, QEvent* event)
{
    if (watched != m_dialog)
        return false;
    switch (event->type()) {
    case QEvent::ShowToParent:
        dialogShown();
        break;
    case QEvent::Hide:
        hide();
        break;
    case QEvent::Move:
    case QEvent::Resize:
        follow();
        break;
    case QEvent::WindowTitleChange:
        setWindowTitle(caption() + QStringLiteral(" (title bar)"));
        update();
        break;
    case QEvent::LayoutRequest:
        // A message box sizes itself again on every layout request, and
        // would wrap its text once more.
        return m_keepSize;
    default:
        break;
    }
    return false;
}

void CDialogDecoration::paintEvent(QPaintEvent*)
{
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient back(0, 0, 0, height());
    back.setColorAt(0, QColor(58, 96, 158));
    back.setColorAt(1, QColor(28, 54, 102));
    p.fillRect(rect(), back);

    const QRect text(4, 0, okRect().left() - 8, height());
    p.setPen(Qt::white);
    p.drawText(text, Qt::AlignVCenter | Qt::AlignLeft,
               fontMetrics().elidedText(caption(), Qt::ElideRight, text.width()));

    auto control = [&](const QRect& r, Part part) {
        const bool down = m_pressed == part && m_pressInside;
        QPainterPath path;
        path.addRoundedRect(QRectF(r).adjusted(0.5, 0.5, -0.5, -0.5), 3, 3);
        p.fillPath(path, down ? QColor(20, 36, 70) : QColor(86, 126, 190));
        p.setPen(QColor(200, 215, 240));
        p.drawPath(path);
        p.setPen(QPen(Qt::white, 1.6));
        if (part == OkPart) {
            p.drawText(r, Qt::AlignCenter, QStringLiteral("OK"));
        } else {
            const QRectF x = QRectF(r).adjusted(5.5, 4.5, -5.5, -4.5);
            p.drawLine(x.topLeft(), x.bottomRight());
            p.drawLine(x.topRight(), x.bottomLeft());
        }
    };
    control(okRect(), OkPart);
    control(closeRect(), ClosePart);
}

void CDialogDecoration::mousePressEvent(QMouseEvent* event)
{
    m_pressed = event->button() == Qt::LeftButton ? partAt(event->position().toPoint()) : NoPart;
    m_pressInside = m_pressed != NoPart;
    update();
}

void CDialogDecoration::mouseMoveEvent(QMouseEvent* event)
{
    const bool inside = m_pressed != NoPart && partAt(event->position().toPoint()) == m_pressed;
    if (inside != m_pressInside) {
        m_pressInside = inside;
        update();
    }
}

void CDialogDecoration::mouseReleaseEvent(QMouseEvent* event)
{
    const Part pressed = m_pressed;
    m_pressed = NoPart;
    m_pressInside = false;
    update();
    if (event->button() != Qt::LeftButton || pressed == NoPart || partAt(event->position().toPoint()) != pressed)
        return;
    if (pressed == OkPart)
        accept(m_dialog);
    else
        reject(m_dialog);
}
