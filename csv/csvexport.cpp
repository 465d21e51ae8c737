#include "csv/csvexport.h"

#include "csv/csvimport.h"
#include "csv/csvoutputfile.h"
#include "vault/vault.h"

#include <QCoreApplication>

#include <QFile>

QByteArray ExportCSVLine(const CVault& vault, const CRecord* record)
{
    const CCategory* c = vault.categories().byId(record->category);
    QString values[1 + CRecord::TextCount];
    values[0] = c ? c->name : QStringLiteral("Category");
    for (int i = 0; i < CRecord::TextCount; ++i)
        values[i + 1] = vault.text(*record, i);
    // The texts are secrets in plain: the line gets all its room at once, as
    // a string that grows leaves its shorter copies behind unwiped.
    qsizetype room = 1;
    for (const QString& v : values)
        room += 2 * v.size() + 3;
    QString line;
    line.reserve(room);
    for (int i = 0; i <= CRecord::TextCount; ++i) {
        if (i > 0)
            line += u',';
        line += u'"';
        for (const QChar ch : values[i]) {
            if (ch == u'"')
                line += ch;
            line += i > 0 && ch == u'\n' ? QChar(u' ') : ch;
        }
        line += u'"';
    }
    line += u'\n';
    QByteArray bytes = line.toLatin1();
    for (QString& v : values)
        WipeCSVText(v);
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
    // Every secret goes into it in plain: owner-only, never through a link.
    QFile file;
    QString why;
    if (!CCsvOutputFile::open(file, name, true, why))
        return CVaultResult::failure(why);
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
