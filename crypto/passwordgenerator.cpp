#include "crypto/passwordgenerator.h"

#include <QRandomGenerator>

namespace {

const char* const ClassCharacters[] = {
    "abcdefghijklmnopqrstuvwxyz",
    "ABCDEFGHIJKLMNOPQRSTUVWXYZ",
    "0123456789",
    "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~",
};

// Uniform in [0, n): QRandomGenerator::bounded() scales, which favours some
// values by a hair; rejecting the draws past the last whole multiple of n
// does not.
quint32 Uniform(quint32 n)
{
    const quint32 limit = quint32(0x100000000ull - 0x100000000ull % n);
    quint32 v;
    do {
        v = QRandomGenerator::system()->generate();
    } while (limit != 0 && v >= limit);
    return v % n;
}

} // namespace

bool CPasswordGenerator::setLength(int length)
{
    if (length < MinLength || length > MaxLength)
        return false;
    m_length = length;
    return true;
}

bool CPasswordGenerator::setClasses(int classes)
{
    if (classes == 0 || (classes & ~AllClasses) != 0)
        return false;
    m_classes = classes;
    return true;
}

QString CPasswordGenerator::characters(Class c)
{
    for (int i = 0; i < 4; ++i) {
        if (c == 1 << i)
            return QString::fromLatin1(ClassCharacters[i]);
    }
    return QString();
}

QString CPasswordGenerator::generate() const
{
    QString alphabet;
    for (int i = 0; i < 4; ++i) {
        if (m_classes & (1 << i))
            alphabet += QLatin1String(ClassCharacters[i]);
    }
    // Drawn whole and drawn again until every class is in it: unlike
    // placing one of each and shuffling, this keeps all such passwords
    // equally likely. Rarely more than two tries, even at the shortest.
    QString password(m_length, QChar());
    for (;;) {
        int seen = 0;
        for (QChar& c : password) {
            c = alphabet[Uniform(quint32(alphabet.size()))];
            seen |= c.isLower() ? Lower : c.isUpper() ? Upper : c.isDigit() ? Digits : Symbols;
        }
        if (seen == m_classes)
            return password;
    }
}
