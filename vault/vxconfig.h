#ifndef VAULTIX_VAULT_VXCONFIG_H
#define VAULTIX_VAULT_VXCONFIG_H

#include <cstdint>

#include <QColor>
#include <QString>
#include <QStringList>

// The settings, stored as one 88-byte record under key 0 of the data file.
// Loading them is what opens (or creates) that file.
class CvxConfig
{
public:
    static constexpr int StoredSize = 88;

    // Opens the application's data file.
    CvxConfig();
    // Opens the given data file instead (the command-line tool, tests).
    explicit CvxConfig(const QString& dataFile);

    void load();
    void save();
    // The eight verifier bytes summed modulo 256 are not zero.
    bool hasPassword() const;
    // Some verifier byte is not zero (the other test, kept on purpose).
    bool anyVerifierByte() const;

    int32_t firstWord = 0;
    QColor colourOdd;
    QColor colourEven;
    int32_t autolockMinutes = 0;
    unsigned char verifier[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    int32_t passwordLength = 0;
    bool showNoPwdWarning = false;
    bool cleartextPwd = false;
    QStringList iconNames;
    bool locked = true;

    QString dataFile;

    void Encode(char out[StoredSize]) const;
    void Decode(const char* data, int size);

protected:
    // Initial state and icon list only; opens no file. For code that needs
    // a settings object without a data file behind it.
    struct NoFile {};
    explicit CvxConfig(NoFile);

private:
    void InitialState();
    void SetDefaults();
    void BuildIconNames();
};

#endif
