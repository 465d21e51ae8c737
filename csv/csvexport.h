#ifndef VAULTIX_CSV_CSVEXPORT_H
#define VAULTIX_CSV_CSVEXPORT_H

#include <QByteArray>
#include <QString>

#include "vault/vault.h"

class QIODevice;

// One record as a CSV line in Latin-1, LF-terminated: every value quoted,
// quotes doubled, line feeds in the record's texts turned into blanks, and
// "Category" in place of a category that no longer exists.
QByteArray ExportCSVLine(const CVault& vault, const CRecord* record);

// Writes every record to `out`; the number written, or -1 when a write failed.
int ExportCSV(QIODevice& out, const CVault& vault);

// Empties (or creates) the file `name` and writes every record to it;
// `count` gets the number written.
CVaultResult DoTheExport(const QString& name, const CVault& vault, int* count);

#endif
