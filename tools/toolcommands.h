#ifndef VAULTIX_TOOLS_TOOLCOMMANDS_H
#define VAULTIX_TOOLS_TOOLCOMMANDS_H

#include <QString>

#include <cstdio>

// Exit codes of vaultix-tool.
enum ToolExit {
    ExitOk = 0,
    ExitFailed = 1, // damaged file, file in use, wrong password, passwords that differ
    ExitUsage = 2,  // usage error, unknown name or key, unreadable file
};

class CSession;

// Opens the data file as the application does and loads the collections;
// `writes` also takes the file's lock, else the file is opened read-only.
// Returns an exit code, ExitOk when the session is ready.
int OpenData(CSession& session, bool writes);
// Unlocks the data when a password is set: from the first line of standard
// input with `passwordStdin`, else asked on a terminal (an empty answer
// leaves it locked). ExitFailed for a wrong password.
int Unlock(bool passwordStdin);

// The command-line tool's commands; each prints its results and returns the
// program's exit code.
void PrintUsage(FILE* stream);
void PrintError(const QString& text);
// The application's own data file (creates its folder when missing).
QString DefaultDataFile();

int CheckFile(const QString& path);
int ListKeys(const QString& path);
// An empty (null) category lists every record.
int ListRecords(const QString& path, const QString& category, bool passwordStdin);
int ShowRecord(const QString& path, const QString& keyText, bool passwordStdin);
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

#endif
