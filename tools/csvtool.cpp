// vaultix-tool import / export: the menu's CSV commands without a screen.

#include "tools/toolcommands.h"

#include "csv/csvexport.h"
#include "csv/csvimport.h"
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
    for (const CVault::ImportSkip& skip : skipped)
        PrintError(Tool::tr("Line %1 was not imported: %2.").arg(skip.line).arg(skip.reason));
    PrintTo(stdout, Tool::tr("%1 records imported").arg(added));
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
    if (toStdout) {
        QFile out;
        count = out.open(stdout, QIODevice::WriteOnly) ? ExportCSV(out, vault) : -1;
        if (count < 0 || !out.flush()) {
            PrintError(Tool::tr("The records could not be written to standard output."));
            return ExitFailed;
        }
    } else {
        const CVaultResult done = DoTheExport(csv, vault, &count);
        if (!done.ok()) {
            PrintError(done.error());
            return ExitFailed;
        }
    }
    // The count must not mix with the records on standard output.
    PrintTo(toStdout ? stderr : stdout, Tool::tr("%1 records exported").arg(count));
    return ExitOk;
}
