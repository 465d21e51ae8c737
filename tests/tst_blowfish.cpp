#include "security/blowfish.h"
#include "security/fieldcrypt.h"

#include <QByteArray>
#include <QRandomGenerator>
#include <QtTest>

#include <cstring>

namespace {

// Published vectors are big-endian per half; the stored format is
// little-endian, so each 4-byte half is reversed on the way in and out.
QByteArray SwapHalves(QByteArray b)
{
    for (int i = 0; i + 4 <= b.size(); i += 4) {
        std::swap(b[i], b[i + 3]);
        std::swap(b[i + 1], b[i + 2]);
    }
    return b;
}

void Key(BLOWFISH_CTX* c, const QByteArray& key)
{
    bf_setPwd(c, key.constData(), int(key.size()));
}

QByteArray Encrypted(const BLOWFISH_CTX* c, QByteArray data)
{
    bf_encrypt(c, data.data(), int(data.size()));
    return data;
}

bool SameSchedule(const BLOWFISH_CTX& a, const BLOWFISH_CTX& b)
{
    return std::memcmp(&a, &b, sizeof(BLOWFISH_CTX)) == 0;
}

QByteArray RandomBytes(int n)
{
    QByteArray b(n, Qt::Uninitialized);
    for (int i = 0; i < n; ++i)
        b[i] = char(QRandomGenerator::global()->bounded(256));
    return b;
}

} // namespace

class TestBlowfish : public QObject
{
    Q_OBJECT

private slots:
    void referenceVectors_data();
    void referenceVectors();
    void storedByteOrder();
    void blockCoverage_data();
    void blockCoverage();
    void roundTrip_data();
    void roundTrip();
    void keySchedule();
    void passwordKeying();
};

void TestBlowfish::referenceVectors_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<QByteArray>("plain");
    QTest::addColumn<QByteArray>("cipher");
    auto row = [](const char* k, const char* p, const char* c) {
        QTest::addRow("%s/%s", k, p) << QByteArray::fromHex(k) << QByteArray::fromHex(p)
                                     << QByteArray::fromHex(c);
    };
    row("0000000000000000", "0000000000000000", "4EF997456198DD78");
    row("FFFFFFFFFFFFFFFF", "FFFFFFFFFFFFFFFF", "51866FD5B85ECB8A");
    row("3000000000000000", "1000000000000001", "7D856F9A613063F2");
    row("1111111111111111", "1111111111111111", "2466DD878B963C9D");
    row("0123456789ABCDEF", "1111111111111111", "61F9C3802281B096");
    row("1111111111111111", "0123456789ABCDEF", "7D0CC630AFDA1EC7");
    row("FEDCBA9876543210", "0123456789ABCDEF", "0ACEAB0FC6A0A28D");
    row("7CA110454A1A6E57", "01A1D6D039776742", "59C68245EB05282B");
    // A 24-byte key from the variable-key-length set.
    row("F0E1D2C3B4A5968778695A4B3C2D1E0F0011223344556677", "FEDCBA9876543210",
        "05044B62FA52D080");
}

void TestBlowfish::referenceVectors()
{
    QFETCH(QByteArray, key);
    QFETCH(QByteArray, plain);
    QFETCH(QByteArray, cipher);

    BLOWFISH_CTX c;
    Key(&c, key);

    // The core on big-endian words.
    uint32_t xl = qFromBigEndian<quint32>(plain.constData());
    uint32_t xr = qFromBigEndian<quint32>(plain.constData() + 4);
    Blowfish_Encrypt(&c, &xl, &xr);
    QCOMPARE(xl, qFromBigEndian<quint32>(cipher.constData()));
    QCOMPARE(xr, qFromBigEndian<quint32>(cipher.constData() + 4));

    // The buffer interface matches only after reversing each half.
    const QByteArray stored = Encrypted(&c, SwapHalves(plain));
    QCOMPARE(SwapHalves(stored), cipher);
    QVERIFY(Encrypted(&c, plain) != cipher);

    QByteArray back = stored;
    bf_decrypt(&c, back.data(), int(back.size()));
    QCOMPARE(SwapHalves(back), plain);
}

void TestBlowfish::storedByteOrder()
{
    // Zero key, zero block: the bytes a file holds, fixed for good.
    BLOWFISH_CTX c;
    Key(&c, QByteArray(8, '\0'));
    QCOMPARE(Encrypted(&c, QByteArray(8, '\0')), QByteArray::fromHex("4597F94E78DD9861"));
}

void TestBlowfish::blockCoverage_data()
{
    QTest::addColumn<int>("len");
    QTest::addColumn<int>("touched");
    QTest::newRow("negative") << -3 << 0;
    QTest::newRow("zero") << 0 << 0;
    QTest::newRow("one") << 1 << 8;
    QTest::newRow("seven") << 7 << 8;
    QTest::newRow("eight") << 8 << 8;
    QTest::newRow("nine") << 9 << 16;
    QTest::newRow("sixteen") << 16 << 16;
    QTest::newRow("seventeen") << 17 << 24;
}

