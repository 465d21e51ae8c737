#ifndef VAULTIX_VAULT_VAULTRESULT_H
#define VAULTIX_VAULT_VAULTRESULT_H

#include <QString>

// The answer of a change: done, or not done with a text for the user that
// names what could not be saved and why. Never ignored.
class [[nodiscard]] CVaultResult
{
public:
    static CVaultResult success() { return CVaultResult(QString()); }
    static CVaultResult failure(const QString& text) { return CVaultResult(text.isEmpty() ? QStringLiteral("?") : text); }

    bool ok() const { return m_error.isEmpty(); }
    explicit operator bool() const { return ok(); }
    const QString& error() const { return m_error; }

private:
    explicit CVaultResult(const QString& error) : m_error(error) {}
    QString m_error;
};

#endif
