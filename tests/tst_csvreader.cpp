// The CSV reader on texts in memory: line ends, quoted line breaks, line
// numbers, rows that hold no text; and the import summary built from them.
#include "csv/csvreader.h"

#include <QtTest>

namespace {

// A row as "line:value|value|..." without its trailing empty values, or
// "line skipped: reason".
QString Describe(const CCsvRow& row)
{
    if (row.skipped())
        return QString("%1 skipped: %2").arg(row.line).arg(row.reason);
    QStringList values(std::begin(row.values), std::end(row.values));
    while (!values.isEmpty() && values.last().isEmpty())
        values.removeLast();
    return QString("%1:%2").arg(row.line).arg(values.join(u'|'));
}

} // namespace

class TestCsvReader : public QObject
{
    Q_OBJECT

  private slots:
    void rows_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("rows");
        const QStringList abc{"1:a|b", "2:c"};
        QTest::newRow("empty") << QByteArray() << QStringList();
        QTest::newRow("LF") << QByteArray("a,b\nc\n") << abc;
        QTest::newRow("CRLF") << QByteArray("a,b\r\nc\r\n") << abc;
        QTest::newRow("lone CR") << QByteArray("a,b\rc\r") << abc;
        QTest::newRow("mixed, empty lines counted")
            << QByteArray("\n\ra\r\n\rb\n\nc") << QStringList{"3:a", "5:b", "7:c"};
        QTest::newRow("blanks make a row") << QByteArray("  \t\n") << QStringList{"1:"};
        QTest::newRow("field rules") << QByteArray("  a ,\"b,\"\"c\"\"\"  ,\" d \"e,x\"y\tz,,\"f\n")
                                     << QStringList{"1:a |b,\"c\"| d |e|x\"y\tz||f"};
        QTest::newRow("quoted breaks, any kind") << QByteArray("Web,\"one\r\ntwo\rthree\",x\nnext")
                                                 << QStringList{"1:Web|one\r\ntwo\rthree|x", "4:next"};
        QTest::newRow("unclosed quote ends at its line")
            << QByteArray("a,\"open \"\"q\"\"\nb,c\n") << QStringList{"1:a|open \"q\"", "2:b|c"};
        QTest::newRow("extra columns dropped, breaks and all")
            << QByteArray("1,2,3,4,5,6,7,8,9,\"x\ny\",\x01\nz") << QStringList{"1:1|2|3|4|5|6|7|8", "3:z"};
        QTest::newRow("NUL, DEL") << QByteArray("a\0b,c\nd\n,x\x7fy", 13)
                                  << QStringList{
                                         "1 skipped: Column 1 holds a character that is not text (U+0000).",
                                         "2:d",
                                         "3 skipped: Column 2 holds a character that is not text (U+007F)."};
        QTest::newRow("control in the note, after a break")
            << QByteArray("a,\"b\nc\",,,,,,\x1b\nd")
            << QStringList{"1 skipped: Column 8 holds a character that is not text (U+001B).", "3:d"};
        QTest::newRow("UTF-8, mark dropped") << QByteArray("\xEF\xBB\xBF"
                                                           "Caf\xC3\xA9,\xE2\x82\xAC\xF0\x9F\x98\x80")
                                             << QStringList{QString::fromUtf8("1:Caf\u00e9|??")};
        QTest::newRow("Latin-1") << QByteArray("Caf\xE9,\x80")
                                 << QStringList{QString::fromUtf8("1:Caf\u00e9|\u0080")};
    }
    void rows()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, rows);
        CCsvReader reader(CCsvReader::decode(bytes));
        QStringList got;
        CCsvRow row;
        while (reader.next(row))
            got << Describe(row);
        QCOMPARE(got, rows);
        QVERIFY(!reader.next(row));
    }

    void report_data()
    {
        QTest::addColumn<QList<int>>("skippedLines");
        QTest::addColumn<QString>("text");
        QTest::newRow("none skipped") << QList<int>() << "3 records imported.";
        QTest::newRow("in line order") << QList<int>{9, 2}
                                       << "3 records imported, 2 lines skipped.\n"
                                          "Line 2: Reason 2.\nLine 9: Reason 9.";
        QTest::newRow("the first five listed") << QList<int>{7, 6, 5, 4, 3, 2, 1, 8}
                                               << "3 records imported, 8 lines skipped.\n"
                                                  "Line 1: Reason 1.\nLine 2: Reason 2.\nLine 3: Reason 3.\n"
                                                  "Line 4: Reason 4.\nLine 5: Reason 5.\n"
                                                  "3 more skipped lines are not listed.";
    }
    void report()
    {
        QFETCH(QList<int>, skippedLines);
        QFETCH(QString, text);
        CCsvImportReport report;
        report.setImported(3);
        for (int line : skippedLines)
            report.skip(line, QString("Reason %1.").arg(line));
        QCOMPARE(report.skipped(), skippedLines.size());
        QCOMPARE(report.text(), text);
    }
};

QTEST_GUILESS_MAIN(TestCsvReader)
#include "tst_csvreader.moc"
