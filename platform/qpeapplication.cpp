#include "platform/qpeapplication.h"

#include "platform/appstyle.h"
#include "platform/dialogdecoration.h"
#include "platform/resource.h"

#include <QContextMenuEvent>
#include <QDialog>
#include <QDialogButtonBox>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>

namespace {

const char* const StylusProperty = "_qpe_stylus";

// Whether a window system with window managers is underneath; the
// framebuffer, VNC and offscreen platforms have none.
bool isDesktop()
{
    const QString name = QGuiApplication::platformName();
    return name == QLatin1String("xcb") || name.startsWith(QLatin1String("wayland"));
}

} // namespace

// Runs before the QApplication base is built: the framebuffer platforms read
// it when their first window appears.
int& QPEApplication::prepareEnvironment(int& argc)
{
    // The framebuffer platforms blow the first window up to the whole screen,
    // which would be a start-up message box as well as the main window.
    if (!qEnvironmentVariableIsSet("QT_QPA_FB_FORCE_FULLSCREEN"))
        qputenv("QT_QPA_FB_FORCE_FULLSCREEN", "0");
    return argc;
}

QPEApplication::QPEApplication(int& argc, char** argv)
    : QApplication(prepareEnvironment(argc), argv)
{
    AppStyle::apply(*this);
    setWindowIcon(QIcon(Resource::loadPixmap(QStringLiteral("vaultix"))));
    m_holdTimer.setSingleShot(true);
    m_holdTimer.setInterval(HoldMs);
    connect(&m_holdTimer, &QTimer::timeout, this, &QPEApplication::holdTimedOut);
    // A filter on the application object sees every event of every object.
    installEventFilter(this);
}

QPEApplication::~QPEApplication()
{
    removeEventFilter(this);
}

void QPEApplication::showMainWidget(QWidget* widget, bool maximized)
{
    m_mainWidget = widget;
    if (!isDesktop()) {
        // Nothing draws window frames here: the window's own area starts at
        // the screen's corner, as on the handheld.
        widget->setWindowFlag(Qt::FramelessWindowHint);
        if (QScreen* screen = primaryScreen())
            widget->setGeometry(QRect(screen->availableGeometry().topLeft(), widget->size()));
    }
    if (maximized)
        widget->showMaximized();
    else
        widget->show();
}

QWidget* QPEApplication::mainWidget()
{
    // The application object is the one place that knows it; tests may run
    // on a plain QApplication.
    auto* app = qobject_cast<QPEApplication*>(QCoreApplication::instance());
    return app ? app->m_mainWidget.data() : nullptr;
}

void QPEApplication::setStylusOperation(QWidget* widget, StylusMode mode)
{
    if (widget)
        widget->setProperty(StylusProperty, int(mode));
}

// The mode of the widget itself or of the nearest parent in its window that
// has one: a list gets its presses on its viewport.
QPEApplication::StylusMode QPEApplication::stylusOperation(const QWidget* widget)
{
    for (const QWidget* w = widget; w; w = w->isWindow() ? nullptr : w->parentWidget()) {
        const QVariant mode = w->property(StylusProperty);
        if (mode.isValid())
            return StylusMode(mode.toInt());
    }
    return LeftOnly;
}

