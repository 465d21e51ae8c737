#include "csv/csvimport.h"

#include "csv/csvfield.h"
#include "crypto/wipe.h"

#include <QCoreApplication>
#include <QFile>
#include <QStringDecoder>

namespace {

// One '?' for every character above Latin-1, a surrogate pair included, so
// that the limits below count what the record will hold.
QString ToLatin1Range(const QString& text)
{
    QString out;
    out.reserve(text.size());
    const int n = int(text.size());
    for (int i = 0; i < n; ++i) {
        const QChar c = text[i];
        if (c.unicode() <= 0xFF) {
            out += c;
            continue;
        }
        if (c.isHighSurrogate() && i + 1 < n && text[i + 1].isLowSurrogate())
            ++i;
        out += u'?';
    }
    return out;
}

// Where the next line starts; a line ends at LF, and a CR right before it
// belongs to the line end (as a text stream reads it).
int NextLine(const QString& text, int from, QString& line)
{
    int end = int(text.indexOf(u'\n', from));
    const int next = end < 0 ? int(text.size()) : end + 1;
    if (end < 0)
        end = int(text.size());
    int stop = end;
    if (stop > from && text[stop - 1] == u'\r')
        --stop;
    line = text.mid(from, stop - from);
    return next;
}

} // namespace

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

QString DecodeCSV(const QByteArray& bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (utf8.hasError()) {
        WipeCSVText(text);
        text = QString::fromLatin1(bytes);
    } else {
        if (text.startsWith(QChar(0xFEFF)))
            text.remove(0, 1);
        QString latin1 = ToLatin1Range(text);
        WipeCSVText(text);
        text = std::move(latin1);
    }
    // Stored texts end at a NUL: a name cut there would no longer match
    // its category once loaded again.
    text.remove(QChar(0));
    return text;
}

CVaultResult ImportCSVBytes(const QByteArray& bytes, CVault& vault, int* added, QVector<CVault::ImportSkip>* skipped)
{
    QString text = DecodeCSV(bytes);
    const int limits[8] = {CsvLimits::Category, CsvLimits::Field, CsvLimits::Field, CsvLimits::Field,
                           CsvLimits::Field,    CsvLimits::Field, CsvLimits::Field, CsvLimits::Note};
    QVector<CVault::ImportRow> rows;
    QString line;
    int lineNumber = 0;
    for (int at = 0; at < text.size();) {
        at = NextLine(text, at, line);
        ++lineNumber;
        if (line.isEmpty())
            continue;
        CVault::ImportRow row;
        row.line = lineNumber;
        QString v[8];
        int pos = 0;
        for (int i = 0; i < 8; ++i) {
            pos = GetNextCSVfield(line, pos, v[i]);
            v[i].truncate(limits[i]);
        }
        row.category = v[0];
        for (int i = 0; i < CVault::TextCount; ++i)
            row.texts[i] = v[i + 1];
        rows.append(row);
        WipeCSVText(line);
        for (QString& value : v)
            WipeCSVText(value);
    }
    WipeCSVText(text);
    const QStringList icons = vault.settings().iconNames;
    const CVaultResult result = vault.importRows(rows, icons.isEmpty() ? QString() : icons.first(), added, skipped);
    for (CVault::ImportRow& row : rows) {
        for (QString& t : row.texts)
            WipeCSVText(t);
    }
    return result;
}

CVaultResult DoTheImport(const QString& name, CVault& vault, int* added, QVector<CVault::ImportSkip>* skipped)
{
    if (added)
        *added = 0;
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return CVaultResult::failure(QCoreApplication::translate("CsvImport", "%1 cannot be read: %2.")
                                         .arg(name, file.errorString()));
    QByteArray bytes = file.readAll();
    file.close();
    const CVaultResult result = ImportCSVBytes(bytes, vault, added, skipped);
    WipeCSVText(bytes);
    return result;
}
