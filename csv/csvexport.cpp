#include "csv/csvexport.h"

#include "csv/csvimport.h"
#include "csv/csvoutputfile.h"
#include "model/categories.h"
#include "model/record.h"
#include "model/records.h"

#include <QFile>

namespace {

QString Quoted(QString text)
{
    text.replace(u'"', QLatin1String("\"\""));
    return u'"' + text + u'"';
}

} // namespace

QByteArray ExportCSVLine(CCategories* categories, const CRecord* record)
{
    const CCategory* c = categories ? categories->GetCategory(record->category) : nullptr;
    QString line = Quoted(c && c->id == record->category ? c->name : QStringLiteral("Category"));
    QString text;
    for (int i = 0; i < CRecord::TextCount; ++i) {
        record->GetDataText(i, text);
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

int ExportCSV(QIODevice& out, CCategories* categories, CRecords* records)
{
    int count = 0;
    for (CRecord* r = records ? records->first() : nullptr; r; r = CRecords::nextOf(r)) {
        QByteArray line = ExportCSVLine(categories, r);
        ++count;
        out.write(line);
        WipeCSVText(line);
    }
    return count;
}

int DoTheExport(QString& name, CCategories* categories, CRecords* records, QString* error)
{
    QFile file;
    QString why;
    if (!CCsvOutputFile::open(file, name, true, why)) {
        if (error)
            *error = why;
        return 0;
    }
    const int count = ExportCSV(file, categories, records);
    file.close();
    return count;
}
