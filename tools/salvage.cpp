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

// Writes the records in ascending key order; false on any failure.
bool WriteFile(const QString& out, const std::map<qint32, QByteArray>& records)
{
    CxFile file(KeyPlan::Signature);
    if (file.Create(QFile::encodeName(out).constData(), BlockSize, 1, 0) != 0)
        return false;
    bool ok = true;
    for (const auto& [key, bytes] : records)
        ok = file.AddRecord(key, bytes.constData(), int32_t(bytes.size())) && ok;
    file.Close();
    QFile written(out);
    if (!ok || !written.open(QIODevice::ReadOnly))
        return false;
    CxFileCheck check(written.readAll(), KeyPlan::Signature);
    return check.run();
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
    QFile input(path);
    if (QFileInfo(path).isDir() || !input.open(QIODevice::ReadOnly)) {
        PrintError(QString("cannot read %1").arg(path));
        return ExitUsage;
    }
    const QByteArray bytes = input.readAll();
    if (input.error() != QFileDevice::NoError) {
        PrintError(QString("cannot read %1: %2").arg(path, input.errorString()));
        return ExitUsage;
    }
    input.close();

    CxSalvage salvage(bytes, KeyPlan::Signature);
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
        QFile::remove(out);
        PrintError(QString("cannot write %1").arg(out));
        return ExitUsage;
    }

    Say(QString("Recovered %1 records from %2 into %3.").arg(count - size_t(defaults.size())).arg(path, out));
    for (const QString& text : defaults)
        Say(QString("Lost, written with its default: %1.").arg(text));
    for (const CxSalvage::Lost& lost : salvage.lost())
        Say(QString("Left behind: key %1: %2.").arg(lost.key).arg(lost.reason));
    for (const QString& warning : salvage.warnings())
        Say(QString("Warning: %1; records after it may be missing.").arg(warning));
    if (!salvage.unlinked().isEmpty()) {
        QStringList keys;
        for (qint32 key : salvage.unlinked())
            keys << QString::number(key);
        Say(QString("Found only in index blocks the chain no longer reaches (check that they were not "
                    "deleted): %1.").arg(keys.join(QStringLiteral(", "))));
    }
    return complete ? ExitOk : ExitFailed;
}
