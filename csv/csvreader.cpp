#include "csv/csvreader.h"

#include "crypto/wipe.h"

#include <algorithm>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace {

void WipeText(QString& text)
{
    if (!text.isEmpty() && text.isDetached())
        WipeBytes(text.data(), size_t(text.size()) * sizeof(QChar));
    text = QString();
}

bool IsBlank(char16_t c)
{
    return c == u' ' || c == u'\t';
}

bool IsText(char16_t u)
{
    return (u >= 0x20 && u != 0x7F) || u == u'\t' || u == u'\n' || u == u'\r';
}

// The length of the line end at `pos` (LF, CR or CRLF), 0 when none.
int LineEnd(const char16_t* text, int size, int pos)
{
    const char16_t c = text[pos];
    if (c == u'\n')
        return 1;
    if (c != u'\r')
        return 0;
    return pos + 1 < size && text[pos + 1] == u'\n' ? 2 : 1;
}

} // namespace

void CCsvRow::wipe()
{
    for (QString& value : values)
        WipeText(value);
    reason.clear();
    line = 0;
}

CCsvReader::CCsvReader(QString text)
    : m_text(std::move(text)), m_data(reinterpret_cast<const char16_t*>(m_text.constData())),
      m_size(int(m_text.size()))
{
}

CCsvReader::~CCsvReader()
{
    WipeText(m_text);
}

QString CCsvReader::decode(const QByteArray& bytes)
{
    // UTF-8 read straight into Latin-1 range characters, one pass and one
    // copy of the text: an import file may be megabytes of secrets.
    const auto* b = reinterpret_cast<const unsigned char*>(bytes.constData());
    const qsizetype n = bytes.size();
    QString out(n, Qt::Uninitialized);
    char16_t* to = reinterpret_cast<char16_t*>(out.data());
    qsizetype length = 0;
    qsizetype i = n >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF ? 3 : 0;
    while (i < n) {
#ifdef __SSE2__
        // Sixteen plain ASCII bytes a step, the common run.
        for (; n - i >= 16; i += 16, length += 16) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(b + i));
            if (_mm_movemask_epi8(v) != 0)
                break;
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + length), _mm_unpacklo_epi8(v, _mm_setzero_si128()));
            _mm_storeu_si128(reinterpret_cast<__m128i*>(to + length + 8), _mm_unpackhi_epi8(v, _mm_setzero_si128()));
        }
        if (i >= n)
            break;
#endif
        const unsigned c = b[i];
        if (c < 0x80) {
            to[length++] = char16_t(c);
            ++i;
            continue;
        }
        // The shortest form only, and no surrogates, as RFC 3629 has it.
        int extra = 0;
        unsigned code = 0, low = 0x80, high = 0xBF;
        if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
            code = c & 0x1F;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
            code = c & 0x0F;
            low = c == 0xE0 ? 0xA0 : low;
            high = c == 0xED ? 0x9F : high;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
            code = c & 0x07;
            low = c == 0xF0 ? 0x90 : low;
            high = c == 0xF4 ? 0x8F : high;
        }
        bool valid = extra > 0 && n - i > extra && b[i + 1] >= low && b[i + 1] <= high;
        for (int k = 1; valid && k <= extra; ++k) {
            valid = (b[i + k] & 0xC0) == 0x80;
            code = code << 6 | (b[i + k] & 0x3F);
        }
        if (!valid) {
            WipeBytes(out.data(), size_t(n) * sizeof(QChar));
            return QString::fromLatin1(bytes);
        }
        to[length++] = code <= 0xFF ? char16_t(code) : u'?';
        i += extra + 1;
    }
    out.truncate(length);
    return out;
}

bool CCsvReader::closedFrom(int pos)
{
    const int n = m_size;
    if (m_closes.empty()) {
        m_closes.assign(size_t(n) + 2, 0);
        for (int i = n - 1; i >= 0; --i) {
            if (m_data[i] != u'"')
                m_closes[i] = m_closes[i + 1];
            else if (i + 1 < n && m_data[i + 1] == u'"')
                m_closes[i] = m_closes[i + 2];
            else
                m_closes[i] = 1;
        }
    }
    return m_closes[size_t(pos)] != 0;
}

// Reads one value from `pos`; with `out` it is also written there (the
// caller sized it from a first pass without). Nothing moves until the
// caller takes `end`.
CCsvReader::Scan CCsvReader::scanValue(int pos, QChar* out)
{
    Scan s;
    const int n = m_size;
    auto put = [&](char16_t c) {
        if (s.bad < 0 && !IsText(c))
            s.bad = c;
        if (out)
            out[s.length] = QChar(c);
        ++s.length;
    };
    // Ends the row at the line end found at `pos`, if any.
    auto endsLine = [&](int at) {
        const int e = LineEnd(m_data, n, at);
        if (e) {
            s.end = at + e;
            ++s.lines;
            s.rowEnds = true;
        }
        return e != 0;
    };
    // Passes over ordinary characters up to `stop` or a line end, the
    // common run of a value, and says where it stopped.
    auto run = [&](int at, char16_t stop) {
        const int begin = at;
#ifdef __SSE2__
        // Eight characters a step while none is `stop` or below a space or
        // DEL (line ends among them); the loop below looks at the one found.
        // Characters from 0x8000 on compare as negative and stop it too.
        const __m128i stops = _mm_set1_epi16(short(stop)), del = _mm_set1_epi16(0x7F), space = _mm_set1_epi16(0x20);
        for (; n - at >= 8; at += 8) {
            const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(m_data + at));
            const __m128i special = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi16(v, stops), _mm_cmpeq_epi16(v, del)),
                                                 _mm_cmplt_epi16(v, space));
            if (const int found = _mm_movemask_epi8(special)) {
                at += __builtin_ctz(unsigned(found)) / 2;
                break;
            }
        }
