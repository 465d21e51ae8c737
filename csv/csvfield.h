#ifndef VAULTIX_CSV_CSVFIELD_H
#define VAULTIX_CSV_CSVFIELD_H

#include <QString>

// Reads one comma-separated value of `line` starting at `pos` into `value`
// and returns where the next value starts. Leading blanks (spaces, tabs) are
// dropped, trailing ones of an unquoted value kept; inside quotes a doubled
// quote is one quote and commas are ordinary; text after a closing quote
// starts the next value; an unclosed quote runs to the end of the line. At or
// past the end of the line the value is empty and `pos` comes back unchanged.
int GetNextCSVfield(const QString& line, int pos, QString& value);

#endif
