#ifndef VAULTIX_TOOLS_DEMODATA_H
#define VAULTIX_TOOLS_DEMODATA_H

#include <QString>

// Fills a new data file with `count` made-up records spread over the
// default categories, every second one in a protected category, and sets
// the master password when one is given (enciphering the protected ones).
// For the screenshots, the benchmarks and the tests; false when the file
// exists already or cannot be made.
bool WriteDemoData(const QString& path, int count, const QString& password);

#endif
