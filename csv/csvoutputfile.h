#ifndef VAULTIX_CSV_CSVOUTPUTFILE_H
#define VAULTIX_CSV_CSVOUTPUTFILE_H

#include <QCoreApplication>
#include <QString>

class QFile;

// Where an export goes. An export holds every secret in plain text, so its
// file is readable by its owner only and never reached through a link.
class CCsvOutputFile
{
    Q_DECLARE_TR_FUNCTIONS(CCsvOutputFile)

public:
    // Opens `path` into `file` for writing, emptied, mode 0600 (an existing
    // file being overwritten is tightened to 0600 too). Without `overwrite`
    // the file must not exist yet. Refused, with `error` set to a sentence
    // for the user: a symbolic link (with or without `overwrite`), anything
    // but a regular file, a file with other names (hard links), another
    // user's file. Nothing is changed on a refusal.
    static bool open(QFile& file, const QString& path, bool overwrite, QString& error);

    // The refusal open() would give for an existing `path` because of what
    // it is (a link, a folder, a device, a file with other names or of
    // another user), without
    // touching it; empty when there is none or nothing is there. Lets a
    // caller refuse before it asks about overwriting.
    static QString refusal(const QString& path);
};

#endif
