#include "tools/toolcommands.h"

#include "crypto/passwordgenerator.h"
#include "crypto/wipe.h"
#include "platform/global.h"
#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"
#include "tools/terminal.h"
#include "vault/keyplan.h"
#include "vault/password.h"
#include "vault/passwordchange.h"
#include "vault/recordfinder.h"
#include "vault/vault.h"

#include <QFile>
#include <QFileInfo>
#include <QStringList>

namespace {

// The password dialog's fields take no more; a longer password could not be
// typed there to change or remove it.
constexpr int MaxPasswordLength = 32;

void PrintLine(const QString& text)
{
    PrintTo(stdout, text);
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

// Stands in for the category of a record whose category is gone.
QString CorruptRecord()
{
    return Tool::tr("-- CORRUPT RECORD --");
}

} // namespace

void PrintTo(FILE* stream, const QString& text)
{
    QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fputc('\n', stream);
    // It may be a deciphered text.
    if (!bytes.isEmpty())
        WipeBytes(bytes.data(), size_t(bytes.size()));
}

void PrintError(const QString& text)
{
    PrintTo(stderr, Tool::tr("vaultix-tool: %1").arg(text));
}

// Opens the data file as the application does at start. Only a missing (or
// empty) file may be created: a foreign or damaged one is refused before
// anything is written. Commands that only read open an existing file
// read-only; commands that write also take the file's lock, so they never
// write beside a running Vaultix.
int OpenData(CVault& vault, bool writes)
{
    CSession& session = vault.session();
    const QString& path = vault.dataFile();
    QString problem;
    auto refused = [&](CSession::Probe found) {
        switch (found) {
        case CSession::NoFolder:
        case CSession::Foreign:
        case CSession::Unreadable:
            PrintError(problem);
            return ExitUsage;
        case CSession::Damaged:
            PrintError(Tool::tr("%1 is damaged; \"vaultix-tool --file %1 check\" names the damage.").arg(path));
            return ExitFailed;
        default:
            return ExitOk;
        }
    };
    session.setReadOnly(!writes);
    if (writes) {
        // Locked before the file is read, so that what is read is what
        // the change starts from; read once, for reading and writing.
        if (!session.lock(&problem)) {
            // A path that cannot be a data file is named as such.
            const QString notLocked = problem;
            if (const int result = refused(session.probe(&problem)); result != ExitOk)
                return result;
            PrintError(notLocked);
            return ExitFailed;
        }
    } else if (const int result = refused(session.probe(&problem)); result != ExitOk) {
        return result;
    }
    if (!vault.open(false, &problem)) {
        const CSession::Probe found = session.lastProbe();
        if (const int result = refused(found); result != ExitOk)
            return result;
        PrintError(problem.isEmpty() ? Tool::tr("%1 cannot be created.").arg(path) : problem);
        return ExitUsage;
    }
    // An interrupted change found beside the file: rolled back, or ignored.
    if (!session.journalReport().isEmpty())
        PrintError(session.journalReport());
    return ExitOk;
}

// Unlocks the data for reading protected texts: from the first line of
// standard input, or by asking on the terminal. An empty answer on the
// terminal leaves the data locked.
int Unlock(CVault& vault, bool passwordStdin)
{
    const bool passwordSet = vault.settings().anyVerifierByte();
    QString password;
    if (passwordStdin) {
        CTerminal::readStdinLine(password);
    } else if (passwordSet && CTerminal::stdinIsTerminal()) {
        CTerminal::readSecret(Tool::tr("Master password (empty: stay locked): "), password);
    }
    if (!passwordSet || (!passwordStdin && password.isEmpty())) {
        CTerminal::wipe(password);
        return ExitOk;
    }
    // Such a password cannot be the master password; checked on its own so
    // that it is never cut to one byte a character and compared.
    if (!Password::IsLatin1(password)) {
        CTerminal::wipe(password);
        PrintError(Password::NotLatin1Text());
        return ExitFailed;
    }
    const bool unlocked = vault.unlock(password);
    CTerminal::wipe(password);
    if (!unlocked) {
        PrintError(Tool::tr("The password is incorrect."));
        return ExitFailed;
    }
    return ExitOk;
}

QString DefaultDataFile()
{
    return Global::applicationFileName(QStringLiteral("Vaultix"), QStringLiteral("Vaultix.Dat"));
}

int CheckFile(const QString& path)
{
    const QFileInfo info(path);
    if (!info.exists()) {
        PrintError(Tool::tr("%1 does not exist.").arg(path));
        return ExitUsage;
    }
    if (info.isDir()) {
        PrintError(Tool::tr("%1 is a folder.").arg(path));
        return ExitUsage;
    }
    // As the next open will read it: an interrupted change undone.
    CxFileCheck check(QByteArray(), KeyPlan::Signature);
    QString error;
    if (!check.load(path, &error)) {
        PrintError(Tool::tr("%1 cannot be read: %2.").arg(path, error));
        return ExitUsage;
    }
    if (!check.journalReport().isEmpty())
        PrintLine(check.journalReport());
    if (!check.run()) {
        for (const QString& problem : check.problems())
            PrintLine(problem);
        PrintLine(Tool::tr("To copy what can still be read into a new file: vaultix-tool --file %1 salvage OUT")
                      .arg(path));
        return ExitFailed;
    }
    PrintLine(Tool::tr("OK: %1 is sound (%2 records, %3 blocks)")
                  .arg(path).arg(check.recordCount()).arg(check.blockCount()));
    if (check.unusedBlockCount() > 0)
        PrintLine(Tool::tr("Note: %1 blocks are not in use (lost space, not damage)").arg(check.unusedBlockCount()));
    return ExitOk;
}

int ListKeys(const QString& path)
{
    // Keys read off a damaged chain would be empty or garbage, and look like
    // an answer: the bytes read are checked before any key is listed.
    CxFile file(KeyPlan::Signature);
    const auto sound = [](const unsigned char* bytes, int64_t size) {
        return CxFileCheck(QByteArray::fromRawData(reinterpret_cast<const char*>(bytes), qsizetype(size)),
                           KeyPlan::Signature)
            .run();
    };
    switch (file.OpenReadOnly(QFile::encodeName(path).constData(), sound)) {
    case 0:
        break;
    case -4:
        PrintError(Tool::tr("%1 is damaged; \"check\" names the damage.").arg(path));
        return ExitFailed;
    case -1:
        PrintError(Tool::tr("%1 does not exist.").arg(path));
        return ExitUsage;
    case -3:
        PrintError(Tool::tr("%1 is not a Vaultix data file.").arg(path));
        return ExitUsage;
    default:
        PrintError(Tool::tr("%1 cannot be opened for reading.").arg(path));
        return ExitUsage;
    }
    // A sound file cannot hold more entries than this; the bound keeps a
    // damaged index chain from looping for ever.
    const qint64 limit = QFileInfo(path).size() / 12 + 1;
    qint64 seen = 0;
    int result = ExitOk;
    for (bool more = file.FindFirstRecord(); more; more = file.FindNextRecord()) {
        if (++seen > limit) {
            PrintError(Tool::tr("The index of %1 runs in a loop; \"check\" names the damage.").arg(path));
            result = ExitFailed;
            break;
        }
        int32_t key = 0;
        int32_t length = 0;
        file.ReadRecordKey(key);
        file.ReadRecordSize(length);
        PrintLine(QStringLiteral("%1 %2").arg(key).arg(length));
    }
    file.Close();
    return result;
}

int ListRecords(const QString& path, const QString& category, bool passwordStdin, const QString& find)
{
    CVault vault(path);
    int result = OpenData(vault, false);
    if (result != ExitOk)
        return result;
    const CCategory* filter = nullptr;
    if (!category.isNull()) {
        filter = vault.categories().find(category);
        if (!filter) {
            PrintError(Tool::tr("There is no category named \"%1\".").arg(category));
            return ExitUsage;
        }
    }
    result = Unlock(vault, passwordStdin);
    if (result != ExitOk)
        return result;

    const CRecordFinder finder(find);
    for (CRecord* r = vault.records().first(); r; r = CRecords::nextOf(r)) {
        if ((filter && r->category != filter->id) || !finder.matches(vault, *r))
            continue;
        const CCategory* c = vault.categories().byId(r->category);
        QStringList columns;
        columns << QString::number(r->key) << (c ? OneLine(c->name) : CorruptRecord());
        for (int i = 0; i < 3; ++i)
            columns << OneLine(vault.text(*r, i));
        QString line = columns.join(u'\t');
        PrintLine(line);
        CTerminal::wipe(line);
        for (QString& column : columns)
            CTerminal::wipe(column);
    }
    return ExitOk;
}

int ShowRecord(const QString& path, const QString& keyText, bool passwordStdin, int field)
{
    bool isNumber = false;
    const int key = keyText.toInt(&isNumber);
    if (!isNumber) {
        PrintError(Tool::tr("\"%1\" is not a record key.").arg(keyText));
        return ExitUsage;
    }
    CVault vault(path);
    int result = OpenData(vault, false);
    if (result != ExitOk)
        return result;
    const CRecord* record = vault.records().find(key);
    if (!record) {
        PrintError(Tool::tr("There is no record with the key %1.").arg(key));
        return ExitUsage;
    }
    result = Unlock(vault, passwordStdin);
    if (result != ExitOk)
        return result;

    if (field > 0) {
        // For a pipe: a mask in place of the secret would pass for it.
        if (field > 1 && record->encrypted && vault.isLocked()) {
            PrintError(Tool::tr("Field %1 of the record %2 is protected; the master password is needed to show it.")
                           .arg(field).arg(key));
            return ExitFailed;
        }
        QString text = vault.text(*record, field - 1);
        PrintLine(text);
        CTerminal::wipe(text);
        return ExitOk;
    }
    const CCategory* c = vault.categories().byId(record->category);
    PrintLine(Tool::tr("Category: %1").arg(c ? c->name : CorruptRecord()));
    for (int i = 0; i < 6; ++i) {
        // Without its category a record has no labels: show what it holds.
        const QString label = c ? c->labels[i] : Tool::tr("Field %1").arg(i + 1);
        QString text = vault.text(*record, i);
        if (c ? !label.isEmpty() : !text.isEmpty())
            PrintLine(Tool::tr("%1: %2").arg(label, text));
        CTerminal::wipe(text);
    }
    QString note = vault.text(*record, 6);
    PrintLine(Tool::tr("Note: %1").arg(note));
    CTerminal::wipe(note);
    return ExitOk;
}

int ListCategories(const QString& path)
{
    CVault vault(path);
    const int result = OpenData(vault, false);
    if (result != ExitOk)
        return result;
    for (CCategory* c = vault.categories().first(); c; c = CCategories::nextOf(c)) {
        PrintLine(QStringLiteral("%1\t%2\t%3\t%4")
                      .arg(c->id)
                      .arg(OneLine(c->name), c->isProtected ? QStringLiteral("protected") : QStringLiteral("plain"),
                           OneLine(c->icon)));
    }
    return ExitOk;
}

int ChangePassword(const QString& path)
{
    CVault vault(path);
    int result = OpenData(vault, true);
    if (result != ExitOk)
        return result;

    QString oldPwd;
    QString newPwd;
    QString confirm;
    if (CTerminal::stdinIsTerminal()) {
        // Like the dialog: no old password to give when none is set.
        if (vault.settings().anyVerifierByte())
            CTerminal::readSecret(Tool::tr("Old password: "), oldPwd);
        CTerminal::readSecret(Tool::tr("New password: "), newPwd);
        CTerminal::readSecret(Tool::tr("Confirm new password: "), confirm);
    } else {
        CTerminal::readStdinLine(oldPwd);
        CTerminal::readStdinLine(newPwd);
        CTerminal::readStdinLine(confirm);
    }

    CPasswordChange change;
    change.Decide(vault, oldPwd, newPwd, confirm);
    CTerminal::wipe(newPwd);
    CTerminal::wipe(confirm);

    // The dialog's own sentences, without the program's name.
    switch (change.error) {
    case CPasswordChange::WrongOldPassword:
        PrintTo(stderr, Tool::tr("The old password you entered is incorrect."));
        result = ExitFailed;
        break;
    case CPasswordChange::NewPasswordsDiffer:
        PrintTo(stderr, Tool::tr("The new passwords you entered do not match."));
        result = ExitFailed;
        break;
    case CPasswordChange::NotLatin1:
        PrintTo(stderr, Password::NotLatin1Text());
        result = ExitFailed;
        break;
    case CPasswordChange::NoError:
        if (change.newPassword.size() > MaxPasswordLength) {
            PrintError(Tool::tr("The new password is longer than %1 characters.").arg(MaxPasswordLength));
            result = ExitUsage;
        }
        break;
    }
    if (result != ExitOk || change.status == CPasswordChange::NoChange) {
        CTerminal::wipe(oldPwd);
        CTerminal::wipe(change.newPassword);
        if (result == ExitOk)
            PrintLine(Tool::tr("No change."));
        return result;
    }

    const CVaultResult done = vault.changePassword(oldPwd, change.newPassword);
    CTerminal::wipe(oldPwd);
    CTerminal::wipe(change.newPassword);
    if (!done.ok()) {
        PrintError(done.error());
        return ExitFailed;
    }
    switch (change.status) {
    case CPasswordChange::Set:
        PrintLine(Tool::tr("Password set."));
        break;
    case CPasswordChange::Changed:
        PrintLine(Tool::tr("Password changed."));
        break;
    default:
        PrintLine(Tool::tr("Password removed."));
        break;
    }
    return ExitOk;
}

int GeneratePasswords(int length, int classes, int count)
{
    CPasswordGenerator generator;
    if (!generator.setLength(length) || !generator.setClasses(classes))
        return ExitUsage;
    for (int i = 0; i < count; ++i) {
        QString password = generator.generate();
        PrintLine(password);
        CTerminal::wipe(password);
    }
    return ExitOk;
}
