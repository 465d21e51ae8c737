#ifndef VAULTIX_CSV_CSVEXPORT_H
#define VAULTIX_CSV_CSVEXPORT_H

#include <QByteArray>
#include <QString>

class CCategories;
class CRecord;
class CRecords;
class QIODevice;

// One record as a CSV line in Latin-1, LF-terminated: every value quoted,
// quotes doubled, line feeds in the record's texts turned into blanks, and
// "Category" in place of a category that no longer exists.
QByteArray ExportCSVLine(CCategories* categories, const CRecord* record);

// Writes every record to `out`; returns the number of records written.
// Write errors are not looked at.
int ExportCSV(QIODevice& out, CCategories* categories, CRecords* records);

// Empties (or creates) the file `name`, readable by its owner only, and
// writes every record to it; returns the number written, 0 when the file
// cannot be opened or is refused (a link, say), with `error` then saying why.
int DoTheExport(QString& name, CCategories* categories, CRecords* records, QString* error = nullptr);

#endif
