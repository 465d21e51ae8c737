#ifndef VAULTIX_CSV_CSVIMPORT_H
#define VAULTIX_CSV_CSVIMPORT_H

#include <QByteArray>
#include <QString>
#include <QVector>

#include "vault/vault.h"

#include <cstdint>


// Limits of the imported values, in characters.
namespace CsvLimits {
constexpr int Category = 31;
constexpr int Field = 64;
constexpr int Note = 256;
} // namespace CsvLimits

// Reads the CSV file `name` and adds one record per non-empty line, with its
// category found by name (ignoring case) or created; all lines are one
// change. `added` gets the number of records added, `skipped` every line
// that could not be, with the reason, in line order: nothing is dropped
// silently.
CVaultResult DoTheImport(const QString& name, CVault& vault, int* added,
                         QVector<CVault::ImportSkip>* skipped = nullptr);

// The same on bytes already read.
CVaultResult ImportCSVBytes(const QByteArray& bytes, CVault& vault, int* added,
                            QVector<CVault::ImportSkip>* skipped = nullptr);

// Clears bytes read from or written to a CSV file before they are dropped.
void WipeCSVText(QByteArray& bytes);
void WipeCSVText(QString& text);

#endif
