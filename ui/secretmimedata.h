#ifndef VAULTIX_UI_SECRETMIMEDATA_H
#define VAULTIX_UI_SECRETMIMEDATA_H

#include <QMimeData>
#include <QString>

// A copied secret as the clipboard offers it: plain text, marked for
// clipboard managers as a password they should not keep
// (x-kde-passwordManagerHint: secret). It hands out copies of its text and
// wipes its own when the clipboard lets it go.
class CSecretMimeData : public QMimeData
{
    Q_OBJECT

public:
    static const char* const HintFormat;

    explicit CSecretMimeData(const QString& text);
    ~CSecretMimeData() override;

    QStringList formats() const override;
    bool hasFormat(const QString& mimeType) const override;

protected:
    QVariant retrieveData(const QString& mimeType, QMetaType type) const override;

private:
    QString m_text;
};

#endif
