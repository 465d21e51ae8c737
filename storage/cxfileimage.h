#ifndef VAULTIX_STORAGE_CXFILEIMAGE_H
#define VAULTIX_STORAGE_CXFILEIMAGE_H

#include "storage/cxjournal.h"

#include <QByteArray>
#include <QString>

// A record file read whole as the next open will read it, without writing
// anything: a whole journal of this very file beside it is played back in
// memory. A file longer than the format's offsets reach is not read at all.
struct CxFileImage
{
    enum Status { Read, Missing, Unreadable, TooLarge };

    static CxFileImage read(const QString& path, const char* signature);
    // read() for a reader that keeps the pieces: false, with `error` set,
    // when the file is missing or cannot be read.
    static bool readInto(const QString& path, const char* signature, QByteArray& bytes, qint64& tooLarge,
                         CxJournal::State& journal, QString* error);

    Status status = Missing;
    QByteArray bytes;  // when Read
    qint64 size = 0;   // the file's length on disk
    CxJournal::State journal = CxJournal::Absent;
    QString error;     // the system's reason when Unreadable
};

#endif
