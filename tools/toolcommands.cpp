#include "tools/toolcommands.h"

#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/categories.h"
#include "model/records.h"
#include "model/session.h"
#include "platform/global.h"
#include "security/password.h"
#include "security/passwordchange.h"
#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"
#include "tools/terminal.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

const char* const CorruptRecord = "-- CORRUPT RECORD --";
const char* const Program = "vaultix-tool: ";
// The password dialog's fields take no more; a longer password could not be
// typed there to change or remove it.
constexpr int MaxPasswordLength = 32;

void PrintTo(FILE* stream, const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fputc('\n', stream);
}

void PrintLine(const QString& text)
{
    PrintTo(stdout, text);
}

QByteArray Encoded(const QString& path)
{
    return QFile::encodeName(path);
}

// Keeps each record on its own line of the tab-separated listing.
QString OneLine(QString text)
{
    for (QChar& c : text) {
        if (c == u'\t' || c == u'\n' || c == u'\r')
            c = u' ';
    }
    return text;
}

QString OpenError(int code, const QString& path)
{
    switch (code) {
    case -1:
        return QString("%1: no such file").arg(path);
    case -3:
        return QString("%1 is not a Vaultix data file").arg(path);
    default:
        break;
    }
    return QString("cannot open %1 for reading").arg(path);
}

// The record's category, or null when its id matches none.
CCategory* CategoryOf(CCategories* categories, const CRecord* record)
{
    CCategory* c = categories->GetCategory(record->category);
    return (c && c->id == record->category) ? c : nullptr;
}

QString Text(const CRecord* record, int number)
{
    QString text;
    record->GetDataText(number, text);
    return text;
}

} // namespace

// Opens the data file as the application does at start and loads the
// collections. Only a missing (or empty) file may be created: a foreign or
// damaged one is refused before anything is written. Commands that only
// read open an existing file read-only; commands that write also take the
// file's lock, so they never write beside a running Vaultix.
int OpenData(CSession& session, bool writes)
{
    const QString& path = session.dataFile();
    QString problem;
    const CSession::Probe found = session.probe(&problem);
    switch (found) {
    case CSession::NoFolder:
        PrintError(QString("folder %1 does not exist").arg(QFileInfo(path).absolutePath()));
        return ExitUsage;
    case CSession::Foreign:
        PrintError(OpenError(-3, path));
        return ExitUsage;
    case CSession::Unreadable:
        PrintError(OpenError(-2, path));
        return ExitUsage;
    case CSession::Damaged:
        PrintError(QString("%1 is damaged; run \"vaultix-tool --file %1 check\" for details").arg(path));
        return ExitFailed;
    default:
        break;
    }
    session.setSaveOnClose(writes);
    session.setReadOnly(!writes);
    if (writes && !session.lock(&problem)) {
        PrintError(problem);
        return ExitFailed;
    }
    if (!session.open(false, &problem)) {
        PrintError(problem.isEmpty() ? QString("cannot create %1").arg(path) : problem);
        return session.lastProbe() == CSession::Damaged ? ExitFailed : ExitUsage;
    }
    // An interrupted change found beside the file: rolled back, or ignored.
    if (!session.journalReport().isEmpty())
        PrintError(session.journalReport());
    session.loadCollections();
    return ExitOk;
}

// Unlocks the data for reading protected texts: from the first line of
// standard input, or by asking on the terminal. An empty answer on the
// terminal leaves the data locked.
int Unlock(bool passwordStdin)
{
    const bool passwordSet = _AppCfg->anyVerifierByte();
    QString password;
    if (passwordStdin) {
        CTerminal::readStdinLine(password);
    } else if (passwordSet && CTerminal::stdinIsTerminal()) {
        CTerminal::readSecret(QString("Master password (empty: stay locked): "), password);
        if (password.isEmpty())
            return ExitOk;
    }
    if (!passwordSet || (!passwordStdin && password.isEmpty())) {
        CTerminal::wipe(password);
        return ExitOk;
    }
    const bool valid = CheckValidPwd(password);
    CTerminal::wipe(password);
    if (!valid) {
        PrintError(QString("the password is incorrect"));
        return ExitFailed;
    }
    _AppCfg->locked = false;
    return ExitOk;
}

void PrintError(const QString& text)
{
    PrintTo(stderr, Program + text);
}

