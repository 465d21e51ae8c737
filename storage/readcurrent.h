#ifndef VAULTIX_STORAGE_READCURRENT_H
#define VAULTIX_STORAGE_READCURRENT_H

#include "storage/cxfile.h"

#include <QByteArray>

// Reads the record under the file's cursor into `buffer`, sized to what was
// really read; false when there is nothing readable there.
inline bool ReadCurrentRecord(CxFile& file, QByteArray& buffer)
{
    int32_t size = 0;
    if (!file.ReadRecordSize(size) || size < 0)
        return false;
    buffer.resize(size);
    int32_t got = 0;
    if (size > 0 && !file.ReadRecord(buffer.data(), got)) {
        buffer.clear();
        return false;
    }
    buffer.resize(qMin(got, size));
    return true;
}

#endif
