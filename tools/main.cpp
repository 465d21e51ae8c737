// vaultix-tool: checks, lists and maintains a Vaultix data file from the
// command line. Parses the arguments and hands over to toolcommands.cpp.

#include "crypto/coredumps.h"
#include "tools/toolcommands.h"

#include <QCoreApplication>
#include <QStringList>

namespace {

struct Arguments
{
    QString file;
    QString command;
    QStringList positional;
    QString category; // null unless --category was given
    bool passwordStdin = false;
    bool force = false;
};

// Asked-for help goes to standard output and is a success; a usage error
// goes to standard error.
int UsageError(const QString& text)
{
    if (text.isEmpty()) {
        PrintUsage(stdout);
        return ExitOk;
    }
    PrintError(text);
    PrintUsage(stderr);
    return ExitUsage;
}

// False when the arguments do not parse, with `error` saying why; "--help"
// gives false and no error, so only the usage is shown.
bool Parse(const QStringList& args, Arguments& out, QString& error)
{
    bool optionsEnd = false;
    for (int i = 1; i < args.size(); ++i) {
        const QString& a = args[i];
        if (!optionsEnd && a.startsWith(u'-') && a.size() > 1) {
            auto value = [&](const QString& name, QString& target) {
                if (a.startsWith(name + u'=')) {
                    target = a.mid(name.size() + 1);
                } else if (i + 1 < args.size()) {
                    target = args[++i];
                } else {
                    error = QString("%1 needs a value").arg(name);
                    return false;
                }
                if (target.isEmpty()) {
                    error = QString("%1 needs a value").arg(name);
                    return false;
                }
                return true;
            };
            if (a == "--")
                optionsEnd = true;
            else if (a == "--help" || a == "-h")
                return false;
            else if (a == "--file" || a.startsWith("--file=")) {
                if (!value("--file", out.file))
                    return false;
            } else if (a == "--category" || a.startsWith("--category=")) {
                if (!value("--category", out.category))
                    return false;
            } else if (a == "--password-stdin")
                out.passwordStdin = true;
            else if (a == "--force")
                out.force = true;
            else {
                error = QString("unknown option %1").arg(a);
                return false;
            }
        } else if (out.command.isEmpty()) {
            out.command = a;
        } else {
            out.positional << a;
        }
    }
    if (out.command.isEmpty()) {
        error = QString("no command given");
        return false;
    }
    const bool takesCategory = out.command == "list";
    const bool takesPassword = out.command == "list" || out.command == "show" || out.command == "import"
                               || out.command == "export";
    const QStringList oneArgument = {"show", "salvage", "import", "export"};
    const int positional = oneArgument.contains(out.command) ? 1 : 0;
    const QStringList known = {"check", "keys", "list", "show", "categories", "passwd", "salvage", "import", "export"};
    if (!known.contains(out.command))
        error = QString("unknown command %1").arg(out.command);
    else if (!out.category.isNull() && !takesCategory)
        error = QString("%1 does not take --category").arg(out.command);
    else if (out.passwordStdin && !takesPassword)
        error = QString("%1 does not take --password-stdin").arg(out.command);
    else if (out.force && out.command != "export")
        error = QString("%1 does not take --force").arg(out.command);
    else if (out.positional.size() != positional)
        error = positional ? QString("%1 needs one argument").arg(out.command)
                           : QString("%1 takes no arguments").arg(out.command);
    return error.isEmpty();
}

} // namespace

int main(int argc, char* argv[])
{
    // Before anything is deciphered: a crash must not write it to disk.
    DisableCoreDumps();
    QCoreApplication app(argc, argv);
    Arguments args;
    QString error;
    if (!Parse(QCoreApplication::arguments(), args, error))
        return UsageError(error);

    const QString path = args.file.isEmpty() ? DefaultDataFile() : args.file;
    if (args.command == "check")
        return CheckFile(path);
    if (args.command == "keys")
        return ListKeys(path);
    if (args.command == "list")
        return ListRecords(path, args.category, args.passwordStdin);
    if (args.command == "show")
        return ShowRecord(path, args.positional.first(), args.passwordStdin);
    if (args.command == "categories")
        return ListCategories(path);
    if (args.command == "salvage")
        return SalvageFile(path, args.positional.first());
    if (args.command == "import")
        return ImportCSVFile(path, args.positional.first(), args.passwordStdin);
    if (args.command == "export")
        return ExportCSVFile(path, args.positional.first(), args.passwordStdin, args.force);
    return ChangePassword(path);
}
