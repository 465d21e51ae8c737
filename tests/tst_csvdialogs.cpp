#include <QtTest>
class TestCsvDialogs : public QObject { Q_OBJECT };
QTEST_MAIN(TestCsvDialogs)
#include "tst_csvdialogs.moc"
