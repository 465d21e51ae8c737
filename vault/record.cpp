#include "vault/record.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/keyplan.h"
#include "crypto/fieldcrypt.h"
#include "storage/cxfile.h"
#include "storage/le32.h"

#include <cstring>

namespace {

void wipe(QByteArray& bytes)
{
    if (!bytes.isEmpty())
        WipeBytes(bytes.data(), size_t(bytes.size()));
}

// The cipher always works on whole 8-byte blocks.
int roundUp8(int n)
{
    return n <= 0 ? 0 : (n + 7) & ~7;
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

void CRecord::GetDataText(int number, QString& text) const
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
    if (!_AppCfg || _AppCfg->locked) {
        text = QString::fromLatin1(MaskedText);
        return;
    }
    const int blocks = roundUp8(fieldDataLength);
    CWipedBuffer plain{size_t(blocks)};
    std::memcpy(plain, fieldData, size_t(blocks));
    DecryptData(plain, fieldDataLength);
    text = QString::fromLatin1(plain + start, count);
}

void CRecord::SetDataText(const QString& t0, const QString& t1, const QString& t2,
                          const QString& t3, const QString& t4, const QString& t5,
                          const QString& t6)
{
    FreeBuffers();

    QByteArray first = t0.toLatin1();
    firstFieldLength = int(first.size());
    firstField = CWipedBuffer(size_t(firstFieldLength) + 1);
    if (firstFieldLength > 0)
        std::memcpy(firstField, first.constData(), size_t(firstFieldLength));
    firstField[firstFieldLength] = '\0';
    wipe(first);

    const QString* texts[6] = {&t1, &t2, &t3, &t4, &t5, &t6};
    QByteArray plain[6];
    int total = 0;
    for (int i = 0; i < 6; ++i) {
        plain[i] = texts[i]->toLatin1();
        fieldLength[i] = int(plain[i].size());
        total += fieldLength[i];
    }
    fieldDataLength = roundUp8(total);
    fieldData = allocFieldData(fieldDataLength);
    int at = 0;
    for (QByteArray& bytes : plain) {
        if (!bytes.isEmpty())
            std::memcpy(fieldData + at, bytes.constData(), size_t(bytes.size()));
        at += int(bytes.size());
        wipe(bytes);
    }
    if (encrypted)
        EncryptData(fieldData, fieldDataLength);
}

void CRecord::WriteRecord(bool update)
{
    if (!_AppFile)
        return;
    const QByteArray bytes = Encode();
    if (update && _AppFile->FindRecord(key)) {
        _AppFile->UpdateRecord(bytes.constData(), int32_t(bytes.size()));
        return;
    }
    // The smallest free key from the record marker on. Keys come back in ascending
    // order, so one walk finds the first gap without probing key by key.
    int32_t free = KeyPlan::RecordMarker;
    if (_AppFile->FindRecord(free)) {
        ++free;
        int32_t k = 0;
        while (_AppFile->FindNextRecord() && _AppFile->ReadRecordKey(k) && k == free)
            ++free;
        // Where the add puts a key that falls between two index blocks
        // depends on where the cursor stands, so end as probing key by key
        // would: on the last key in use, then the failed probe of the free one.
        _AppFile->FindRecord(free - 1);
        _AppFile->FindRecord(free);
    }
    if (_AppFile->AddRecord(free, bytes.constData(), int32_t(bytes.size())))
        key = free;
}

bool CRecord::EncryptRecord(CCategories* categories)
{
    return Recipher(categories, EncryptData);
}

bool CRecord::DecryptRecord(CCategories* categories)
{
    return Recipher(categories, DecryptData);
}

bool CRecord::Recipher(CCategories* categories, void (*cipher)(char*, int))
{
    if (!categories)
        return false;
    CCategory* c = categories->GetCategory(category);
    if (!c || !c->isProtected)
        return false;
    if (fieldData)
        cipher(fieldData, fieldDataLength);
    return true;
}

QByteArray CRecord::Encode() const
{
    const int first = firstField ? qMax(0, firstFieldLength) : 0;
    const int data = fieldData ? qMax(0, fieldDataLength) : 0;
    QByteArray out(HeadSize + first + data, '\0');
    char* p = out.data();
    PutLE32(p + OffCategory, category);
    for (int i = 0; i < 6; ++i)
        PutLE32(p + OffLengths + 4 * i, fieldLength[i]);
    PutLE32(p + OffFirstLength, first);
    PutLE32(p + OffDataLength, data);
    if (first > 0)
        std::memcpy(p + HeadSize, firstField, size_t(first));
    if (data > 0)
        std::memcpy(p + HeadSize + first, fieldData, size_t(data));
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
