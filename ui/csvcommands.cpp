#include "ui/csvcommands.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "csv/csvexport.h"
#include "csv/csvimport.h"
#include "ui/dlgfileopen.h"
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
    if (!CMessageBox::question(parent, caption,
                               tr("The file you have specified\nexists.\nWould you like to overwrite it ?"),
                               QMessageBox::Warning))
        return false;
    QFile file(name);
    if (info.isDir() || !file.open(QIODevice::ReadWrite | QIODevice::Truncate)) {
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
    const int count = DoTheImport(name, categories, records);
    DisplayResults(true, count, parent);
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
    const int count = DoTheExport(name, categories, records);
    DisplayResults(false, count, parent);
}
