// vaultix-tool: checks, lists and maintains a Vaultix data file from the
// command line. Finds the command, parses its arguments with the command's
// own parser and hands over to toolcommands.cpp.

#include "crypto/coredumps.h"
#include "crypto/passwordgenerator.h"
#include "tools/toolcommands.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QStringList>

namespace {

enum Option {
    NoOption = 0,
    Category = 1,
    PasswordStdin = 2,
    Force = 4,
    Field = 8,
    Length = 16,
    NoSymbols = 32,
    NoDigits = 64,
    NoUpper = 128,
    NoLower = 256,
    Count = 512,
};

struct OptionDef
{
    Option option;
    const char* name;
    const char* valueName; // null for a switch
    const char* help;
};

const OptionDef Options[] = {
    {Category, "category", "NAME",
     QT_TRANSLATE_NOOP("Tool", "Only the records of the category NAME (letter case does not matter).")},
    {PasswordStdin, "password-stdin", nullptr,
     QT_TRANSLATE_NOOP("Tool", "Reads the master password from the first line of standard input.")},
    {Force, "force", nullptr, QT_TRANSLATE_NOOP("Tool", "Overwrites FILE.csv when it exists.")},
    {Field, "field", "N",
     QT_TRANSLATE_NOOP("Tool", "Prints field N (1 to 6) alone, without its label, for a pipe into another "
                               "program.")},
    {Length, "length", "N", QT_TRANSLATE_NOOP("Tool", "Each password is N characters long (8 to 64, default 20).")},
    {NoSymbols, "no-symbols", nullptr, QT_TRANSLATE_NOOP("Tool", "No punctuation characters.")},
    {NoDigits, "no-digits", nullptr, QT_TRANSLATE_NOOP("Tool", "No digits.")},
    {NoUpper, "no-upper", nullptr, QT_TRANSLATE_NOOP("Tool", "No capital letters.")},
    {NoLower, "no-lower", nullptr, QT_TRANSLATE_NOOP("Tool", "No small letters.")},
    {Count, "count", "K", QT_TRANSLATE_NOOP("Tool", "Prints K passwords (1 to 1000, default 1).")},
};

enum CommandId { Check, Keys, List, Find, Show, Categories, Passwd, Salvage, Import, Export, Generate };

struct Command
{
    CommandId id;
    const char* name;
    const char* argument; // the one positional argument, null for none
    int options;          // Option flags
    const char* summary;  // a line of the overview
    const char* help;     // what `help COMMAND` adds
};

const Command Commands[] = {
    {Check, "check", nullptr, NoOption, QT_TRANSLATE_NOOP("Tool", "Checks the file's structure; only reads."),
     QT_TRANSLATE_NOOP("Tool", "Checks the structure of the data file and names each problem; only reads, so it "
                               "works on a file you may only read. Exit status 0: the file is sound; 1: it is "
                               "damaged; 2: it cannot be read.")},
    {Keys, "keys", nullptr, NoOption, QT_TRANSLATE_NOOP("Tool", "One line per record: KEY LENGTH; only reads."),
     QT_TRANSLATE_NOOP("Tool", "Lists every record of the file in key order, one line each: its key and its "
                               "length in bytes. Only reads.")},
    {List, "list", nullptr, Category | PasswordStdin,
     QT_TRANSLATE_NOOP("Tool", "One line per record: key, category and fields 1 to 3."),
     QT_TRANSLATE_NOOP("Tool", "Lists the records, one line each: the key, the category and fields 1 to 3, "
                               "separated by tabs. Protected texts show as ****** unless the data is unlocked; "
                               "on a terminal the master password is asked for.")},
    {Find, "find", "TEXT", Category | PasswordStdin,
     QT_TRANSLATE_NOOP("Tool", "The records whose field 1, 2 or 3 contains TEXT, as list shows them."),
     QT_TRANSLATE_NOOP("Tool", "Lists the records whose field 1, 2 or 3 contains TEXT, ignoring letter case and "
                               "accents, one line each as list does. Protected fields are searched only when the "
                               "data is unlocked; on a terminal the master password is asked for.")},
    {Show, "show", "KEY", PasswordStdin | Field,
     QT_TRANSLATE_NOOP("Tool", "The fields and the note of the record with that key."),
     QT_TRANSLATE_NOOP("Tool", "Shows the category, the labelled fields and the note of the record with the key "
                               "KEY, or with --field N only that field's text. Protected texts show as ****** "
                               "unless the data is unlocked (on a terminal the master password is asked for); "
                               "a protected field asked for with --field is refused instead, exit status 1.")},
    {Categories, "categories", nullptr, NoOption,
     QT_TRANSLATE_NOOP("Tool", "One line per category: id, name, protected or plain, icon."),
     QT_TRANSLATE_NOOP("Tool", "Lists the categories in name order, one line each: the id, the name, "
                               "\"protected\" or \"plain\", and the icon, separated by tabs.")},
    {Passwd, "passwd", nullptr, NoOption,
     QT_TRANSLATE_NOOP("Tool", "Sets, changes or removes the master password."),
     QT_TRANSLATE_NOOP("Tool", "Sets, changes or removes the master password. Reads the old password, the new "
                               "one and its confirmation as three lines of standard input (an empty line for "
                               "none), or asks for them on a terminal. A password may hold only characters of "
                               "the Latin-1 set, at most 32 of them. Says what was done only once the change is "
                               "in the file; when it cannot be written, the file stays as it was and the tool "
                               "says why and exits with 1.")},
    {Salvage, "salvage", "OUT", NoOption,
     QT_TRANSLATE_NOOP("Tool", "Copies what a damaged file still holds into a new file OUT."),
     QT_TRANSLATE_NOOP("Tool", "Copies every record of a damaged file that still reads back whole into the new "
                               "file OUT and lists what it left behind; never writes to the damaged file. Exit "
                               "status 0: everything was recovered; 1: something was or may have been left "
                               "behind; 2: the file cannot be read, or OUT exists.")},
    {Import, "import", "FILE.csv", PasswordStdin,
     QT_TRANSLATE_NOOP("Tool", "Adds one record per line of a CSV file."),
     QT_TRANSLATE_NOOP("Tool", "Adds one record per line of the CSV file FILE.csv (category, fields 1 to 6, "
                               "note), creating missing categories; all lines are one change. While a master "
                               "password is set it needs the password. Prints \"N records imported\" only once "
                               "the records are in the file; when they cannot be written, the file stays as it "
                               "was and the tool says why and exits with 1.")},
    {Export, "export", "FILE.csv", PasswordStdin | Force,
     QT_TRANSLATE_NOOP("Tool", "Writes every record as one line of a CSV file."),
     QT_TRANSLATE_NOOP("Tool", "Writes every record as one CSV line to FILE.csv (\"-\": standard output) and "
                               "prints \"N records exported\" (on standard error when the records go to "
                               "standard output). An existing file is overwritten only with --force. Without "
                               "the password protected texts are written as ******.")},
    {Generate, "generate", nullptr, Length | NoSymbols | NoDigits | NoUpper | NoLower | Count,
     QT_TRANSLATE_NOOP("Tool", "Prints random passwords, one a line; does not use the file."),
     QT_TRANSLATE_NOOP("Tool", "Prints K random passwords, one a line, drawn from the operating system's random "
                               "source: small and capital letters, digits and punctuation, at least one of each "
                               "class kept, ASCII only. The data file is not read.")},
};

constexpr int Width = 79;
// More is a file's worth, not a pipe's.
constexpr int MaxPasswordCount = 1000;
constexpr int Indent = 22;

QString OptionName(Option option)
{
    for (const OptionDef& def : Options) {
        if (def.option == option)
            return QLatin1String(def.name);
    }
    return QString();
}

const Command* FindCommand(const QString& name)
{
    for (const Command& command : Commands) {
        if (name == QLatin1String(command.name))
            return &command;
    }
    return nullptr;
}

// `text` broken into lines of at most Width columns; lines after the first
// start at `indent`, and the first is taken to start there too.
QString Wrapped(const QString& text, int indent)
{
    QString out;
    int column = indent;
    for (const QString& word : text.split(u' ', Qt::SkipEmptyParts)) {
        if (column > indent && column + 1 + word.size() > Width) {
            out += u'\n' + QString(indent, u' ');
            column = indent;
        } else if (column > indent) {
            out += u' ';
            ++column;
        }
        out += word;
        column += int(word.size());
    }
    return out;
}

// One row of a two-column table: the label, then its text from `indent` on.
QString Row(const QString& label, const QString& text, int indent = Indent)
{
    const QString start = QStringLiteral("  ") + label;
    const QString lead = start.size() < indent ? start.leftJustified(indent) : start + u'\n' + QString(indent, u' ');
    return lead + Wrapped(text, indent) + u'\n';
}

QString Synopsis(const Command& command)
{
    QString line = QStringLiteral("vaultix-tool [--file PATH] ") + QLatin1String(command.name);
    if (command.argument)
        line += u' ' + QLatin1String(command.argument);
    for (const OptionDef& def : Options) {
        if (!(command.options & def.option))
            continue;
        line += QStringLiteral(" [--") + QLatin1String(def.name);
        if (def.valueName)
            line += u' ' + QLatin1String(def.valueName);
        line += u']';
    }
    return line;
}

QString OptionRows(int options)
{
    QString rows;
    for (const OptionDef& def : Options) {
        if (!(options & def.option))
            continue;
        QString label = QStringLiteral("--") + QLatin1String(def.name);
        if (def.valueName)
            label += u' ' + QLatin1String(def.valueName);
        rows += Row(label, Tool::tr(def.help));
    }
    rows += Row(QStringLiteral("--file PATH"),
                Tool::tr("The data file to work on, before or after the command; by default "
                         "$XDG_DATA_HOME/Vaultix/Vaultix.Dat (~/.local/share/Vaultix/Vaultix.Dat)."));
    rows += Row(QStringLiteral("-h, --help"), Tool::tr("Shows this help."));
    return rows;
}

// The overview without a command, else the command's own usage.
QString Usage(const Command* command)
{
    if (command) {
        return Tool::tr("Usage: %1").arg(Synopsis(*command)) + QStringLiteral("\n\n")
               + Wrapped(Tool::tr(command->help), 0) + QStringLiteral("\n\n") + Tool::tr("Options:")
               + u'\n' + OptionRows(command->options);
    }
    QString commands;
    for (const Command& c : Commands) {
        QString label = QLatin1String(c.name);
        if (c.argument)
            label += u' ' + QLatin1String(c.argument);
        commands += Row(label, Tool::tr(c.summary));
    }
    commands += Row(QStringLiteral("help COMMAND"), Tool::tr("Shows the usage of one command, as COMMAND --help does."));
    const QString exits[][2] = {
        {QStringLiteral("0"), Tool::tr("Success, and help that was asked for.")},
        {QStringLiteral("1"),
         Tool::tr("A damaged file; the file in use by a running Vaultix; a wrong password; new passwords that "
                  "differ or hold characters outside Latin-1; a change that could not be written (the file is "
                  "then as it was); records that salvage left (or may have left) behind; a CSV file that is "
                  "missing or unreadable; an import without the password; an existing export file without "
                  "--force; a protected field asked for with show --field without the password.")},
        {QStringLiteral("2"),
         Tool::tr("A usage error; an unknown category or key; a file that cannot be read or opened; an "
                  "existing OUT; a new password longer than 32 characters.")},
    };
    QString exitRows;
    for (const auto& exit : exits)
        exitRows += Row(exit[0], exit[1], 5);
    return Tool::tr("Usage: %1").arg(QStringLiteral("vaultix-tool [--file PATH] COMMAND [ARGUMENTS]"))
           + QStringLiteral("\n\n")
           + Wrapped(Tool::tr("Reads and maintains a Vaultix data file. list, find, show, categories, passwd, "
                              "import and export create the file with the default categories when it does not "
                              "exist (its folder must exist)."), 0)
           + QStringLiteral("\n\n") + Tool::tr("Commands:") + u'\n' + commands + u'\n' + Tool::tr("Options:")
           + u'\n' + OptionRows(NoOption) + u'\n'
           + Wrapped(Tool::tr("Passwords are never taken from the command line. --password-stdin reads the "
                              "master password from the first line of standard input; without it protected "
                              "texts show as ******, unless standard input is a terminal, where the password "
                              "is asked for."), 0)
           + QStringLiteral("\n\n") + Tool::tr("Exit status:") + u'\n' + exitRows;
}

// Asked-for help goes to standard output and is a success.
int Help(const Command* command)
{
    std::fputs(Usage(command).toLocal8Bit().constData(), stdout);
    return ExitOk;
}

// What is wrong comes first, then the usage, on standard error.
int UsageError(const QString& text, const Command* command)
{
    PrintError(text);
    std::fputc('\n', stderr);
    std::fputs(Usage(command).toLocal8Bit().constData(), stderr);
    return ExitUsage;
}

} // namespace

