#include "csv/csvcommands.h"

#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "csv/csvexport.h"
#include "csv/csvimport.h"
#include "csv/csvoutputfile.h"
#include "csv/csvreader.h"
#include "csv/dlgfileopen.h"
#include "platform/messagebox.h"

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

bool Locked()
{
    return _AppCfg && _AppCfg->locked && _AppCfg->hasPassword();
}

// Writing a CSV over the open data file would destroy it.
bool IsDataFile(const QString& name)
{
    if (!_AppCfg || _AppCfg->dataFile.isEmpty())
        return false;
    const QFileInfo a(name);
    const QFileInfo b(_AppCfg->dataFile);
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

bool CheckFileName(QString& name, bool import, QWidget* parent)
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
    if (IsDataFile(name)) {
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

bool importFromCSV(QWidget* parent, CCategories* categories, CRecords* records)
{
    if (Locked()) {
        CMessageBox::information(parent, tr("Import"),
                                 tr("Unable to import while the data\nis locked.\nPlease unlock the data first."));
        return false;
    }
    QString name;
    if (!ChooseFile(parent, true, name) || !CheckFileName(name, true, parent))
        return false;
    CCsvImportReport report;
    const int count = DoTheImport(name, categories, records, &report);
    DisplayResults(true, count, parent);
    // Nothing is left out without a word.
    if (report.skipped() > 0)
        CMessageBox::warning(parent, tr("Import"), report.text());
    return count > 0;
}

void exportToCSV(QWidget* parent, CCategories* categories, CRecords* records)
{
    if (Locked()
        && !CMessageBox::question(parent, tr("Export"),
                                  tr("The data is locked. Encrypted\nrecords will not be exported\ncorrectly.\n"
                                     "Do you still want to export?"),
                                  QMessageBox::Information))
        return;
    QString name;
    if (!ChooseFile(parent, false, name) || !CheckFileName(name, false, parent))
        return;
    QString error;
    const int count = DoTheExport(name, categories, records, &error);
    if (!error.isEmpty())
        CMessageBox::warning(parent, tr("Export"), error);
    else
        DisplayResults(false, count, parent);
}
