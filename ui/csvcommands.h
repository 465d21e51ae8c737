#ifndef VAULTIX_UI_CSVCOMMANDS_H
#define VAULTIX_UI_CSVCOMMANDS_H

#include <QString>

class CCategories;
class CRecords;
class QWidget;

// The Import command: asks for a file, reads it and reports the count. True
// when at least one record was added (the caller then refreshes the combo
// and the list).
bool importFromCSV(QWidget* parent, CCategories* categories, CRecords* records);
// The Export command: asks for a file and writes every record to it.
void exportToCSV(QWidget* parent, CCategories* categories, CRecords* records);

// The checks of a chosen name, with their messages; for the export this asks
// before an existing file is emptied. `parent` carries the boxes.
bool CheckFileName(QString& name, bool import, QWidget* parent = nullptr);
void DisplayResults(bool import, int count, QWidget* parent = nullptr);

#endif
