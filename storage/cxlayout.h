#ifndef VAULTIX_STORAGE_CXLAYOUT_H
#define VAULTIX_STORAGE_CXLAYOUT_H

// Where everything sits in a record file. All integers are 32-bit signed
// little-endian; offsets of fields are relative to the start of their
// header or block.
namespace CxLayout {

// File header at offset 0.
constexpr int HeaderSize = 36;
constexpr int HdSignature = 0;
constexpr int SignatureSize = 16; // NUL-terminated, at most 15 characters
constexpr int HdVersionMajor = 16;
constexpr int HdVersionMinor = 20;
constexpr int HdBlockSize = 24;
constexpr int HdFirstIndex = 28;
constexpr int HdFreeHead = 32;

constexpr int MinBlockSize = 64;
constexpr int MaxBlockSize = 512;

// Index block: a head, then entries in ascending key order.
constexpr int IndexHeadSize = 24;
constexpr int IxLowest = 0;
constexpr int IxHighest = 4;
constexpr int IxOwn = 8;
constexpr int IxNext = 12;
constexpr int IxPrev = 16;
constexpr int IxCount = 20;

constexpr int IndexEntrySize = 12;
constexpr int EnKey = 0;
constexpr int EnFirst = 4;
constexpr int EnLength = 8;

// Data block: a head, then the payload.
constexpr int DataHeadSize = 12;
constexpr int DbPrev = 0;
constexpr int DbNext = 4;
constexpr int DbUsed = 8;

// Free block: only its first word means something.
constexpr int FrNext = 0;

constexpr int capacity(int blockSize) { return (blockSize - IndexHeadSize) / IndexEntrySize; }
constexpr int payload(int blockSize) { return blockSize - DataHeadSize; }
constexpr int entryAt(int position) { return IndexHeadSize + position * IndexEntrySize; }

} // namespace CxLayout

#endif
