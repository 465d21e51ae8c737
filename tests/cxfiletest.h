#ifndef VAULTIX_TESTS_CXFILETEST_H
#define VAULTIX_TESTS_CXFILETEST_H

// Helpers shared by the record file tests.
#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"

#include <QByteArray>
#include <QFile>
#include <QList>
#include <QtEndian>

#include <cerrno>
#include <climits>

#include <unistd.h>

// Field offsets and sizes read like the format's own names.
using namespace CxLayout;

// The application's signature; the engine itself has none.
constexpr char TestSignature[] = "Vaultix0001";

// The real file system without fsync.
class QuietIo : public CxPosixIo
{
public:
    bool sync() override { return isOpen(); }
    bool remove(const char* path) override { return ::unlink(path) == 0 || errno == ENOENT; }
};

struct QuietIos
{
    QuietIo data;
    QuietIo journal;
};

// Skips fsync, on the file and its journal, so long sequences stay fast.
// The file system is the real one: a journal still comes and goes.
class QuietFile : private QuietIos, public CxFile
{
public:
    QuietFile() : CxFile(TestSignature, &data, &journal) {}
    void FlushToDisk() override {}
};

inline QByteArray fileBytes(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline qint32 le32(const QByteArray& bytes, qint64 at)
{
    return at >= 0 && at + 4 <= bytes.size() ? qFromLittleEndian<qint32>(bytes.constData() + at) : INT_MIN;
}

// Record contents that differ with the seed and along the record.
inline QByteArray pattern(int size, quint32 seed)
{
    QByteArray bytes(size, Qt::Uninitialized);
    for (int i = 0; i < size; ++i)
        bytes[i] = char((seed * 2654435761u + quint32(i) * 40503u) >> 13);
    return bytes;
}

inline int32_t currentKey(CxFile& file)
{
    int32_t key = INT_MIN;
    return file.ReadRecordKey(key) ? key : INT_MIN;
}

inline QByteArray readCurrent(CxFile& file)
{
    int32_t size = -1, got = -1;
    if (!file.ReadRecordSize(size) || size < 0)
        return "<no size>";
    QByteArray bytes(size, '\0');
    return file.ReadRecord(bytes.data(), got) && got == size ? bytes : QByteArray("<short read>");
}

// The keys listed in the index block at the offset.
inline QList<qint32> indexKeys(const QByteArray& b, qint64 block)
{
    QList<qint32> keys;
    for (int i = 0; i < le32(b, block + IxCount); ++i)
        keys << le32(b, block + entryAt(i) + EnKey);
    return keys;
}

// A file written without interruption checks clean and uses every block.
inline QString structureProblem(const QByteArray& bytes)
{
    CxFileCheck check(bytes, TestSignature);
    if (!check.run())
        return check.problems().join('\n');
    return check.unusedBlockCount() ? QString("%1 unused blocks").arg(check.unusedBlockCount()) : QString();
}

#endif
