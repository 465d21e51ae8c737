// The password generator over many draws: lengths, classes, refusals.
#include "crypto/passwordgenerator.h"

#include <QSet>
#include <QtTest>

class TestPasswordGenerator : public QObject
{
    Q_OBJECT

private slots:
    void draws_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("classes");
        QTest::addColumn<bool>("accepted");
        using G = CPasswordGenerator;
        QTest::newRow("defaults") << int(G::DefaultLength) << int(G::AllClasses) << true;
        QTest::newRow("shortest, every class") << 8 << int(G::AllClasses) << true;
        QTest::newRow("longest, digits only") << 64 << int(G::Digits) << true;
        QTest::newRow("lower and symbols") << 12 << int(G::Lower | G::Symbols) << true;
        QTest::newRow("upper only") << 8 << int(G::Upper) << true;
        QTest::newRow("too short") << 7 << int(G::AllClasses) << false;
        QTest::newRow("too long") << 65 << int(G::AllClasses) << false;
        QTest::newRow("no class") << 20 << 0 << false;
        QTest::newRow("unknown class") << 20 << 16 << false;
    }
    void draws()
    {
        QFETCH(int, length);
        QFETCH(int, classes);
        QFETCH(bool, accepted);
        CPasswordGenerator generator;
        QCOMPARE(generator.setLength(length) && generator.setClasses(classes), accepted);
        if (!accepted) {
            // A refused setting leaves the generator as it was.
            QCOMPARE(generator.length(), int(CPasswordGenerator::DefaultLength));
            QCOMPARE(generator.classes(), int(CPasswordGenerator::AllClasses));
            return;
        }
        QString allowed;
        for (int c = 1; c <= CPasswordGenerator::Symbols; c <<= 1) {
            if (classes & c)
                allowed += CPasswordGenerator::characters(CPasswordGenerator::Class(c));
        }
        QSet<QString> seen;
        for (int i = 0; i < 500; ++i) {
            const QString password = generator.generate();
            QCOMPARE(password.size(), length);
            int present = 0;
            for (QChar ch : password) {
                QVERIFY2(allowed.contains(ch), qPrintable(password));
                for (int c = 1; c <= CPasswordGenerator::Symbols; c <<= 1) {
                    if (CPasswordGenerator::characters(CPasswordGenerator::Class(c)).contains(ch))
                        present |= c;
                }
            }
            QCOMPARE(present, classes);
            seen.insert(password);
        }
        QCOMPARE(seen.size(), 500);
    }
};

QTEST_GUILESS_MAIN(TestPasswordGenerator)
#include "tst_passwordgenerator.moc"
