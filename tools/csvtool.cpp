// vaultix-tool import / export: the menu's CSV commands without a screen.

#include "tools/toolcommands.h"

#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "csv/csvexport.h"
#include "csv/csvimport.h"
#include "csv/csvoutputfile.h"
#include "csv/csvreader.h"
#include "model/session.h"

#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

void Report(FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
}

bool SameFile(const QString& a, const QString& b)
{
    const QFileInfo x(a);
    const QFileInfo y(b);
    return x.exists() && y.exists() && x.canonicalFilePath() == y.canonicalFilePath();
}

} // namespace

int ImportCSVFile(const QString& path, const QString& csv, bool passwordStdin)
{
    // Read first, so that nothing is opened or created for a bad name.
    const QFileInfo info(csv);
    if (!info.exists()) {
        PrintError(QString("%1: no such file").arg(csv));
        return ExitFailed;
    }
    QFile file(csv);
    if (info.isDir() || !file.open(QIODevice::ReadOnly)) {
        PrintError(QString("cannot read %1").arg(csv));
        return ExitFailed;
    }
    QByteArray bytes = file.readAll();
    const bool readOk = file.error() == QFileDevice::NoError;
    file.close();
    if (!readOk) {
        WipeCSVText(bytes);
        PrintError(QString("cannot read %1").arg(csv));
        return ExitFailed;
    }

    CSession session(path);
    int result = OpenData(session, true);
    if (result == ExitOk)
        result = Unlock(passwordStdin);
    if (result == ExitOk && _AppCfg->locked && _AppCfg->hasPassword()) {
        PrintError(QString("the data is locked: give the master password (--password-stdin, or on a terminal)"));
        result = ExitFailed;
    }
    if (result != ExitOk) {
        WipeCSVText(bytes);
        return result;
    }
    bool written = true;
    CCsvImportReport report;
    const int count = ImportCSVBytes(bytes, session.categories(), session.records(), &written, &report);
    WipeCSVText(bytes);
    if (!written) {
        PrintError(QString("cannot write to %1; nothing was imported").arg(path));
        return ExitFailed;
    }
    Report(stdout, QString("%1 records imported").arg(count));
    // The lines left out, and why, so that a script notices.
    if (report.skipped() > 0) {
        PrintError(report.text());
        return ExitFailed;
    }
    return ExitOk;
}

int ExportCSVFile(const QString& path, const QString& csv, bool passwordStdin, bool force)
{
    const bool toStdout = csv == QLatin1String("-");
    if (!toStdout) {
        const QFileInfo info(csv);
        if (info.isDir()) {
            PrintError(QString("%1 is a folder").arg(csv));
            return ExitFailed;
        }
        if (SameFile(csv, path)) {
            PrintError(QString("%1 is the data file itself").arg(csv));
            return ExitFailed;
        }
        const QString refusal = CCsvOutputFile::refusal(csv);
        if (!refusal.isEmpty()) {
            PrintError(refusal);
            return ExitFailed;
        }
        if ((info.exists() || info.isSymLink()) && !force) {
            PrintError(QString("%1 exists; give --force to overwrite it").arg(csv));
            return ExitFailed;
        }
    }

    CSession session(path);
    int result = OpenData(session, false);
    if (result == ExitOk)
        result = Unlock(passwordStdin);
    if (result != ExitOk)
        return result;
    if (_AppCfg->locked && _AppCfg->hasPassword())
        PrintError(QString("no password given: protected texts are written as ******"));

    QFile out;
    QString error;
    const bool opened = toStdout ? out.open(stdout, QIODevice::WriteOnly) : CCsvOutputFile::open(out, csv, force, error);
    if (!opened) {
        PrintError(error.isEmpty() ? QString("cannot write %1").arg(csv) : error);
        return ExitFailed;
    }
    const int count = ExportCSV(out, session.categories(), session.records());
    const bool written = out.flush() && out.error() == QFileDevice::NoError;
    out.close();
    if (!written) {
        PrintError(QString("cannot write %1").arg(toStdout ? QString("standard output") : csv));
        return ExitFailed;
    }
    // The count must not mix with the records on standard output.
    Report(toStdout ? stderr : stdout, QString("%1 records exported").arg(count));
    return ExitOk;
}
