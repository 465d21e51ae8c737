#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/session.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>
#include <memory>

class TstConfig : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    std::unique_ptr<CSession> m_session;

    void open()
    {
        m_session = std::make_unique<CSession>(m_dir.filePath(QStringLiteral("s.dat")));
        m_session->open();
    }

private slots:
    void cleanup() { m_session.reset(); }

    void storedForm()
    {
        open();
        QVERIFY(_AppCfg->showNoPwdWarning && _AppCfg->locked);
        // The defaults, with the fields that start at zero set.
        const unsigned char v[8] = {0x80, 1, 2, 3, 0xFE, 5, 6, 0xFF};
        std::memcpy(_AppCfg->verifier, v, 8);
        _AppCfg->passwordLength = 12;
        _AppCfg->cleartextPwd = true;
        _AppCfg->showNoPwdWarning = false;
        _AppCfg->save();
        const QByteArray expected = QByteArray::fromHex(
            "01000000" "ff000000ff000000ff000000" "e0000000f9000000eb000000" "05000000" + QByteArray(24, '0')
            + "80010203fe0506ff" "0c000000" + QByteArray(16, '0') + "01000000" + QByteArray(40, '0'));
        cleanup();
        open(); // what was read back encodes to the same bytes
        char out[CvxConfig::StoredSize];
        _AppCfg->Encode(out);
        QCOMPARE(QByteArray(out, sizeof out), expected);
        QVERIFY(_AppCfg->locked); // never stored

        // Damaged: a short record reads the rest as zero; colours are clamped to 0..255.
        QByteArray damaged = expected.left(30);
        damaged[19] = char(0x80);
        _AppCfg->Decode(damaged.constData(), int(damaged.size()));
        QCOMPARE(_AppCfg->colourEven, QColor(0, 249, 235));
        QCOMPARE(_AppCfg->autolockMinutes, 5);
        QVERIFY(!_AppCfg->anyVerifierByte() && !_AppCfg->cleartextPwd && _AppCfg->passwordLength == 0);
    }

    // Whether a password is set: the verifier bytes summed modulo 256, or any byte non-zero.
    void passwordTests()
    {
        const struct { const char* verifier; bool sum, any; } rows[] = {
            {"0000000000000000", false, false}, {"c838000000000000", false, true}, // sum 256
            {"ff02000000000000", true, true}};                                     // sum 257
        CvxConfig c{QString()}; // no record file open: no file is touched
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
        QCOMPARE(CvxConfig(QString()).iconNames, QStringList({".hidden.png", "a", "B", "card"}));
        qunsetenv("QPEDIR");
    }
};

QTEST_GUILESS_MAIN(TstConfig)
#include "tst_config.moc"
