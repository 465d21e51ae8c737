#include "ui/csvcommands.h"

#include "csv/csvexport.h"
#include "csv/csvimport.h"
#include "csv/csvoutputfile.h"
#include "csv/csvreader.h"
#include "ui/dlgfileopen.h"
#include "platform/messagebox.h"
#include "ui/shell.h"
#include "vault/vault.h"

#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>

namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("CSV", text);
}

QString Caption(bool import)
{
    return import ? tr("Import") : tr("Export");
}

// Writing a CSV over the open data file would destroy it.
bool IsDataFile(const QString& name, const QString& dataFile)
{
    if (dataFile.isEmpty())
        return false;
    const QFileInfo a(name);
    const QFileInfo b(dataFile);
    return a.exists() && b.exists() && a.canonicalFilePath() == b.canonicalFilePath();
}

// The chosen name, or empty when the chooser was cancelled.
bool ChooseFile(QWidget* parent, bool import, QString& name)
{
    CDlgFileOpen dlg(parent, import);
    if (dlg.exec() != QDialog::Accepted)
        return false;
    name = dlg.GetFileName();
    return true;
}

} // namespace

bool CheckFileName(QString& name, bool import, QWidget* parent, const QString& dataFile)
{
    const QString caption = Caption(import);
    if (name.isEmpty()) {
        CMessageBox::warning(parent, caption, tr("You have not specified\na file."));
        return false;
    }
    const QFileInfo info(name);
    if (import) {
        if (!info.exists()) {
            CMessageBox::warning(parent, caption, tr("Can not find the file\nyou have specified."));
            return false;
        }
        QFile file(name);
        if (info.isDir() || !file.open(QIODevice::ReadOnly)) {
            CMessageBox::warning(parent, caption, tr("The file you have specified,\ncan not be opened for reading."));
            return false;
        }
        return true;
    }
    if (!info.exists() && !info.isSymLink())
        return true;
    if (IsDataFile(name, dataFile)) {
        CMessageBox::warning(parent, caption, tr("The file you have specified\nholds the Vaultix data."));
        return false;
    }
    // No question about overwriting what will be refused anyway.
    const QString refusal = CCsvOutputFile::refusal(name);
    if (!refusal.isEmpty()) {
        CMessageBox::warning(parent, caption, refusal);
        return false;
    }
    if (!CMessageBox::question(parent, caption,
                               tr("The file you have specified\nexists.\nWould you like to overwrite it ?"),
                               QMessageBox::Warning))
        return false;
    QFile file;
    QString error;
    if (!CCsvOutputFile::open(file, name, true, error)) {
        CMessageBox::warning(parent, caption, tr("The file you have specified,\ncan not be opened for writing."));
        return false;
    }
    return true;
}

void DisplayResults(bool import, int count, QWidget* parent)
{
    const QString text = import ? tr("%1 records imported\nsuccessfully.") : tr("%1 records exported\nsuccessfully.");
    CMessageBox::warning(parent, Caption(import), text.arg(count));
}

bool importFromCSV(CVault& vault, QWidget* parent)
{
    if (vault.protectedDataLocked()) {
        CMessageBox::information(parent, tr("Import"),
                                 tr("Unable to import while the data\nis locked.\nPlease unlock the data first."));
        return false;
    }
    QString name;
    if (!ChooseFile(parent, true, name) || !CheckFileName(name, true, parent))
        return false;
    int count = 0;
    QVector<CVault::ImportSkip> skipped;
    const CVaultResult result = DoTheImport(name, vault, &count, &skipped);
    if (!result.ok()) {
        CMessageBox::critical(parent, Shell::Title(), result.error());
        return false;
    }
    if (skipped.isEmpty()) {
        DisplayResults(true, count, parent);
    } else {
        // Nothing is left out without a word: the first skipped lines and why.
        CCsvImportReport report;
        report.setImported(count);
        for (const CVault::ImportSkip& skip : skipped)
            report.skip(skip.line, skip.reason);
        CMessageBox::warning(parent, Caption(true), report.text());
    }
    return count > 0;
}

void exportToCSV(const CVault& vault, QWidget* parent)
{
    if (vault.protectedDataLocked()
        && !CMessageBox::question(parent, tr("Export"),
                                  tr("The data is locked. Encrypted\nrecords will not be exported\ncorrectly.\n"
                                     "Do you still want to export?"),
                                  QMessageBox::Information))
        return;
    QString name;
    if (!ChooseFile(parent, false, name) || !CheckFileName(name, false, parent, vault.dataFile()))
        return;
    int count = 0;
    const CVaultResult result = DoTheExport(name, vault, &count);
    if (!result.ok()) {
        CMessageBox::critical(parent, Shell::Title(), result.error());
        return;
    }
    DisplayResults(false, count, parent);
}