bool QPEApplication::eventFilter(QObject* watched, QEvent* event)
{
    switch (event->type()) {
    case QEvent::Polish:
        // Qt lets a dialog's push buttons take Return for themselves; here
        // Return belongs to the dialog. The answer buttons of a message box
        // keep their way.
        if (auto* button = qobject_cast<QPushButton*>(watched)) {
            if (!qobject_cast<QDialogButtonBox*>(button->parentWidget()))
                button->setAutoDefault(false);
        }
        break;
    case QEvent::ChildAdded:
        if (auto* dialog = qobject_cast<QDialog*>(watched))
            CDialogDecoration::prepare(dialog);
        break;
    case QEvent::Show:
        if (auto* dialog = qobject_cast<QDialog*>(watched); dialog && dialog->isWindow())
            CDialogDecoration::attach(dialog);
        break;
    case QEvent::Hide:
        // Without a window manager nobody gives the keyboard back to the
        // window below a closed dialog or message box, so Return and Escape
        // would go nowhere: hand it to the top modal dialog, or the main
        // window, once the closed one is gone.
        if (auto* dialog = qobject_cast<QDialog*>(watched); dialog && dialog->isWindow()) {
            QTimer::singleShot(0, this, [] {
                QWidget* next = QApplication::activeModalWidget();
                if (!next)
                    next = QApplication::activeWindow() ? nullptr : mainWidget();
                if (next && next->isVisible())
                    next->activateWindow();
            });
        }
        break;
    case QEvent::KeyPress:
        if (auto* widget = qobject_cast<QWidget*>(watched); widget && filterDialogKey(widget, event))
            return true;
        break;
    case QEvent::MouseButtonPress:
    case QEvent::MouseMove:
    case QEvent::MouseButtonRelease:
        if (auto* widget = qobject_cast<QWidget*>(watched); widget && filterStylus(widget, event))
            return true;
        break;
    default:
        break;
    }
    return QApplication::eventFilter(watched, event);
}

// Return or Enter that no control of the dialog took for itself reaches the
// dialog, and does what the title bar's OK does. A multi-line edit keeps it.
bool QPEApplication::filterDialogKey(QWidget* widget, QEvent* event)
{
    auto* dialog = qobject_cast<QDialog*>(widget);
    if (!dialog || !dialog->isWindow())
        return false;
    auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() != Qt::Key_Return && key->key() != Qt::Key_Enter)
        return false;
    if ((key->modifiers() & ~Qt::KeypadModifier) != Qt::NoModifier)
        return false;
    if (QWidget* focus = dialog->focusWidget(); focus && focus->inherits("QPlainTextEdit"))
        return false;
    CDialogDecoration::accept(dialog);
    return true;
}

// Press and hold: a left press that stays put for HoldMs on a widget in
// RightOnHold mode becomes a right click, and the pen's release is then a
// right release, so the press never ends as a tap.
bool QPEApplication::filterStylus(QWidget* widget, QEvent* event)
{
    auto* mouse = static_cast<QMouseEvent*>(event);
    switch (event->type()) {
    case QEvent::MouseButtonPress:
        if (mouse->button() != Qt::LeftButton)
            return false;
        if (m_holdTimer.isActive() && mouse->timestamp() == m_holdStamp)
            return false; // the same press passed on to a parent
        m_holdTimer.stop();
        m_holdFired = false;
        if (stylusOperation(widget) != RightOnHold)
            return false;
        m_holdWidget = widget;
        m_holdStamp = mouse->timestamp();
        m_holdLocal = mouse->position().toPoint();
        m_holdGlobal = mouse->globalPosition().toPoint();
        m_holdTimer.start();
        return false;
    case QEvent::MouseMove:
        if (m_holdTimer.isActive()
            && (mouse->globalPosition().toPoint() - m_holdGlobal).manhattanLength() > HoldSlop)
            m_holdTimer.stop();
        return false;
    case QEvent::MouseButtonRelease:
        if (mouse->button() != Qt::LeftButton)
            return false;
        m_holdTimer.stop();
        if (!m_holdFired)
            return false;
        m_holdFired = false;
        if (m_holdWidget) {
            QMouseEvent release(QEvent::MouseButtonRelease, m_holdLocal, m_holdGlobal, Qt::RightButton,
                                Qt::NoButton, Qt::NoModifier);
            sendEvent(m_holdWidget, &release);
        }
        return true;
    default:
        return false;
    }
}

void QPEApplication::holdTimedOut()
{
    if (!m_holdWidget)
        return;
    m_holdFired = true;
    QPointer<QWidget> target = m_holdWidget;
    QMouseEvent press(QEvent::MouseButtonPress, m_holdLocal, m_holdGlobal, Qt::RightButton, Qt::RightButton,
                      Qt::NoModifier);
    sendEvent(target, &press);
    if (target) {
        QContextMenuEvent menu(QContextMenuEvent::Mouse, m_holdLocal, m_holdGlobal);
        sendEvent(target, &menu);
    }
}
