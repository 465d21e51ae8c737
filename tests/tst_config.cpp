#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/categories.h"
#include "storage/cxfile.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <cstring>

class TstConfig : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    QString m_path;
    int m_files = 0;

    void open()
    {
        _AppFile = new CxFile(_AppSignature);
        _AppCfg = new CvxConfig(m_path);
    }
    static void close()
    {
        delete _AppCfg;
        _AppCfg = nullptr;
        delete _AppFile;
        _AppFile = nullptr;
    }

private slots:
    void init() { m_path = m_dir.filePath(QStringLiteral("s%1.dat").arg(m_files++)); }
    void cleanup() { close(); }

    void defaultsAndRoundTrip()
    {
        open();
        char stored[CvxConfig::StoredSize];
        _AppCfg->Encode(stored);
        QCOMPARE(QByteArray(stored, sizeof stored).toHex(),
                 QByteArray("01000000" "ff000000ff000000ff000000" "e0000000f9000000eb000000"
                            "05000000" + QByteArray(64, '0') + "00000000" "01000000"
                            + QByteArray(32, '0')));
        QVERIFY(_AppCfg->locked);
        QVERIFY(_AppFile->FindRecord(0));
        int32_t size = 0;
        _AppFile->ReadRecordSize(size);
        QCOMPARE(size, CvxConfig::StoredSize);

        CvxConfig& c = *_AppCfg;
        c.firstWord = -7;
        c.colourOdd = QColor(1, 2, 3);
        c.colourEven = QColor(250, 0, 128);
        c.autolockMinutes = 0;
        const unsigned char v[8] = {0x80, 1, 2, 3, 0xFE, 5, 6, 0xFF};
        std::memcpy(c.verifier, v, 8);
        c.passwordLength = 12;
        c.showNoPwdWarning = false;
        c.cleartextPwd = true;
        c.locked = false;
        c.save();
        c.Encode(stored);
        close();
        open();
        char reloaded[CvxConfig::StoredSize];
        _AppCfg->Encode(reloaded);
        QCOMPARE(QByteArray(reloaded, sizeof reloaded), QByteArray(stored, sizeof stored));
        QCOMPARE(_AppCfg->colourEven, QColor(250, 0, 128));
        QCOMPARE(_AppCfg->autolockMinutes, 0);
        QVERIFY(_AppCfg->locked); // never stored
    }

    void storedLayout()
    {
        const QByteArray bytes = QByteArray::fromHex(
            "44332211" "0a000000" "14000000" "00100000" "28000000" "32000000" "3c000000"
            "ffffffff" "07000000" "07000000" "07000000" "0102030405060708" "09000000"
            "07000000" "07000000" "00000001" "00010000");
        open();
        CvxConfig& c = *_AppCfg;
        c.Decode(bytes.constData(), int(bytes.size()));
        QCOMPARE(c.firstWord, 0x11223344);
        QCOMPARE(c.colourOdd, QColor(10, 20, 255)); // clamped
        QCOMPARE(c.autolockMinutes, -1);
        QCOMPARE(QByteArray(reinterpret_cast<const char*>(c.verifier), 8), bytes.mid(44, 8));
        QCOMPARE(c.passwordLength, 9);
        QVERIFY(c.cleartextPwd && c.showNoPwdWarning); // any non-zero word
        char out[CvxConfig::StoredSize];
        c.Encode(out);
        QCOMPARE(QByteArray(out + 28, 28).toHex(),
                 QByteArray("ffffffff" + QByteArray(24, '0') + "0102030405060708" "09000000"));
        QCOMPARE(QByteArray(out + 56, 32).toHex(), "00000000000000000100000001000000" + QByteArray(32, '0'));
        c.Decode(bytes.constData(), 30); // short: the rest reads as zero
        QCOMPARE(c.autolockMinutes, 0xffff);
        QCOMPARE(c.passwordLength, 0);
    }

    void passwordTests_data()
    {
        QTest::addColumn<QByteArray>("verifier");
        QTest::addColumn<bool>("hasPassword");
        QTest::addColumn<bool>("anyByte");
        QTest::newRow("zero") << QByteArray(8, '\0') << false << false;
        QTest::newRow("one byte") << QByteArray::fromHex("0000000000000003") << true << true;
        QTest::newRow("sum 256") << QByteArray::fromHex("c838000000000000") << false << true;
        QTest::newRow("sum 257") << QByteArray::fromHex("ff02000000000000") << true << true;
    }
    void passwordTests()
    {
        QFETCH(QByteArray, verifier);
        QFETCH(bool, hasPassword);
        QFETCH(bool, anyByte);
        open();
        std::memcpy(_AppCfg->verifier, verifier.constData(), 8);
        _AppCfg->passwordLength = 5; // the length never counts
        QCOMPARE(_AppCfg->hasPassword(), hasPassword);
        QCOMPARE(_AppCfg->anyVerifierByte(), anyByte);
    }

    void iconNames()
    {
        QTemporaryDir root;
        const QString icons = root.filePath(QStringLiteral("pics/korel/icons.18x14"));
        QVERIFY(QDir().mkpath(icons + QStringLiteral("/sub.png")));
        for (const char* f : {"card.small.png", "B.png", "a.png", ".hidden.png", "notes.txt"}) {
            QFile file(icons + QLatin1Char('/') + QLatin1String(f));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        const bool had = qEnvironmentVariableIsSet("QPEDIR");
        const QByteArray saved = qgetenv("QPEDIR");
        qputenv("QPEDIR", QFile::encodeName(root.path()));
        open();
        QCOMPARE(_AppCfg->iconNames, QStringList({".hidden.png", "a", "B", "card"}));
        had ? qputenv("QPEDIR", saved) : qunsetenv("QPEDIR");
    }

    void foreignFile()
    {
        // A file that is not ours gets a new header and the defaults.
        QFile f(m_path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(QByteArray(200, 'x'));
        f.close();
        open();
        QCOMPARE(_AppCfg->autolockMinutes, 5);
        CCategories cats;
        cats.LoadAll();
        QCOMPARE(cats.count, 12);
    }
};

QTEST_GUILESS_MAIN(TstConfig)
#include "tst_config.moc"
