#ifndef VAULTIX_CRYPTO_PASSWORDGENERATOR_H
#define VAULTIX_CRYPTO_PASSWORDGENERATOR_H

#include <QString>

// Random passwords from the operating system's random source. Every
// password of the chosen length over the chosen classes that holds at least
// one character of each class is equally likely. Only printable ASCII.
class CPasswordGenerator
{
public:
    enum Class {
        Lower = 1,   // a-z
        Upper = 2,   // A-Z
        Digits = 4,  // 0-9
        Symbols = 8, // the 32 ASCII punctuation characters
        AllClasses = Lower | Upper | Digits | Symbols,
    };
    static constexpr int MinLength = 8;
    static constexpr int MaxLength = 64;
    static constexpr int DefaultLength = 20;

    // False (and nothing changed) outside MinLength..MaxLength.
    bool setLength(int length);
    int length() const { return m_length; }
    // A set of Class flags; false (and nothing changed) when empty or with
    // unknown flags.
    bool setClasses(int classes);
    int classes() const { return m_classes; }

    // The characters of one class.
    static QString characters(Class c);

    // A new password. The string is the only copy: the caller wipes it
    // (WipeBytes over data()) once it has been used.
    QString generate() const;

private:
    int m_length = DefaultLength;
    int m_classes = AllClasses;
};

#endif
