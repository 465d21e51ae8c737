#ifndef VAULTIX_TOOLS_TOOLCOMMANDS_H
#define VAULTIX_TOOLS_TOOLCOMMANDS_H

#include <QCoreApplication>
#include <QString>

#include <cstdio>

// Exit codes of vaultix-tool.
enum ToolExit {
    ExitOk = 0,
    ExitFailed = 1, // damaged file, file in use, wrong password, a change that did not reach the disk
    ExitUsage = 2,  // usage error, unknown name or key, unreadable file
};

class CVault;

// The tool's user texts, all in one translation context.
class Tool
{
    Q_DECLARE_TR_FUNCTIONS(Tool)
};

// Writes `text` and a line end to `stream`.
void PrintTo(FILE* stream, const QString& text);
// An error on standard error, after the program's name.
void PrintError(const QString& text);

// Opens the data file as the application does and reads it; `writes` also
// takes the file's lock, else the file is opened read-only. Returns an exit
// code, ExitOk when the vault is ready.
int OpenData(CVault& vault, bool writes);
// Unlocks the data when a password is set: from the first line of standard
// input with `passwordStdin`, else asked on a terminal (an empty answer
// leaves it locked). ExitFailed for a wrong password.
int Unlock(CVault& vault, bool passwordStdin);

// The application's own data file (creates its folder when missing).
QString DefaultDataFile();

// The commands; each prints its results and returns the program's exit
// code. A command that changes the file prints its success line only when
// the whole change is in the file.
int CheckFile(const QString& path);
int ListKeys(const QString& path);
// An empty (null) category lists every record; a non-empty `find` only
// those whose field 1, 2 or 3 contains it (CRecordFinder).
int ListRecords(const QString& path, const QString& category, bool passwordStdin, const QString& find = QString());
// `field` 1 to 6 prints that field alone, without its label; 0 the record.
int ShowRecord(const QString& path, const QString& keyText, bool passwordStdin, int field = 0);
int ListCategories(const QString& path);
int ChangePassword(const QString& path);
// Copies every record that reads back whole from a damaged file into a new
// file `out`; never writes to `path`.
int SalvageFile(const QString& path, const QString& out);
// Adds the records of a CSV file; refuses while a password is set and not
// given.
int ImportCSVFile(const QString& path, const QString& csv, bool passwordStdin);
// Writes every record as CSV to `csv` ("-": standard output); an existing
// file only with `force`.
int ExportCSVFile(const QString& path, const QString& csv, bool passwordStdin, bool force);
// Prints `count` passwords of `length` characters over `classes`
// (CPasswordGenerator::Class flags), one a line.
int GeneratePasswords(int length, int classes, int count);

#endif
