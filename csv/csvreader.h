#ifndef VAULTIX_CSV_CSVREADER_H
#define VAULTIX_CSV_CSVREADER_H

#include <QByteArray>
#include <QCoreApplication>
#include <QList>
#include <QPair>
#include <QString>

#include <vector>

// One row of a CSV text: the line it starts on and either its values or the
// reason it cannot be imported.
struct CCsvRow
{
    // Category, fields 1 to 6, note; further columns are read and dropped.
    static constexpr int ValueCount = 8;

    int line = 0; // 1-based; every CR, LF or CRLF ends a line
    QString values[ValueCount];
    QString reason; // empty unless the row is skipped; the values are then empty

    bool skipped() const { return !reason.isEmpty(); }
    // Clears the values in memory (they are secrets) and the rest.
    void wipe();
};

// Splits a decoded CSV text into rows; knows nothing of files or records.
//
// Lines end at LF, CRLF or a lone CR; lines with no character at all are
// passed over (they still count for the line numbers). Values are separated
// by commas; leading blanks (space, tab) are dropped, trailing ones of an
// unquoted value kept. In a quoted value a doubled quote is one quote, commas
// are ordinary and a line break is part of the value, as written; text after
// the closing quote starts the next value. A quote that no later quote
// closes runs to the end of its own line only, so that one stray quote
// cannot swallow the rest of the file.
//
// Text is every character but the C0 controls and DEL; tab and the line
// breaks of quoted values excepted. A row whose first eight values hold any
// other character (a NUL, say: stored texts end there) comes back skipped
// with the column and the character named.
class CCsvReader
{
    Q_DECLARE_TR_FUNCTIONS(CCsvReader)

public:
    // Takes the text over and wipes it when done: pass it with std::move so
    // that no other copy of the plaintext stays shared with it.
    explicit CCsvReader(QString text);
    ~CCsvReader();
    CCsvReader(const CCsvReader&) = delete;
    CCsvReader& operator=(const CCsvReader&) = delete;

    // A file that is valid UTF-8 is read as UTF-8 (a leading byte-order mark
    // dropped), any other as Latin-1. Characters that Latin-1 cannot hold
    // come back as "?", one per character, so that limits count what a
    // record will hold. NULs are kept: the reader reports them.
    static QString decode(const QByteArray& bytes);

    // The next row into `row` (wiped first); false at the end of the text.
    // A value that stands in the text as written is not copied but points
    // into the reader's text: it stays valid while the reader lives.
    bool next(CCsvRow& row);

private:
    struct Scan
    {
        int end = 0;    // where the next value or row starts
        int lines = 0;  // line ends crossed
        int length = 0; // characters of the value
        int bad = -1;   // the first character that is not text
        int from = -1;  // where the value stands as written, when it does
        bool rowEnds = false;
    };
    Scan scanValue(int pos, QChar* out);
    bool closedFrom(int pos);

    QString m_text;
    const char16_t* m_data; // m_text's characters, read without detaching
    int m_size;
    int m_pos = 0;
    int m_line = 1;
    // For each position: whether a closing quote follows, read as inside
    // quotes. Built at the first quote, so each check is one look-up.
    std::vector<char> m_closes;
};

// The summary an import shows: "N records imported." or "N records
// imported, M lines skipped." and then the first few skipped lines with
// their reasons. Reasons come from the reader or from whatever stores the
// records ("no category id is left", say), one whole sentence each.
class CCsvImportReport
{
    Q_DECLARE_TR_FUNCTIONS(CCsvImportReport)

public:
    static constexpr int ListedLines = 5;

    void setImported(int count) { m_imported = count; }
    void skip(int line, const QString& reason);

    int imported() const { return m_imported; }
    int skipped() const { return m_skipped; }
    // The listed (lowest) skipped lines, in line order.
    const QList<QPair<int, QString>>& listed() const { return m_listed; }
    // One sentence a line.
    QString text() const;

private:
    int m_imported = 0;
    int m_skipped = 0;
    QList<QPair<int, QString>> m_listed;
};

#endif
