#include "vault/recordfinder.h"

#include "vault/vault.h"

#include <array>

namespace {

// Between the fields of a search key; typed text never holds it.
constexpr QChar FieldBreak(0x1f);

// The fold of each Latin-1 character, worked out once: every stored text
// is Latin-1, so folding a record is one look-up a character.
const std::array<QString, 256>& latin1Folds()
{
    static const std::array<QString, 256> table = [] {
        std::array<QString, 256> folds;
        for (int c = 0; c < 256; ++c) {
            const QString decomposed = QString(QChar(c)).normalized(QString::NormalizationForm_KD);
            QString out;
            for (QChar part : decomposed) {
                if (part.category() != QChar::Mark_NonSpacing)
                    out += part;
            }
            folds[size_t(c)] = out.toCaseFolded();
        }
        return folds;
    }();
    return table;
}

} // namespace

CRecordFinder::CRecordFinder(const QString& text)
    : m_folded(fold(text))
{
}

QString CRecordFinder::fold(const QString& text)
{
    const std::array<QString, 256>& folds = latin1Folds();
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.unicode() < 256) {
            const QString& folded = folds[c.unicode()];
            if (folded.size() == 1)
                out += folded.front();
            else
                out += folded;
            continue;
        }
        // Typed text may hold more than Latin-1; it folds the same way.
        const qsizetype length = c.isHighSurrogate() && i + 1 < text.size() ? 2 : 1;
        const QString decomposed = text.mid(i, length).normalized(QString::NormalizationForm_KD);
        for (QChar part : decomposed) {
            if (part.category() != QChar::Mark_NonSpacing)
                out += part.toCaseFolded();
        }
        i += length - 1;
    }
    return out;
}

QString CRecordFinder::searchKey(const CVault& vault, const CRecord& record)
{
    // While locked an enciphered field reads as a mask, which must not match.
    const int searched = record.encrypted && vault.isLocked() ? 1 : 3;
    QString key;
    for (int i = 0; i < searched; ++i) {
        QString text = vault.text(record, i);
        if (i > 0)
            key += FieldBreak;
        key += fold(text);
        text.fill(QChar(' '));
    }
    return key;
}

bool CRecordFinder::matchesKey(const QString& key) const
{
    return key.contains(m_folded);
}

bool CRecordFinder::matches(const CVault& vault, const CRecord& record) const
{
    if (m_folded.isEmpty())
        return true;
    QString key = searchKey(vault, record);
    const bool found = matchesKey(key);
    key.fill(QChar(' '));
    return found;
}
