// Feeds arbitrary bytes to the decoders of records, categories and settings,
// then reads, re-enciphers and re-encodes what came out. The first byte
// chooses one of a few keys, scheduled once: a schedule per input would
// take most of the run.
#include "crypto/cipherkey.h"
#include "vault/category.h"
#include "vault/record.h"
#include "vault/vxconfig.h"

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstring>

namespace {

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
    // None, empty, a password, one longer than the 72 bytes that count.
    static const CCipherKey keys[] = {CCipherKey(), CCipherKey(QByteArray("")), CCipherKey(QByteArray("fuzz key")),
                                      CCipherKey(QByteArray(100, 'k'))};
    static CvxConfig settings;
    if (size < 1)
        return 0;
    const CCipherKey& key = keys[data[0] % 4];
    const int n = size > 1 << 20 ? 1 << 20 : int(size - 1);
    const char* bytes = reinterpret_cast<const char*>(data + 1);

    CRecord record;
    record.Decode(bytes, n);
    QString text;
    for (int mode = 0; mode < 4; ++mode) { // encrypted or not, locked or not
        record.encrypted = mode & 1;
        for (int i = 0; i < CRecord::TextCount; ++i)
            record.GetDataText(i, text, mode & 2 ? &key : nullptr);
    }
    record.EncryptRecord(key);
    record.DecryptRecord(key);
    const QByteArray encoded = record.Encode();
    CRecord again;
    again.Decode(encoded.constData(), int(encoded.size()));
    if (again.Encode() != encoded)
        __builtin_trap();

    CCategory category;
    category.Decode(bytes, n);
    stable<CCategory, CCategory::StoredSize>(category);
    settings.Decode(bytes, n);
    stable<CvxConfig, CvxConfig::StoredSize>(settings);
    return 0;
}