void TestBlowfish::blockCoverage()
{
    QFETCH(int, len);
    QFETCH(int, touched);

    BLOWFISH_CTX c;
    Key(&c, "coverage");
    const int guard = 16;
    const int room = 32;
    QByteArray buf(guard + room + guard, '\x5A');
    const QByteArray before = buf;
    char* data = buf.data() + guard; // detaches from the copy above

    bf_encrypt(&c, data, len);
    QCOMPARE(buf.left(guard), before.left(guard));
    QCOMPARE(buf.mid(guard + touched), before.mid(guard + touched));
    for (int off = 0; off < touched; off += 8)
        QVERIFY2(buf.mid(guard + off, 8) != before.mid(guard + off, 8),
                 qPrintable(QString("block at %1 not enciphered").arg(off)));

    bf_decrypt(&c, data, len);
    QCOMPARE(buf, before);
}

void TestBlowfish::roundTrip_data()
{
    QTest::addColumn<QByteArray>("key");
    QTest::addColumn<int>("len");
    QTest::newRow("empty key, one block") << QByteArray() << 8;
    QTest::newRow("short key, ragged tail") << QByteArray("k") << 13;
    QTest::newRow("field, 64") << QByteArray("master password") << 64;
    QTest::newRow("note, 257") << QByteArray("master password") << 257;
    QTest::newRow("long key") << QByteArray(200, 'q') << 1000;
}

void TestBlowfish::roundTrip()
{
    QFETCH(QByteArray, key);
    QFETCH(int, len);

    BLOWFISH_CTX c;
    Blowfish_Init(&c, reinterpret_cast<const unsigned char*>(key.constData()), int(key.size()));
    // The whole rounded-up buffer is random so that the bytes past len must
    // come back too.
    const QByteArray plain = RandomBytes((len + 7) / 8 * 8);
    QByteArray buf = plain;
    bf_encrypt(&c, buf.data(), len);
    QVERIFY(buf != plain);
    bf_decrypt(&c, buf.data(), len);
    QCOMPARE(buf, plain);
}

void TestBlowfish::keySchedule()
{
    BLOWFISH_CTX a, b;

    // Only the first 72 key bytes reach the schedule.
    const QByteArray base = RandomBytes(72);
    Key(&a, base + "tail one");
    Key(&b, base + "another, longer tail");
    QVERIFY(SameSchedule(a, b));

    // No 56-byte cut-off: bytes 57..72 still count.
    Key(&a, base.left(56));
    Key(&b, base.left(57));
    QVERIFY(!SameSchedule(a, b));

    // The key repeats cyclically, carrying on across P entries.
    Key(&a, "x");
    Key(&b, QByteArray(72, 'x'));
    QVERIFY(SameSchedule(a, b));
    Key(&a, "abc");
    Key(&b, QByteArray("abc").repeated(24));
    QVERIFY(SameSchedule(a, b));

    // A length of 0 or below reads the first byte throughout.
    const unsigned char k[] = {'z', 'y'};
    Blowfish_Init(&a, k, 0);
    Key(&b, "z");
    QVERIFY(SameSchedule(a, b));
    Blowfish_Init(&a, k, -7);
    QVERIFY(SameSchedule(a, b));
}

void TestBlowfish::passwordKeying()
{
    BLOWFISH_CTX expect;

    // The key is the Latin-1 bytes of the password, without terminator.
    const QString pwd = QString::fromUtf8("Pässwörd");
    EncryptSetPwd(pwd);
    Key(&expect, pwd.toLatin1());
    QCOMPARE(pwd.toLatin1().size(), pwd.size());
    QVERIFY(SameSchedule(ctx, expect));

    EncryptSetPwd(QStringLiteral("7"));
    Key(&expect, QByteArray(72, '7'));
    QVERIFY(SameSchedule(ctx, expect));

    // The empty password keys with the terminator byte.
    EncryptSetPwd(QString());
    Key(&expect, QByteArray(1, '\0'));
    QVERIFY(SameSchedule(ctx, expect));

    // Characters beyond Latin-1 (one outside the BMP included) still key
    // the schedule from the toolkit's conversion.
    const QString wide = QString::fromUtf8("€uro \xF0\x9F\x94\x91");
    EncryptSetPwd(wide);
    Key(&expect, wide.toLatin1());
    QVERIFY(SameSchedule(ctx, expect));

    // The field functions run on the global schedule.
    QByteArray buf("protected text\0\0", 16);
    const QByteArray plain = buf;
    EncryptData(buf.data(), 14);
    QCOMPARE(buf, Encrypted(&expect, plain));
    DecryptData(buf.data(), 14);
    QCOMPARE(buf, plain);
}

QTEST_GUILESS_MAIN(TestBlowfish)
#include "tst_blowfish.moc"
