#ifndef VAULTIX_CSV_CSVIMPORT_H
#define VAULTIX_CSV_CSVIMPORT_H

#include <QByteArray>
#include <QString>

#include <cstdint>

class CCategories;
class CCsvImportReport;
class CRecords;

// Limits of the imported values, in characters.
namespace CsvLimits {
constexpr int Category = 31;
constexpr int Field = 64;
constexpr int Note = 256;
} // namespace CsvLimits

// Reads the CSV file `name` and adds one record per non-empty line, with its
// category found by name (ignoring case) or created. Returns the number of
// records added; 0 when the file cannot be opened or the change not written.
// A line that cannot be imported is passed to `report` (when given) with the
// reason, and the count set there once the change is written.
int DoTheImport(QString& name, CCategories* categories, CRecords* records, CCsvImportReport* report = nullptr);

// The same on bytes already read. All the lines are one change on disk;
// when it cannot be written, the collections are put back as they were, 0
// is returned and `written` (when given) is set false.
int ImportCSVBytes(const QByteArray& bytes, CCategories* categories, CRecords* records, bool* written = nullptr,
                   CCsvImportReport* report = nullptr);

// Clears bytes read from or written to a CSV file before they are dropped.
void WipeCSVText(QByteArray& bytes);
void WipeCSVText(QString& text);

// Adds one record to the file and the collection, creating its category
// when no category of that name (ignoring case) exists. False when the
// category or the record could not be stored (nothing is then added).
// A run of adds passes `nextKey` (first the record marker's key): the record
// gets the same key as CRecord::WriteRecord would give it, found without
// walking every key from the start again.
bool addNewImportedRecord(CCategories* categories, CRecords* records, QString& category, QString& field1,
                          QString& field2, QString& field3, QString& field4, QString& field5,
                          QString& field6, QString& note, int32_t* nextKey = nullptr);

#endif
