#include "csv/csvimport.h"

#include "crypto/wipe.h"
#include "csv/csvreader.h"

#include <QCoreApplication>
#include <QFile>

#include <algorithm>

void WipeCSVText(QString& text)
{
    if (!text.isEmpty() && text.isDetached())
        WipeBytes(text.data(), size_t(text.size()) * sizeof(QChar));
    text.clear();
}

void WipeCSVText(QByteArray& bytes)
{
    if (!bytes.isEmpty() && bytes.isDetached())
        WipeBytes(bytes.data(), size_t(bytes.size()));
    bytes.clear();
}

CVaultResult ImportCSVBytes(const QByteArray& bytes, CVault& vault, int* added, QVector<CVault::ImportSkip>* skipped)
{
    // The reader names the lines that hold no text (NULs included) rather
    // than letting them pass changed.
    CCsvReader reader(CCsvReader::decode(bytes));
    const int limits[CCsvRow::ValueCount] = {CsvLimits::Category, CsvLimits::Field, CsvLimits::Field,
                                             CsvLimits::Field,    CsvLimits::Field, CsvLimits::Field,
                                             CsvLimits::Field,    CsvLimits::Note};
    QVector<CVault::ImportSkip> skips;
    CCsvRow row;
    // The texts point into the reader's text, which outlives the import;
    // the category, which the vault may keep as a name, is a copy of its
    // own, shared with the row before when spelt the same.
    QString category;
    const CVault::RowSource next = [&](CVault::ImportRow& imported) {
        // Let go of the row before, so that the reader wipes what only it
        // holds then.
        imported = CVault::ImportRow();
        while (reader.next(row)) {
            if (row.skipped()) {
                skips.append({row.line, row.reason});
                continue;
            }
            imported.line = row.line;
            const QStringView spelt = QStringView(row.values[0]).left(limits[0]);
            if (spelt != category)
                category = spelt.toString();
            imported.category = category;
            for (int i = 0; i < CVault::TextCount; ++i)
                imported.texts[i] = row.values[i + 1].left(limits[i + 1]);
            return true;
        }
        return false;
    };
    const QStringList icons = vault.settings().iconNames;
    QVector<CVault::ImportSkip> refused;
    const CVaultResult result = vault.importRows(next, icons.isEmpty() ? QString() : icons.first(), added, &refused);
    row.wipe();
    if (result.ok() && skipped) {
        skips += refused;
        std::stable_sort(skips.begin(), skips.end(),
                         [](const CVault::ImportSkip& a, const CVault::ImportSkip& b) { return a.line < b.line; });
        *skipped = skips;
    }
    return result;
}

CVaultResult DoTheImport(const QString& name, CVault& vault, int* added, QVector<CVault::ImportSkip>* skipped)
{
    if (added)
        *added = 0;
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return CVaultResult::failure(
            QCoreApplication::translate("CsvImport", "%1 cannot be read: %2.").arg(name, file.errorString()));
    QByteArray bytes = file.readAll();
    file.close();
    const CVaultResult result = ImportCSVBytes(bytes, vault, added, skipped);
    WipeCSVText(bytes);
    return result;
}
