#include "storage/cxfileimage.h"

#include "storage/cxfile.h"
#include "storage/cxio.h"

#include <QFile>

#include <cerrno>
#include <cstring>
#include <new>

CxFileImage CxFileImage::read(const QString& path, const char* signature)
{
    CxFileImage image;
    const std::string name = QFile::encodeName(path).toStdString();
    CxPosixIo data;
    if (const int error = data.open(name.c_str(), CxIo::Mode::ReadOnly)) {
        image.status = error == ENOENT ? Missing : Unreadable;
        image.error = QString::fromLocal8Bit(std::strerror(error));
        return image;
    }
    image.size = data.size();
    if (image.size > CxFile::MaxFileSize) {
        image.status = TooLarge;
        return image;
    }
    try {
        image.bytes.resize(qMax<qint64>(image.size, 0));
    } catch (const std::bad_alloc&) {
        image.status = Unreadable;
        image.error = QString::fromLocal8Bit(std::strerror(ENOMEM));
        return image;
    }
    if (image.size < 0 || (image.size > 0 && !data.read(0, image.bytes.data(), image.size))) {
        image.status = Unreadable;
        image.error = QString::fromLocal8Bit(std::strerror(image.size < 0 ? errno : data.lastError()));
        image.bytes.clear();
        return image;
    }
    image.status = Read;
    if (image.size == 0)
        return image;
    CxJournalId id;
    id.fileId = data.fileId();
    id.name = CxJournal::nameOf(name);
    id.signature = signature ? signature : "";
    CxPosixIo journalIo(true);
    CxJournal journal;
    image.journal = journal.load(journalIo, CxJournal::pathFor(name), id, data);
    if (image.journal == CxJournal::Hot)
        journal.applyTo(image.bytes);
    return image;
}

bool CxFileImage::readInto(const QString& path, const char* signature, QByteArray& bytes, qint64& tooLarge,
                           CxJournal::State& journal, QString* error)
{
    CxFileImage image = read(path, signature);
    if (image.status == Missing || image.status == Unreadable) {
        if (error)
            *error = image.error;
        return false;
    }
    bytes.swap(image.bytes);
    tooLarge = image.status == TooLarge ? image.size : 0;
    journal = image.journal;
    return true;
}
