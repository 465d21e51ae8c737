#include "ui/clipboardguard.h"

#include "ui/secretmimedata.h"

#include <QClipboard>
#include <QGuiApplication>
#include <QTimer>

CClipboardGuard::CClipboardGuard(QObject* parent)
    : QObject(parent)
    , m_timer(new QTimer(this))
{
    m_timer->setObjectName(QStringLiteral("clipboardTimer"));
    m_timer->setSingleShot(true);
    connect(m_timer, &QTimer::timeout, this, &CClipboardGuard::clear);
    // Anything copied after us, here or in another program, is the user's.
    connect(QGuiApplication::clipboard(), &QClipboard::dataChanged, this, [this] {
        if (!m_copying)
            forget();
    });
}

CClipboardGuard::~CClipboardGuard()
{
    clear();
}

void CClipboardGuard::copy(const QString& text, int seconds)
{
    auto* data = new CSecretMimeData(text);
    m_copying = true;
    QGuiApplication::clipboard()->setMimeData(data, QClipboard::Clipboard);
    m_copying = false;
    m_copy = data;
    m_timer->stop();
    if (seconds > 0)
        m_timer->start(seconds * 1000);
}

bool CClipboardGuard::holdsCopy() const
{
    return m_copy && QGuiApplication::clipboard()->mimeData(QClipboard::Clipboard) == m_copy;
}

void CClipboardGuard::clear()
{
    if (holdsCopy()) {
        m_copying = true;
        QGuiApplication::clipboard()->clear(QClipboard::Clipboard);
        m_copying = false;
    }
    forget();
}

void CClipboardGuard::forget()
{
    m_copy = nullptr;
    m_timer->stop();
}
