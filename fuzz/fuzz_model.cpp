// Feeds arbitrary bytes to the decoders of records, categories and settings,
// then reads, re-enciphers and re-encodes what came out.
#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/record.h"
#include "crypto/fieldcrypt.h"

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
    c->isProtected = true;
    categories.InsertSeq(c, false);
    return &categories;
}

// Whatever was decoded encodes, decodes and encodes again to the same bytes.
template<class T, int Size>
void stable(T& t)
{
    char first[Size], second[Size];
    t.Encode(first);
    t.Decode(first, Size);
    t.Encode(second);
    if (std::memcmp(first, second, Size) != 0)
        __builtin_trap();
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
    for (int mode = 0; mode < 4; ++mode) { // encrypted or not, locked or not
        record.encrypted = mode & 1;
        _AppCfg->locked = !(mode & 2);
        for (int i = 0; i < CRecord::TextCount; ++i)
            record.GetDataText(i, text);
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
    stable<CCategory, CCategory::StoredSize>(category);
    _AppCfg->Decode(bytes, n);
    stable<CvxConfig, CvxConfig::StoredSize>(*_AppCfg);
    return 0;
}
