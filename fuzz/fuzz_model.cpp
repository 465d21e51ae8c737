// Feeds arbitrary bytes to the decoders of records, categories and settings,
// then reads, re-enciphers and re-encodes what came out.
#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/categories.h"
#include "model/record.h"
#include "security/fieldcrypt.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstring>

namespace {

class FuzzConfig : public CvxConfig
{
public:
    FuzzConfig() : CvxConfig(NoFile{}) {}
};

CCategories* setUp()
{
    static CCategories categories;
    _AppCfg = new FuzzConfig;
    EncryptSetPwd(QStringLiteral("fuzz key"));
    auto* c = new CCategory;
    c->id = 0;
    c->name = QStringLiteral("Protected");
    c->isProtected = true;
    categories.InsertSeq(c, false);
    return &categories;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static CCategories* categories = setUp();
    const int n = size > 1 << 20 ? 1 << 20 : int(size);
    const char* bytes = reinterpret_cast<const char*>(data);

    CRecord record;
    record.Decode(bytes, n);
    QString text;
    for (bool encrypted : {false, true}) {
        record.encrypted = encrypted;
        for (bool locked : {true, false}) {
            _AppCfg->locked = locked;
            for (int i = 0; i < CRecord::TextCount; ++i)
                record.GetDataText(i, text);
        }
    }
    record.EncryptRecord(categories);
    record.DecryptRecord(categories);
    const QByteArray encoded = record.Encode();
    CRecord again;
    again.Decode(encoded.constData(), int(encoded.size()));
    if (again.Encode() != encoded)
        __builtin_trap();

    CCategory category;
    category.Decode(bytes, n);
    char catOut[CCategory::StoredSize], catOut2[CCategory::StoredSize];
    category.Encode(catOut);
    category.Decode(catOut, CCategory::StoredSize);
    category.Encode(catOut2);
    if (std::memcmp(catOut, catOut2, sizeof catOut) != 0)
        __builtin_trap();

    _AppCfg->Decode(bytes, n);
    char cfgOut[CvxConfig::StoredSize], cfgOut2[CvxConfig::StoredSize];
    _AppCfg->Encode(cfgOut);
    _AppCfg->Decode(cfgOut, CvxConfig::StoredSize);
    _AppCfg->Encode(cfgOut2);
    if (std::memcmp(cfgOut, cfgOut2, sizeof cfgOut) != 0)
        __builtin_trap();
    return 0;
}
