#include "csv/csvexport.h"

#include "csv/csvimport.h"
#include "vault/vault.h"

#include <QCoreApplication>

#include <QFile>

namespace {

QString Quoted(QString text)
{
    text.replace(u'"', QLatin1String("\"\""));
    return u'"' + text + u'"';
}

} // namespace

QByteArray ExportCSVLine(const CVault& vault, const CRecord* record)
{
    const CCategory* c = vault.categories().byId(record->category);
    QString line = Quoted(c ? c->name : QStringLiteral("Category"));
    QString text;
    for (int i = 0; i < CRecord::TextCount; ++i) {
        text = vault.text(*record, i);
        text.replace(u'\n', u' ');
        line += u',' + Quoted(text);
    }
    line += u'\n';
    QByteArray bytes = line.toLatin1();
    // The texts are secrets in plain: leave no copy behind.
    WipeCSVText(text);
    WipeCSVText(line);
    return bytes;
}

int ExportCSV(QIODevice& out, const CVault& vault)
{
    int count = 0;
    for (CRecord* r = vault.records().first(); r; r = CRecords::nextOf(r)) {
        QByteArray line = ExportCSVLine(vault, r);
        const bool written = out.write(line) == line.size();
        WipeCSVText(line);
        if (!written)
            return -1;
        ++count;
    }
    return count;
}

CVaultResult DoTheExport(const QString& name, const CVault& vault, int* count)
{
    if (count)
        *count = 0;
    QFile file(name);
    if (!file.open(QIODevice::ReadWrite | QIODevice::Truncate))
        return CVaultResult::failure(QCoreApplication::translate("CsvExport", "%1 cannot be written: %2.")
                                         .arg(name, file.errorString()));
    const int written = ExportCSV(file, vault);
    const bool flushed = file.flush();
    if (written < 0 || !flushed)
        return CVaultResult::failure(QCoreApplication::translate("CsvExport", "%1 could not be written whole: %2.")
                                         .arg(name, file.errorString()));
    file.close();
    if (count)
        *count = written;
    return CVaultResult::success();
}
