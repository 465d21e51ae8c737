// The password generator over many draws: lengths, classes, refusals.
#include "crypto/passwordgenerator.h"

#include <QSet>
#include <QtTest>

using G = CPasswordGenerator;

class TestPasswordGenerator : public QObject
{
    Q_OBJECT

  private slots:
    void draws_data()
    {
        QTest::addColumn<int>("length");
        QTest::addColumn<int>("classes"); // 0 with a bad length: refused
        QTest::newRow("defaults") << int(G::DefaultLength) << int(G::AllClasses);
        QTest::newRow("shortest, every class") << 8 << int(G::AllClasses);
        QTest::newRow("longest, digits only") << 64 << int(G::Digits);
        QTest::newRow("lower and symbols") << 12 << int(G::Lower | G::Symbols);
        QTest::newRow("upper only") << 8 << int(G::Upper);
        QTest::newRow("too short") << 7 << int(G::AllClasses);
        QTest::newRow("too long") << 65 << int(G::AllClasses);
        QTest::newRow("no class") << 20 << 0;
        QTest::newRow("unknown class") << 20 << 16;
    }
    void draws()
    {
        QFETCH(int, length);
        QFETCH(int, classes);
        G generator;
        const bool valid = length >= 8 && length <= 64 && classes > 0 && classes <= G::AllClasses;
        QCOMPARE(generator.setLength(length) && generator.setClasses(classes), valid);
        if (!valid) {
            // A refused setting leaves the generator as it was.
            QCOMPARE(generator.length(), int(G::DefaultLength));
            QCOMPARE(generator.classes(), int(G::AllClasses));
            return;
        }
        QSet<QString> seen;
        for (int i = 0; i < 500; ++i) {
            const QString password = generator.generate();
            QCOMPARE(password.size(), length);
            int present = 0;
            for (QChar ch : password) {
                for (G::Class c : {G::Lower, G::Upper, G::Digits, G::Symbols})
                    present |= G::characters(c).contains(ch) ? c : 0;
            }
            // Every chosen class, and nothing from the others (nor beyond).
            QCOMPARE(present, classes);
            QVERIFY2(password.count(QRegularExpression("[\\x21-\\x7e]")) == length, qPrintable(password));
            seen.insert(password);
        }
        QCOMPARE(seen.size(), 500);
    }
};

QTEST_GUILESS_MAIN(TestPasswordGenerator)
#include "tst_passwordgenerator.moc"
