#ifndef VAULTIX_UI_DLGFILEOPEN_H
#define VAULTIX_UI_DLGFILEOPEN_H

#include "ui/qpedialog.h"

#include <QDir>
#include <QString>

class QLabel;
class QLineEdit;
class QListWidget;
class QListWidgetItem;

// Picks the file to import from (import mode: tap a file) or names the file
// to export to (export mode: type a name), one directory at a time.
class CDlgFileOpen : public CQPEDialog
{
    Q_OBJECT

public:
    CDlgFileOpen(QWidget* parent, bool import);
    ~CDlgFileOpen() override;

    // The directory shown + "/" + the name, or empty when there is no name.
    QString GetFileName();
    void FillFileList();
    // Shows `path`, with middle components left out when it is too wide.
    void SetDirLabel(QString path);

    QDir currentDir() const { return m_dir; }

public slots:
    void listClicked(QListWidgetItem* item);

private:
    QString FullPath(const QString& name) const;

    QDir m_dir;
    QListWidget* m_list;
    QListWidgetItem* m_lastItem = nullptr;
    QLabel* m_dirLabel;
    QLabel* m_fileLabel = nullptr;
    QLineEdit* m_fileEdit = nullptr;
    bool m_import;
    QString m_result;
};

#endif
