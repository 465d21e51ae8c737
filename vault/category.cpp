#include "vault/category.h"

#include "storage/le32.h"

#include <cstring>

namespace {

// A text slot: at most TextSlot - 1 Latin-1 bytes, then zeros.
void putText(char* slot, const QString& text)
{
    std::memset(slot, 0, CCategory::TextSlot);
    const QByteArray bytes = text.toLatin1();
    const int n = qMin<int>(bytes.size(), CCategory::TextSlot - 1);
    if (n > 0)
        std::memcpy(slot, bytes.constData(), n);
}

// Stops at the first NUL or at the end of the slot, whichever comes first.
QString getText(const char* slot)
{
    int n = 0;
    while (n < CCategory::TextSlot && slot[n] != '\0')
        ++n;
    return QString::fromLatin1(slot, n);
}

constexpr int OffId = 0;
constexpr int OffProtected = 4;
constexpr int OffIcon = 8;
constexpr int OffName = 40;
constexpr int OffLabels = 72;

} // namespace

void CCategory::Encode(char out[StoredSize]) const
{
    std::memset(out, 0, StoredSize);
    PutLE32(out + OffId, id);
    PutLE32(out + OffProtected, isProtected ? 1 : 0);
    putText(out + OffIcon, icon);
    putText(out + OffName, name);
    for (int i = 0; i < 6; ++i)
        putText(out + OffLabels + i * TextSlot, labels[i]);
}

void CCategory::Decode(const char* data, int size)
{
    char buf[StoredSize];
    std::memset(buf, 0, StoredSize);
    if (data && size > 0)
        std::memcpy(buf, data, qMin(size, StoredSize));
    id = GetLE32(buf + OffId);
    isProtected = GetLE32(buf + OffProtected) != 0;
    icon = getText(buf + OffIcon);
    name = getText(buf + OffName);
    for (int i = 0; i < 6; ++i)
        labels[i] = getText(buf + OffLabels + i * TextSlot);
}