void PrintUsage(FILE* stream)
{
    PrintTo(stream, QString(
        "Usage: vaultix-tool [--file PATH] COMMAND [ARGS]\n"
        "\n"
        "Reads and maintains a Vaultix data file, by default\n"
        "$XDG_DATA_HOME/Vaultix/Vaultix.Dat (~/.local/share/Vaultix/Vaultix.Dat).\n"
        "\n"
        "Commands:\n"
        "  check                 check the file's structure (only reads)\n"
        "  keys                  one line per record: KEY LENGTH (only reads)\n"
        "  list [--category NAME] [--password-stdin]\n"
        "                        one line per record: key, category and fields 1 to 3,\n"
        "                        separated by tabs\n"
        "  show KEY [--password-stdin]\n"
        "                        the fields and the note of the record with that key\n"
        "  categories            one line per category: id, name, protected|plain, icon\n"
        "  passwd                set, change or remove the master password\n"
        "  salvage OUT           copy every record of a damaged file that reads back\n"
        "                        whole into a new file OUT (only reads the damaged file)\n"
        "  import FILE.csv [--password-stdin]\n"
        "                        add one record per line of a CSV file (category,\n"
        "                        fields 1 to 6, note), creating missing categories\n"
        "  export FILE.csv [--password-stdin] [--force]\n"
        "                        write every record as one CSV line; FILE.csv \"-\" is\n"
        "                        standard output; an existing file only with --force\n"
        "\n"
        "list, show, categories, passwd, import and export create the file with the default\n"
        "categories when it does not exist (its folder must exist).\n"
        "\n"
        "Passwords are never taken from the command line. --password-stdin reads\n"
        "the master password from the first line of standard input; without it\n"
        "protected texts show as ******, unless standard input is a terminal, where\n"
        "the password is asked for. import refuses while a password is set and not\n"
        "given; export without it writes protected texts as ******. passwd reads the old, the new and the repeated\n"
        "new password as three lines of standard input (empty lines for none), or\n"
        "asks for them on the terminal.\n"
        "\n"
        "Exit status: 0 success (and --help); 1 damaged file, file in use by a\n"
        "running Vaultix, wrong password, new passwords that differ, records\n"
        "that salvage left (or may have left) behind, a CSV file that is missing\n"
        "or unreadable, an import without the password, or an existing export\n"
        "file without --force; 2 usage error, unknown\n"
        "category or key, a file that cannot be read or opened, or an existing OUT."));
}

QString DefaultDataFile()
{
    return Global::applicationFileName(QString("Vaultix"), QString("Vaultix.Dat"));
}

int CheckFile(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        PrintError(OpenError(-1, path));
        return ExitUsage;
    }
    if (info.isDir()) {
        PrintError(QString("%1 is a folder").arg(path));
        return ExitUsage;
    }
    // As the next open will read it: an interrupted change undone.
    CxFileCheck check(QByteArray(), _AppSignature);
    QString error;
    if (!check.load(path, &error)) {
        PrintError(QString("cannot read %1: %2").arg(path, error));
        return ExitUsage;
    }
    if (!check.journalReport().isEmpty())
        PrintLine(check.journalReport());
    if (!check.run()) {
        for (const QString& problem : check.problems())
            PrintLine(problem);
        PrintLine(QString("To copy what can still be read into a new file: vaultix-tool --file %1 salvage OUT")
                      .arg(path));
        return ExitFailed;
    }
    PrintLine(QString("OK: %1 is sound (%2 records, %3 blocks)")
                  .arg(path).arg(check.recordCount()).arg(check.blockCount()));
    if (check.unusedBlockCount() > 0)
        PrintLine(QString("Note: %1 blocks are not in use (lost space, not damage)").arg(check.unusedBlockCount()));
    return ExitOk;
}

int ListKeys(const QString& path)
{
    CxFile file(_AppSignature);
    const int code = file.OpenReadOnly(Encoded(path).constData());
    if (code != 0) {
        PrintError(OpenError(code, path));
        return ExitUsage;
    }
    // A sound file cannot hold more entries than this; the bound keeps a
    // damaged index chain from looping for ever.
    const qint64 limit = QFileInfo(path).size() / 12 + 1;
    qint64 seen = 0;
    int result = ExitOk;
    for (bool more = file.FindFirstRecord(); more; more = file.FindNextRecord()) {
        if (++seen > limit) {
            PrintError(QString("%1: the index loops; run check").arg(path));
            result = ExitFailed;
            break;
        }
        int32_t key = 0;
        int32_t length = 0;
        file.ReadRecordKey(key);
        file.ReadRecordSize(length);
        PrintLine(QString("%1 %2").arg(key).arg(length));
    }
    file.Close();
    return result;
}

