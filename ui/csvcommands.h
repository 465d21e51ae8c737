#ifndef VAULTIX_UI_CSVCOMMANDS_H
#define VAULTIX_UI_CSVCOMMANDS_H

#include <QString>

class CVault;
class QWidget;

// The Import command: asks for a file, reads it and reports the count. True
// when at least one record was added.
bool importFromCSV(CVault& vault, QWidget* parent);
// The Export command: asks for a file and writes every record to it.
void exportToCSV(const CVault& vault, QWidget* parent);

// The checks of a chosen name, with their messages; for the export this asks
// before an existing file is emptied. `parent` carries the boxes;
// `dataFile` is the open data file, never to be written over.
bool CheckFileName(QString& name, bool import, QWidget* parent = nullptr, const QString& dataFile = QString());
void DisplayResults(bool import, int count, QWidget* parent = nullptr);

#endif
