#include "vault/vxconfig.h"

#include "platform/global.h"
#include "storage/le32.h"

#include <QDir>

#include <cstring>

namespace {

// A damaged record may hold any word; a colour part is 0..255.
int colourPart(const char* p)
{
    return qBound(0, GetLE32(p), 255);
}

constexpr int OffFirstWord = 0;
constexpr int OffOdd = 4;
constexpr int OffEven = 16;
constexpr int OffAutolock = 28;
constexpr int OffVerifier = 44;
constexpr int OffPwdLength = 52;
constexpr int OffCleartext = 64;
constexpr int OffWarning = 68;

const char* const IconFolder = "/pics/korel/icons.18x14/";

} // namespace

CvxConfig::CvxConfig()
{
    BuildIconNames();
}

void CvxConfig::SetDefaults()
{
    firstWord = 1;
    colourOdd = {255, 255, 255};
    colourEven = {224, 249, 235};
    autolockMinutes = 5;
    std::memset(verifier, 0, sizeof verifier);
    passwordLength = 0;
    showNoPwdWarning = true;
    cleartextPwd = false;
}

void CvxConfig::BuildIconNames()
{
    iconNames.clear();
    const QDir dir(Global::qpeDir() + QLatin1String(IconFolder));
    const QStringList files = dir.entryList({QStringLiteral("*.png")},
                                            QDir::Files | QDir::Hidden,
                                            QDir::Name | QDir::IgnoreCase);
    for (const QString& f : files) {
        const int dot = f.indexOf(QLatin1Char('.'));
        iconNames << (dot > 0 ? f.left(dot) : f);
    }
}

bool CvxConfig::hasPassword() const
{
    unsigned sum = 0;
    for (unsigned char b : verifier)
        sum += b;
    return (sum & 0xFF) != 0;
}

bool CvxConfig::anyVerifierByte() const
{
    for (unsigned char b : verifier) {
        if (b != 0)
            return true;
    }
    return false;
}

void CvxConfig::Encode(char out[StoredSize]) const
{
    std::memset(out, 0, StoredSize);
    PutLE32(out + OffFirstWord, firstWord);
    PutLE32(out + OffOdd, colourOdd.red);
    PutLE32(out + OffOdd + 4, colourOdd.green);
    PutLE32(out + OffOdd + 8, colourOdd.blue);
    PutLE32(out + OffEven, colourEven.red);
    PutLE32(out + OffEven + 4, colourEven.green);
    PutLE32(out + OffEven + 8, colourEven.blue);
    PutLE32(out + OffAutolock, autolockMinutes);
    std::memcpy(out + OffVerifier, verifier, sizeof verifier);
    PutLE32(out + OffPwdLength, passwordLength);
    PutLE32(out + OffCleartext, cleartextPwd ? 1 : 0);
    PutLE32(out + OffWarning, showNoPwdWarning ? 1 : 0);
}

void CvxConfig::Decode(const char* data, int size)
{
    char buf[StoredSize];
    std::memset(buf, 0, StoredSize);
    if (data && size > 0)
        std::memcpy(buf, data, size_t(qMin(size, int(StoredSize))));
    firstWord = GetLE32(buf + OffFirstWord);
    colourOdd = {colourPart(buf + OffOdd), colourPart(buf + OffOdd + 4), colourPart(buf + OffOdd + 8)};
    colourEven = {colourPart(buf + OffEven), colourPart(buf + OffEven + 4), colourPart(buf + OffEven + 8)};
    autolockMinutes = GetLE32(buf + OffAutolock);
    std::memcpy(verifier, buf + OffVerifier, sizeof verifier);
    passwordLength = GetLE32(buf + OffPwdLength);
    cleartextPwd = GetLE32(buf + OffCleartext) != 0;
    showNoPwdWarning = GetLE32(buf + OffWarning) != 0;
}