#endif
        for (; at < n; ++at) {
            const char16_t c = m_data[at];
            if (c == stop || c == u'\n' || c == u'\r')
                break;
            if ((c < 0x20 || c == 0x7F) && s.bad < 0 && !IsText(c))
                s.bad = c;
        }
        if (out)
            std::copy(m_data + begin, m_data + at, reinterpret_cast<char16_t*>(out) + s.length);
        s.length += at - begin;
        return at;
    };
    while (pos < n && IsBlank(m_data[pos]))
        ++pos;
    if (pos < n && m_data[pos] == u'"') {
        ++pos;
        s.from = pos;
        while ((pos = run(pos, u'"')) < n) {
            if (m_data[pos] == u'"') {
                if (pos + 1 < n && m_data[pos + 1] == u'"') {
                    // One quote for two: the value no longer stands as written.
                    s.from = -1;
                    put(u'"');
                    pos += 2;
                    continue;
                }
                // Closed: only blanks may stand before the comma; anything
                // else is where the next value begins.
                ++pos;
                while (pos < n && IsBlank(m_data[pos]))
                    ++pos;
                if (pos < n && endsLine(pos))
                    return s;
                s.rowEnds = pos >= n;
                s.end = pos < n && m_data[pos] == u',' ? pos + 1 : pos;
                return s;
            }
            // Every quote so far came in pairs, so whether one closes this
            // value can be asked from here.
            if (!closedFrom(pos)) {
                endsLine(pos);
                return s;
            }
            // Kept as written, so that what an export wrote reads back the
            // same.
            const int e = LineEnd(m_data, n, pos);
            for (int i = 0; i < e; ++i)
                put(m_data[pos + i]);
            ++s.lines;
            pos += e;
        }
    } else {
        s.from = pos;
        pos = run(pos, u',');
        if (pos < n) {
            if (m_data[pos] == u',')
                s.end = pos + 1;
            else
                endsLine(pos);
            return s;
        }
    }
    s.end = n;
    s.rowEnds = true;
    return s;
}

bool CCsvReader::next(CCsvRow& row)
{
    row.wipe();
    const int n = m_size;
    while (m_pos < n) {
        const int e = LineEnd(m_data, n, m_pos);
        if (!e)
            break;
        m_pos += e;
        ++m_line;
    }
    if (m_pos >= n)
        return false;
    row.line = m_line;

    int badColumn = -1;
    int badChar = 0;
    bool rowEnds = false;
    for (int i = 0; !rowEnds; ++i) {
        const bool kept = i < CCsvRow::ValueCount && badColumn < 0;
        const Scan s = scanValue(m_pos, nullptr);
        if (kept && s.bad >= 0) {
            badColumn = i;
            badChar = s.bad;
        } else if (kept && s.length > 0 && s.from >= 0) {
            row.values[i] = QString::fromRawData(reinterpret_cast<const QChar*>(m_data + s.from), s.length);
        } else if (kept && s.length > 0) {
            QString& value = row.values[i];
            value.resize(s.length);
            scanValue(m_pos, value.data());
        }
        m_pos = s.end;
        m_line += s.lines;
        rowEnds = s.rowEnds;
    }
    if (badColumn >= 0) {
        for (QString& value : row.values)
            WipeText(value);
        row.reason = tr("Column %1 holds a character that is not text (U+%2).")
                         .arg(badColumn + 1)
                         .arg(QString::number(badChar, 16).toUpper().rightJustified(4, u'0'));
    }
    return true;
}

void CCsvImportReport::skip(int line, const QString& reason)
{
    ++m_skipped;
    const auto at = std::upper_bound(m_listed.begin(), m_listed.end(), line,
                                     [](int l, const QPair<int, QString>& e) { return l < e.first; });
    if (at - m_listed.begin() >= ListedLines)
        return;
    m_listed.insert(at, qMakePair(line, reason));
    if (m_listed.size() > ListedLines)
        m_listed.removeLast();
}

QString CCsvImportReport::text() const
{
    if (m_skipped == 0)
        return tr("%1 records imported.").arg(m_imported);
    QString text = tr("%1 records imported, %2 lines skipped.").arg(m_imported).arg(m_skipped);
    for (const auto& [line, reason] : m_listed)
        text += u'\n' + tr("Line %1: %2").arg(QString::number(line), reason);
    if (m_skipped > m_listed.size())
        text += u'\n' + tr("%1 more skipped lines are not listed.").arg(m_skipped - m_listed.size());
    return text;
}
