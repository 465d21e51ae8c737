#include "vault/record.h"

#include "crypto/cipherkey.h"
#include "storage/le32.h"

#include <cstring>

namespace {

// The cipher always works on whole 8-byte blocks.
int roundUp8(int n)
{
    return n <= 0 ? 0 : (n + 7) & ~7;
}

// As QString::toLatin1: one byte a character, '?' for any above Latin-1.
void putLatin1(char* to, const QString& text)
{
    const QChar* from = text.constData();
    for (qsizetype i = 0; i < text.size(); ++i) {
        const char16_t c = from[i].unicode();
        to[i] = c > 0xFF ? '?' : char(c);
    }
}

// Zero-filled, one spare byte past the last cipher block.
CWipedBuffer allocFieldData(int length)
{
    return CWipedBuffer(size_t(roundUp8(length) + 1));
}

constexpr int OffCategory = 0;
constexpr int OffLengths = 4;
constexpr int OffFirstLength = 28;
constexpr int OffDataLength = 32;

const char* const MaskedText = "******";

} // namespace

CRecord::CRecord() = default;

CRecord::~CRecord()
{
    FreeBuffers();
}

void CRecord::FreeBuffers()
{
    fieldData.reset();
    firstField.reset();
}

void CRecord::GetDataText(int number, QString& text, const CCipherKey* key) const
{
    text.clear();
    if (number == 0) {
        if (firstField)
            text = QString::fromLatin1(firstField, int(strnlen(firstField, size_t(firstFieldLength))));
        return;
    }
    if (number < 1 || number >= TextCount)
        return;
    const int length = fieldLength[number - 1];
    if (length < 1 || !fieldData)
        return;

    // Lengths may come from a damaged file: a slice that starts or ends past
    // the data only yields less text.
    qint64 start = 0;
    for (int i = 0; i < number - 1; ++i)
        start += qMax(0, fieldLength[i]);
    if (start >= fieldDataLength)
        return;
    const int count = int(qMin<qint64>(length, fieldDataLength - start));

    if (!encrypted) {
        text = QString::fromLatin1(fieldData + start, count);
        return;
    }
    if (!key || !key->isSet()) {
        text = QString::fromLatin1(MaskedText);
        return;
    }
    const int blocks = roundUp8(fieldDataLength);
    CWipedBuffer plain{size_t(blocks)};
    std::memcpy(plain, fieldData, size_t(blocks));
    key->decrypt(plain, fieldDataLength);
    text = QString::fromLatin1(plain + start, count);
}

void CRecord::SetDataText(const QString (&texts)[TextCount], const CCipherKey* key)
{
    const QString& t0 = texts[0];
    FreeBuffers();

    // Written straight into the record's own buffers: no other copy of
    // the plain text is made.
    firstFieldLength = int(t0.size());
    firstField = CWipedBuffer(size_t(firstFieldLength) + 1);
    putLatin1(firstField, t0);
    firstField[firstFieldLength] = '\0';

    int total = 0;
    for (int i = 0; i < 6; ++i) {
        fieldLength[i] = int(texts[i + 1].size());
        total += fieldLength[i];
    }
    fieldDataLength = roundUp8(total);
    fieldData = allocFieldData(fieldDataLength);
    int at = 0;
    for (int i = 0; i < 6; ++i) {
        putLatin1(fieldData + at, texts[i + 1]);
        at += fieldLength[i];
    }
    if (encrypted && key)
        key->encrypt(fieldData, fieldDataLength);
}

void CRecord::EncryptRecord(const CCipherKey& key)
{
    key.encrypt(fieldData, fieldDataLength);
}

void CRecord::DecryptRecord(const CCipherKey& key)
{
    key.decrypt(fieldData, fieldDataLength);
}

int CRecord::EncodedSize() const
{
    return HeadSize + (firstField ? qMax(0, firstFieldLength) : 0) + (fieldData ? qMax(0, fieldDataLength) : 0);
}

void CRecord::EncodeTo(char* p) const
{
    const int first = firstField ? qMax(0, firstFieldLength) : 0;
    const int data = fieldData ? qMax(0, fieldDataLength) : 0;
    std::memset(p, 0, HeadSize);
    PutLE32(p + OffCategory, category);
    for (int i = 0; i < 6; ++i)
        PutLE32(p + OffLengths + 4 * i, fieldLength[i]);
    PutLE32(p + OffFirstLength, first);
    PutLE32(p + OffDataLength, data);
    if (first > 0)
        std::memcpy(p + HeadSize, firstField, size_t(first));
    if (data > 0)
        std::memcpy(p + HeadSize + first, fieldData, size_t(data));
}

QByteArray CRecord::Encode() const
{
    QByteArray out(EncodedSize(), Qt::Uninitialized);
    EncodeTo(out.data());
    return out;
}

void CRecord::Decode(const char* data, int size)
{
    if (!data || size < 0)
        size = 0;
    char head[HeadSize];
    std::memset(head, 0, HeadSize);
    if (size > 0)
        std::memcpy(head, data, size_t(qMin(size, int(HeadSize))));

    category = GetLE32(head + OffCategory);
    for (int i = 0; i < 6; ++i)
        fieldLength[i] = qMax(0, GetLE32(head + OffLengths + 4 * i));

    // Lengths are clamped to what the record really holds, so a lying head
    // can neither make us read past the input nor allocate huge buffers.
    int available = qMax(0, size - int(HeadSize));
    const int first = qBound(0, GetLE32(head + OffFirstLength), available);
    available -= first;
    const int dataLength = qBound(0, GetLE32(head + OffDataLength), available);

    FreeBuffers();

    firstFieldLength = first;
    firstField = CWipedBuffer(size_t(first) + 1);
    if (first > 0)
        std::memcpy(firstField, data + HeadSize, size_t(first));
    firstField[first] = '\0';

    fieldDataLength = dataLength;
    fieldData = allocFieldData(dataLength);
    if (dataLength > 0)
        std::memcpy(fieldData, data + HeadSize + first, size_t(dataLength));
}