int ListRecords(const QString& path, const QString& category, bool passwordStdin)
{
    CSession session(path);
    int result = OpenData(session, false);
    if (result != ExitOk)
        return result;
    const CCategory* filter = nullptr;
    if (!category.isNull()) {
        filter = session.categories()->find(category);
        if (!filter) {
            PrintError(QString("no category named \"%1\"").arg(category));
            return ExitUsage;
        }
    }
    result = Unlock(passwordStdin);
    if (result != ExitOk)
        return result;

    for (CRecord* r = session.records()->first(); r; r = CRecords::nextOf(r)) {
        if (filter && r->category != filter->id)
            continue;
        const CCategory* c = CategoryOf(session.categories(), r);
        QStringList columns;
        columns << QString::number(r->key) << (c ? c->name : QString(CorruptRecord));
        for (int i = 0; i < 3; ++i)
            columns << OneLine(Text(r, i));
        PrintLine(columns.join(u'\t'));
    }
    return ExitOk;
}

int ShowRecord(const QString& path, const QString& keyText, bool passwordStdin)
{
    bool isNumber = false;
    const int key = keyText.toInt(&isNumber);
    if (!isNumber) {
        PrintError(QString("\"%1\" is not a record key").arg(keyText));
        return ExitUsage;
    }
    CSession session(path);
    int result = OpenData(session, false);
    if (result != ExitOk)
        return result;
    CRecord* record = session.records()->first();
    while (record && record->key != key)
        record = CRecords::nextOf(record);
    if (!record) {
        PrintError(QString("no record with key %1").arg(key));
        return ExitUsage;
    }
    result = Unlock(passwordStdin);
    if (result != ExitOk)
        return result;

    const CCategory* c = CategoryOf(session.categories(), record);
    PrintLine(QString("Category: %1").arg(c ? c->name : QString(CorruptRecord)));
    for (int i = 0; i < 6; ++i) {
        // Without its category a record has no labels: show what it holds.
        const QString label = c ? c->labels[i] : QString("Field %1").arg(i + 1);
        const QString text = Text(record, i);
        if (c ? !label.isEmpty() : !text.isEmpty())
            PrintLine(QString("%1: %2").arg(label, text));
    }
    PrintLine(QString("Note: %1").arg(Text(record, 6)));
    return ExitOk;
}

int ListCategories(const QString& path)
{
    CSession session(path);
    const int result = OpenData(session, false);
    if (result != ExitOk)
        return result;
    for (CCategory* c = session.categories()->first(); c; c = CCategories::nextOf(c)) {
        PrintLine(QString("%1\t%2\t%3\t%4")
                      .arg(c->id)
                      .arg(OneLine(c->name), c->isProtected ? QString("protected") : QString("plain"),
                           OneLine(c->icon)));
    }
    return ExitOk;
}

int ChangePassword(const QString& path)
{
    CSession session(path);
    int result = OpenData(session, true);
    if (result != ExitOk)
        return result;

    QString oldPwd;
    QString newPwd;
    QString confirm;
    if (CTerminal::stdinIsTerminal()) {
        // Like the dialog: no old password to give when none is set.
        if (_AppCfg->anyVerifierByte())
            CTerminal::readSecret(QString("Old password: "), oldPwd);
        CTerminal::readSecret(QString("New password: "), newPwd);
        CTerminal::readSecret(QString("Confirm new password: "), confirm);
    } else {
        CTerminal::readStdinLine(oldPwd);
        CTerminal::readStdinLine(newPwd);
        CTerminal::readStdinLine(confirm);
    }

    CPasswordChange change;
    change.Decide(oldPwd, newPwd, confirm);
    CTerminal::wipe(oldPwd);
    CTerminal::wipe(newPwd);
    CTerminal::wipe(confirm);

    if (change.error == CPasswordChange::WrongOldPassword) {
        PrintTo(stderr, QString("The old password you entered is incorrect."));
        result = ExitFailed;
    } else if (change.error == CPasswordChange::NewPasswordsDiffer) {
        PrintTo(stderr, QString("The new passwords you entered do not match."));
        result = ExitFailed;
    } else if (change.newPassword.size() > MaxPasswordLength) {
        PrintError(QString("the new password is longer than %1 characters").arg(MaxPasswordLength));
        result = ExitUsage;
    }
    if (result != ExitOk) {
        CTerminal::wipe(change.newPassword);
        return result;
    }

    ApplyPasswordChange(change.status, change.newPassword, session.records(), session.categories());
    CTerminal::wipe(change.newPassword);
    switch (change.status) {
    case CPasswordChange::Set:
        PrintLine(QString("Password set."));
        break;
    case CPasswordChange::Changed:
        PrintLine(QString("Password changed."));
        break;
    case CPasswordChange::Removed:
        PrintLine(QString("Password removed."));
        break;
    default:
        PrintLine(QString("No change."));
        break;
    }
    return ExitOk;
}
