#include "vault/vxconfig.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>

class TstConfig : public QObject
{
    Q_OBJECT

private slots:
    void storedForm()
    {
        CvxConfig c;
        c.SetDefaults();
        QVERIFY(c.showNoPwdWarning);
        // The defaults, with the fields that start at zero set.
        const unsigned char v[8] = {0x80, 1, 2, 3, 0xFE, 5, 6, 0xFF};
        std::memcpy(c.verifier, v, 8);
        c.passwordLength = 12;
        c.cleartextPwd = true;
        c.showNoPwdWarning = false;
        const QByteArray expected = QByteArray::fromHex(
            "01000000" "ff000000ff000000ff000000" "e0000000f9000000eb000000" "05000000" + QByteArray(24, '0')
            + "80010203fe0506ff" "0c000000" + QByteArray(16, '0') + "01000000" + QByteArray(40, '0'));
        char out[CvxConfig::StoredSize];
        c.Encode(out);
        QCOMPARE(QByteArray(out, sizeof out), expected);
        CvxConfig back;
        back.Decode(expected.constData(), int(expected.size()));
        char again[CvxConfig::StoredSize];
        back.Encode(again);
        QCOMPARE(QByteArray(again, sizeof again), expected);

        // Damaged: a short record reads the rest as zero; colours are clamped to 0..255.
        QByteArray damaged = expected.left(30);
        damaged[19] = char(0x80);
        back.Decode(damaged.constData(), int(damaged.size()));
        QCOMPARE(back.colourEven, CvxConfig::Colour({0, 249, 235}));
        QCOMPARE(back.autolockMinutes, 5);
        QVERIFY(!back.anyVerifierByte() && !back.cleartextPwd && back.passwordLength == 0);
    }

    // Whether a password is set: the verifier bytes summed modulo 256, or any byte non-zero.
    void passwordTests()
    {
        const struct { const char* verifier; bool sum, any; } rows[] = {
            {"0000000000000000", false, false}, {"c838000000000000", false, true}, // sum 256
            {"ff02000000000000", true, true}};                                     // sum 257
        CvxConfig c;
        for (const auto& row : rows) {
            std::memcpy(c.verifier, QByteArray::fromHex(row.verifier).constData(), 8);
            QCOMPARE(c.hasPassword(), row.sum);
            QCOMPARE(c.anyVerifierByte(), row.any);
        }
    }

    void iconNames()
    {
        QTemporaryDir root;
        const QString icons = root.filePath(QStringLiteral("pics/korel/icons.18x14/"));
        QVERIFY(QDir().mkpath(icons + QStringLiteral("sub.png")));
        for (const char* f : {"card.small.png", "B.png", "a.png", ".hidden.png", "notes.txt"})
            QVERIFY(QFile(icons + QLatin1String(f)).open(QIODevice::WriteOnly));
        qputenv("QPEDIR", QFile::encodeName(root.path()));
        QCOMPARE(CvxConfig().iconNames, QStringList({".hidden.png", "a", "B", "card"}));
        qunsetenv("QPEDIR");
    }
};

QTEST_GUILESS_MAIN(TstConfig)
#include "tst_config.moc"
