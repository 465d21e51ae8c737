#ifndef VAULTIX_VAULT_VXCONFIG_H
#define VAULTIX_VAULT_VXCONFIG_H

#include <cstdint>

#include <QString>
#include <QStringList>

// The settings, stored as one 88-byte record under key 0 of the data file;
// the vault reads and writes them.
class CvxConfig
{
public:
    static constexpr int StoredSize = 88;

    // A row colour as the file keeps it, each part 0..255.
    struct Colour
    {
        int red = 0;
        int green = 0;
        int blue = 0;
        bool operator==(const Colour& o) const { return red == o.red && green == o.green && blue == o.blue; }
        bool operator!=(const Colour& o) const { return !(*this == o); }
    };

    // The state before any file is read: no colours, no password; the icon
    // list is read from the installed pictures.
    CvxConfig();

    // What a new data file starts with.
    void SetDefaults();
    // The eight verifier bytes summed modulo 256 are not zero.
    bool hasPassword() const;
    // Some verifier byte is not zero (the other test, kept on purpose).
    bool anyVerifierByte() const;

    int32_t firstWord = 0;
    Colour colourOdd;
    Colour colourEven;
    int32_t autolockMinutes = 0;
    unsigned char verifier[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    int32_t passwordLength = 0;
    bool showNoPwdWarning = false;
    bool cleartextPwd = false;
    QStringList iconNames;

    void Encode(char out[StoredSize]) const;
    void Decode(const char* data, int size);

private:
    void BuildIconNames();
};

#endif
