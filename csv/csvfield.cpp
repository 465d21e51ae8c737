#include "csv/csvfield.h"

namespace {

int SkipBlanks(const QString& line, int pos)
{
    while (pos < line.size() && (line[pos] == u' ' || line[pos] == u'\t'))
        ++pos;
    return pos;
}

} // namespace

int GetNextCSVfield(const QString& line, int pos, QString& value)
{
    value.clear();
    const int len = int(line.size());
    if (pos < 0)
        pos = 0;
    if (pos >= len)
        return pos;
    pos = SkipBlanks(line, pos);
    bool quoted = false;
    if (pos < len && line[pos] == u'"') {
        ++pos;
        quoted = true;
    }
    while (pos < len) {
        const QChar c = line[pos];
        if (c == u'"' && quoted) {
            ++pos;
            if (pos < len && line[pos] == u'"') {
                value += u'"';
                ++pos;
                continue;
            }
            // Closed: only blanks may stand before the comma; anything else
            // is where the next value begins.
            pos = SkipBlanks(line, pos);
            if (pos < len && line[pos] == u',')
                ++pos;
            break;
        }
        if (c == u',' && !quoted) {
            ++pos;
            break;
        }
        value += c;
        ++pos;
    }
    return pos;
}
