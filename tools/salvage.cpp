// vaultix-tool salvage: reads a damaged data file as far as it can and
// writes what it recovered into a new, sound file.

#include "tools/toolcommands.h"

#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"
#include "storage/cxsalvage.h"
#include "vault/keyplan.h"
#include "vault/vxconfig.h"

#include <QFile>
#include <QFileInfo>

#include <cstring>

namespace {

// The application's block size for new files.
constexpr unsigned BlockSize = 128;

void Say(const QString& text)
{
    const QByteArray bytes = text.toLocal8Bit() + '\n';
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stdout);
}

// The settings record a new data file gets.
QByteArray DefaultSettings()
{
    CvxConfig settings;
    settings.SetDefaults();
    QByteArray bytes(CvxConfig::StoredSize, '\0');
    settings.Encode(bytes.data());
    return bytes;
}

// Writes the records into a new file and checks what was written.
bool WriteFile(const QString& out, const std::map<qint32, QByteArray>& records)
{
    if (!CxSalvage::writeFile(out, KeyPlan::Signature, records, BlockSize, 1, 0))
        return false;
    CxFileCheck check(QByteArray(), KeyPlan::Signature);
    if (check.load(out) && check.run())
        return true;
    QFile::remove(out);
    return false;
}

void Wipe(std::map<qint32, QByteArray>& records)
{
    for (auto& entry : records)
        std::memset(entry.second.data(), 0, size_t(entry.second.size()));
}

} // namespace

int SalvageFile(const QString& path, const QString& out)
{
    if (QFileInfo::exists(out) || QFileInfo(out).isSymLink()) {
        PrintError(QString("%1 already exists; salvage writes only a new file").arg(out));
        return ExitUsage;
    }
    if (QFileInfo(path).isDir()) {
        PrintError(QString("cannot read %1").arg(path));
        return ExitUsage;
    }
    // As the reading commands show it: an interrupted change is left out
    // whole, never kept in part.
    CxSalvage salvage(QByteArray(), KeyPlan::Signature);
    QString error;
    if (!salvage.load(path, &error)) {
        PrintError(QString("cannot read %1: %2").arg(path, error));
        return ExitUsage;
    }
    if (!salvage.run()) {
        PrintError(QString("%1: %2; nothing can be recovered").arg(path, salvage.problem()));
        return ExitUsage;
    }

    std::map<qint32, QByteArray> records = salvage.records();
    bool complete = salvage.lost().isEmpty() && salvage.warnings().isEmpty();
    QStringList defaults;
    if (!records.count(KeyPlan::Settings)) {
        records[KeyPlan::Settings] = DefaultSettings();
        defaults << QString("the settings (master password removed)");
    }
    for (const qint32 marker : {KeyPlan::CategoryMarker, KeyPlan::RecordMarker}) {
        if (!records.count(marker)) {
            records[marker] = QByteArray(1, '\0');
            defaults << QString("the marker %1").arg(marker);
        }
    }
    complete = complete && defaults.isEmpty();

    const bool written = WriteFile(out, records);
    const size_t count = records.size();
    Wipe(records);
    if (!written) {
        PrintError(QString("cannot write %1").arg(out));
        return ExitUsage;
    }

    Say(QString("Recovered %1 records from %2 into %3.").arg(count - size_t(defaults.size())).arg(path, out));
    if (salvage.journalState() == CxJournal::Hot)
        Say(QString("A change to %1 was interrupted; it was left out, as its journal undoes it.").arg(path));
    for (const QString& text : defaults)
        Say(QString("Lost, written with its default: %1.").arg(text));
    for (const CxSalvage::Lost& lost : salvage.lost())
        Say(QString("Left behind: key %1: %2.").arg(lost.key).arg(lost.reason));
    for (const QString& warning : salvage.warnings())
        Say(QString("Warning: %1; records after it may be missing.").arg(warning));
    if (!salvage.unlinked().isEmpty()) {
        QStringList keys;
        for (qint32 key : salvage.unlinked().mid(0, 20))
            keys << QString::number(key);
        if (salvage.unlinked().size() > 20)
            keys << QString("and %1 more").arg(salvage.unlinked().size() - 20);
        Say(QString("Found only in index blocks the chain no longer reaches (check that they were not "
                    "deleted): %1.").arg(keys.join(QStringLiteral(", "))));
    }
    return complete ? ExitOk : ExitFailed;
}
