// Structure check and salvage on arbitrary bytes: they must never crash,
// hang or read outside the buffer, whatever the file claims.
#include "storage/cxfilecheck.h"
#include "storage/cxsalvage.h"

#include <cstddef>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    // An odd first byte gets the right signature, so the search spends its
    // time on the blocks rather than on guessing the header.
    QByteArray bytes(reinterpret_cast<const char*>(data) + 1, static_cast<qsizetype>(size - 1));
    if ((data[0] & 1) && bytes.size() >= 16)
        bytes.replace(0, 16, QByteArray("Vaultix0001\0\0\0\0\0", 16));
    CxFileCheck check(bytes, "Vaultix0001");
    const bool sound = check.run();
    // A sound verdict never comes with problems, a damaged one always does.
    if (sound != check.problems().isEmpty())
        __builtin_trap();
    if (check.problems().size() > CxFileCheck::MaxMessages + 1)
        __builtin_trap();

    // Salvage reads the same bytes; it finds nothing in a file without a
    // header, and no record longer than the file.
    CxSalvage salvage(bytes, "Vaultix0001");
    if (!salvage.run() && !salvage.records().empty())
        __builtin_trap();
    for (const auto& entry : salvage.records()) {
        if (entry.second.size() > bytes.size())
            __builtin_trap();
    }
    return 0;
}
