// Feeds arbitrary bytes to the CSV reader, in memory. For any text: rows
// come in line order, one at most per line, values hold only text and
// skipped rows none; every row, quoted as an export quotes it, reads back
// the same; the summary lists the lowest skipped lines in order.
#include "csv/csvreader.h"

#include <QByteArray>
#include <QString>

#include <cstdint>

namespace {

void check(bool ok)
{
    if (!ok)
        __builtin_trap();
}

bool IsText(QChar c)
{
    const char16_t u = c.unicode();
    return (u >= 0x20 && u != 0x7F) || u == u'\t' || u == u'\n' || u == u'\r';
}

QString Quoted(const CCsvRow& row)
{
    QString line;
    for (int i = 0; i < CCsvRow::ValueCount; ++i) {
        QString v = row.values[i];
        v.replace(u'"', QLatin1String("\"\""));
        line += (i ? QLatin1String(",\"") : QLatin1String("\"")) + v + u'"';
    }
    return line + u'\n';
}

void roundTrip(const CCsvRow& row)
{
    CCsvReader again(Quoted(row));
    CCsvRow back;
    check(again.next(back) && back.line == 1 && !back.skipped());
    for (int i = 0; i < CCsvRow::ValueCount; ++i)
        check(back.values[i] == row.values[i]);
    check(!again.next(back));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 1 << 16)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    const QString text = CCsvReader::decode(bytes);
    const int lineEnds = int(text.count(u'\n') + text.count(u'\r') - text.count(QLatin1String("\r\n")));

    CCsvReader reader{QString(text)};
    CCsvImportReport report;
    CCsvRow row;
    int lastLine = 0;
    int rows = 0;
    while (reader.next(row)) {
        ++rows;
        check(row.line > lastLine && row.line <= lineEnds + 1);
        lastLine = row.line;
        if (row.skipped()) {
            for (const QString& v : row.values)
                check(v.isEmpty());
            report.skip(row.line, row.reason);
        } else {
            for (const QString& v : row.values) {
                check(v.size() <= text.size());
                for (QChar c : v)
                    check(IsText(c));
            }
            roundTrip(row);
        }
    }
    check(rows <= lineEnds + 1 && (lineEnds > 0 || rows == (text.isEmpty() ? 0 : 1)));

    report.setImported(rows - report.skipped());
    const auto& listed = report.listed();
    check(listed.size() <= CCsvImportReport::ListedLines && listed.size() <= report.skipped());
    for (int i = 1; i < listed.size(); ++i)
        check(listed[i - 1].first < listed[i].first);
    check(!report.text().isEmpty());
    return 0;
}
