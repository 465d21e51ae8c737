#include "ui/secretmimedata.h"

#include <QStringList>
#include <QVariant>

namespace {

const QString PlainText = QStringLiteral("text/plain");
const QString Utf8Text = QStringLiteral("text/plain;charset=utf-8");

} // namespace

const char* const CSecretMimeData::HintFormat = "x-kde-passwordManagerHint";

CSecretMimeData::CSecretMimeData(const QString& text)
    // A copy of its own, shared with nobody, so that wiping reaches it.
    : m_text(text.constData(), text.size())
{
}

CSecretMimeData::~CSecretMimeData()
{
    m_text.fill(QChar(0));
}

QStringList CSecretMimeData::formats() const
{
    return {PlainText, Utf8Text, QLatin1String(HintFormat)};
}

bool CSecretMimeData::hasFormat(const QString& mimeType) const
{
    return formats().contains(mimeType);
}

QVariant CSecretMimeData::retrieveData(const QString& mimeType, QMetaType type) const
{
    if (mimeType == QLatin1String(HintFormat))
        return QByteArray("secret");
    if (mimeType != PlainText && mimeType != Utf8Text)
        return QVariant();
    if (type.id() == QMetaType::QByteArray)
        return m_text.toUtf8();
    return QString(m_text.constData(), m_text.size());
}