int main(int argc, char* argv[])
{
    // Before anything is deciphered: a crash must not write it to disk.
    DisableCoreDumps();
    QCoreApplication app(argc, argv);
    const QCommandLineOption fileOption(QStringLiteral("file"), QString(), QStringLiteral("PATH"));
    const QCommandLineOption helpOption(QStringList{QStringLiteral("h"), QStringLiteral("help")});

    // Before the command only the options every command takes; everything
    // after it is the command's.
    QCommandLineParser global;
    global.addOption(fileOption);
    global.addOption(helpOption);
    global.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    if (!global.parse(QCoreApplication::arguments()))
        return UsageError(global.errorText(), nullptr);
    QStringList rest = global.positionalArguments();
    if (rest.isEmpty())
        return global.isSet(helpOption) ? Help(nullptr) : UsageError(Tool::tr("No command was given."), nullptr);
    const QString name = rest.takeFirst();
    if (name == QLatin1String("help")) {
        if (rest.size() > 1)
            return UsageError(Tool::tr("help takes one command at most."), nullptr);
        const Command* command = rest.isEmpty() ? nullptr : FindCommand(rest.first());
        if (!rest.isEmpty() && !command)
            return UsageError(Tool::tr("There is no command \"%1\".").arg(rest.first()), nullptr);
        return Help(command);
    }
    const Command* command = FindCommand(name);
    if (!command)
        return UsageError(Tool::tr("There is no command \"%1\".").arg(name), nullptr);
    if (global.isSet(helpOption))
        return Help(command);

    QCommandLineParser parser;
    parser.addOption(fileOption);
    parser.addOption(helpOption);
    for (const OptionDef& def : Options) {
        if (command->options & def.option)
            parser.addOption(QCommandLineOption(QLatin1String(def.name), QString(), QLatin1String(def.valueName)));
    }
    if (!parser.parse(QStringList{name} + rest))
        return UsageError(parser.errorText(), command);
    if (parser.isSet(helpOption))
        return Help(command);
    auto given = [&](Option option) { return (command->options & option) && parser.isSet(OptionName(option)); };

    const QStringList files = global.values(fileOption) + parser.values(fileOption);
    const QStringList arguments = parser.positionalArguments();
    const int wanted = command->argument ? 1 : 0;
    if (files.size() > 1)
        return UsageError(Tool::tr("--file was given more than once."), command);
    if (files.size() == 1 && files.first().isEmpty())
        return UsageError(Tool::tr("--file needs a path."), command);
    if (arguments.size() != wanted) {
        return UsageError(wanted ? Tool::tr("%1 needs one argument, %2.").arg(name, QLatin1String(command->argument))
                                 : Tool::tr("%1 takes no arguments.").arg(name),
                          command);
    }
    const QString category = given(Category) ? parser.value(OptionName(Category)) : QString();
    if (given(Category) && category.isEmpty())
        return UsageError(Tool::tr("--category needs a name."), command);

    // A whole number from `low` to `high`, or `fallback` when not given.
    auto number = [&](Option option, int low, int high, int fallback, int* value) {
        *value = fallback;
        if (!given(option))
            return true;
        bool ok = false;
        *value = parser.value(OptionName(option)).toInt(&ok);
        return ok && *value >= low && *value <= high;
    };
    int field = 0;
    if (!number(Field, 1, 6, 0, &field))
        return UsageError(Tool::tr("--field needs a number from %1 to %2.").arg(1).arg(6), command);

    int length = 0;
    if (!number(Length, CPasswordGenerator::MinLength, CPasswordGenerator::MaxLength,
                CPasswordGenerator::DefaultLength, &length))
        return UsageError(Tool::tr("--length needs a number from %1 to %2.")
                              .arg(CPasswordGenerator::MinLength)
                              .arg(CPasswordGenerator::MaxLength),
                          command);
    int count = 0;
    if (!number(Count, 1, MaxPasswordCount, 1, &count))
        return UsageError(Tool::tr("--count needs a number from %1 to %2.").arg(1).arg(MaxPasswordCount), command);
    int classes = CPasswordGenerator::AllClasses;
    const std::pair<Option, CPasswordGenerator::Class> left[] = {
        {NoSymbols, CPasswordGenerator::Symbols},
        {NoDigits, CPasswordGenerator::Digits},
        {NoUpper, CPasswordGenerator::Upper},
        {NoLower, CPasswordGenerator::Lower},
    };
    for (const auto& [option, cls] : left) {
        if (given(option))
            classes &= ~cls;
    }
    if (classes == 0)
        return UsageError(Tool::tr("At least one class of characters must be left."), command);

    const QString path = files.isEmpty() ? DefaultDataFile() : files.first();
    const QString argument = arguments.value(0);
    switch (command->id) {
    case Check:
        return CheckFile(path);
    case Keys:
        return ListKeys(path);
    case List:
        return ListRecords(path, category, given(PasswordStdin));
    case Find:
        return ListRecords(path, category, given(PasswordStdin), argument);
    case Show:
        return ShowRecord(path, argument, given(PasswordStdin), field);
    case Categories:
        return ListCategories(path);
    case Passwd:
        return ChangePassword(path);
    case Salvage:
        return SalvageFile(path, argument);
    case Import:
        return ImportCSVFile(path, argument, given(PasswordStdin));
    case Export:
        return ExportCSVFile(path, argument, given(PasswordStdin), given(Force));
    case Generate:
        return GeneratePasswords(length, classes, count);
    }
    return ExitUsage;
}
