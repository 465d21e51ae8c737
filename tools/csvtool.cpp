// vaultix-tool import / export: the menu's CSV commands without a screen.

#include "tools/toolcommands.h"

#include "csv/csvexport.h"
#include "csv/csvimport.h"
#include "csv/csvoutputfile.h"
#include "csv/csvreader.h"
#include "vault/vault.h"

#include <QFile>
#include <QFileInfo>

namespace {

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
        PrintError(Tool::tr("%1 does not exist.").arg(csv));
        return ExitFailed;
    }
    QFile file(csv);
    QByteArray bytes;
    if (!info.isDir() && file.open(QIODevice::ReadOnly))
        bytes = file.readAll();
    if (!file.isOpen() || file.error() != QFileDevice::NoError) {
        WipeCSVText(bytes);
        PrintError(Tool::tr("%1 cannot be read.").arg(csv));
        return ExitFailed;
    }
    file.close();

    CVault vault(path);
    int result = OpenData(vault, true);
    if (result == ExitOk)
        result = Unlock(vault, passwordStdin);
    if (result == ExitOk && vault.protectedDataLocked()) {
        PrintError(Tool::tr("The data is locked; give the master password (--password-stdin, or on a terminal)."));
        result = ExitFailed;
    }
    if (result != ExitOk) {
        WipeCSVText(bytes);
        return result;
    }
    int added = 0;
    QVector<CVault::ImportSkip> skipped;
    const CVaultResult done = ImportCSVBytes(bytes, vault, &added, &skipped);
    WipeCSVText(bytes);
    if (!done.ok()) {
        PrintError(done.error());
        return ExitFailed;
    }
    // Every line is accounted for: those left out, and why, on standard
    // error, and a failure exit so that a script notices.
    PrintTo(stdout, Tool::tr("%1 records imported").arg(added));
    if (!skipped.isEmpty()) {
        CCsvImportReport report;
        report.setImported(added);
        for (const CVault::ImportSkip& skip : skipped)
            report.skip(skip.line, skip.reason);
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
            PrintError(Tool::tr("%1 is a folder.").arg(csv));
            return ExitFailed;
        }
        if (SameFile(csv, path)) {
            PrintError(Tool::tr("%1 is the data file itself.").arg(csv));
            return ExitFailed;
        }
        const QString refusal = CCsvOutputFile::refusal(csv);
        if (!refusal.isEmpty()) {
            PrintError(refusal);
            return ExitFailed;
        }
        if ((info.exists() || info.isSymLink()) && !force) {
            PrintError(Tool::tr("%1 exists; give --force to overwrite it.").arg(csv));
            return ExitFailed;
        }
    }

    CVault vault(path);
    int result = OpenData(vault, false);
    if (result == ExitOk)
        result = Unlock(vault, passwordStdin);
    if (result != ExitOk)
        return result;
    if (vault.protectedDataLocked())
        PrintError(Tool::tr("No password was given: protected texts are written as ******."));

    int count = 0;
    QFile out;
    QString error;
    const bool opened = toStdout ? out.open(stdout, QIODevice::WriteOnly) : CCsvOutputFile::open(out, csv, force, error);
    if (!opened) {
        PrintError(error.isEmpty() ? Tool::tr("%1 cannot be written.").arg(csv) : error);
        return ExitFailed;
    }
    count = ExportCSV(out, vault);
    if (count < 0 || !out.flush()) {
        PrintError(toStdout ? Tool::tr("The records could not be written to standard output.")
                            : Tool::tr("%1 could not be written whole.").arg(csv));
        return ExitFailed;
    }
    // The count must not mix with the records on standard output.
    PrintTo(toStdout ? stderr : stdout, Tool::tr("%1 records exported").arg(count));
    return ExitOk;
}
