// Opening the data file at start: what is refused is left byte for byte as
// it was, and the user is told which file and why.

#include "platform/messagebox.h"
#include "platform/qpeapplication.h"
#include "tools/demodata.h"
#include "ui/startup.h"
#include "vault/vault.h"

#include <QAbstractButton>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

namespace {

QByteArray bytesOf(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

void writeBytes(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    QVERIFY(f.open(QIODevice::WriteOnly));
    f.write(bytes);
}

// Shown paths may carry break chances after each '/'.
QString plain(QString text)
{
    return text.remove(QChar(0x200B));
}

} // namespace

class TstStartup : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    int m_files = 0;

private slots:
    void cleanup() { CMessageBox::setHook({}); }

    void openDataFile_data()
    {
        QTest::addColumn<QString>("kind");
        QTest::addColumn<int>("answer"); // the button pressed in the box, if one comes
        QTest::addColumn<bool>("opened");
        QTest::addColumn<QString>("said"); // part of the box's text; empty: no box

        QTest::newRow("missing: made new") << "missing" << 0 << true << QString();
        QTest::newRow("empty: made new") << "empty" << 0 << true << QString();
        QTest::newRow("sound") << "sound" << 0 << true << QString();
        QTest::newRow("foreign") << "foreign" << int(QMessageBox::Ok) << false << "is not a Vaultix data file";
        QTest::newRow("a folder") << "folder" << int(QMessageBox::Ok) << false << "cannot be opened";
        QTest::newRow("in use by another Vaultix") << "inuse" << int(QMessageBox::Ok) << false << "already in use";
        QTest::newRow("damaged: quit") << "damaged" << int(QMessageBox::No) << false << "free list head";
        QTest::newRow("damaged: copy and go on") << "damaged" << int(QMessageBox::Yes) << true << "free list head";
    }

    void openDataFile()
    {
        QFETCH(QString, kind);
        QFETCH(int, answer);
        QFETCH(bool, opened);
        QFETCH(QString, said);

        const QString folder = m_dir.filePath(QString::number(m_files++));
        QVERIFY(QDir().mkpath(folder));
        const QString path = folder + QStringLiteral("/Vaultix.Dat");
        CSession other(path);
        if (kind == "empty") {
            writeBytes(path, QByteArray());
        } else if (kind == "foreign") {
            writeBytes(path, QByteArray("Shopping list: milk, bread, eggs, and more.\n").repeated(8));
        } else if (kind == "folder") {
            QVERIFY(QDir().mkpath(path));
        } else if (kind != "missing") {
            QVERIFY(WriteDemoData(path, 5, QStringLiteral("secret")));
            if (kind == "damaged") {
                // The free list now starts beyond the end of the file.
                QByteArray bytes = bytesOf(path);
                qToLittleEndian<qint32>(qint32(bytes.size() + 384), bytes.data() + 32);
                writeBytes(path, bytes);
            } else if (kind == "inuse") {
                QVERIFY(other.lock());
            }
        }
        const QByteArray before = bytesOf(path);

        QStringList boxes;
        CMessageBox::setHook([&](QMessageBox& box) {
            boxes << plain(box.text());
            QTest::mouseClick(box.button(QMessageBox::StandardButton(answer)), Qt::LeftButton);
        });
        CVault vault(path);
        QCOMPARE(CStartup::openDataFile(vault), opened);
        QCOMPARE(vault.isOpen(), opened);
        // Opened means read: the categories are in memory.
        QCOMPARE(vault.categories().count > 0, opened);
        vault.close();

        if (said.isEmpty()) {
            QCOMPARE(boxes, QStringList());
        } else {
            QCOMPARE(boxes.size(), 1);
            QVERIFY2(boxes.first().contains(said), qPrintable(boxes.first()));
            QVERIFY2(boxes.first().contains(path), qPrintable(boxes.first()));
        }

        const QStringList copies = QDir(folder).entryList({QStringLiteral("Vaultix.Dat.damaged-*")}, QDir::Files);
        if (kind == "damaged" && opened) {
            QCOMPARE(copies.size(), 1);
            QVERIFY(QRegularExpression(QStringLiteral("^Vaultix\\.Dat\\.damaged-\\d{8}-\\d{6}$"))
                        .match(copies.first())
                        .hasMatch());
            QCOMPARE(bytesOf(folder + QLatin1Char('/') + copies.first()), before);
        } else {
            QCOMPARE(copies, QStringList());
        }
        if (!opened)
            QCOMPARE(bytesOf(path), before); // not a byte changed
        if (kind == "missing" || kind == "empty") {
            CSession again(path);
            QCOMPARE(again.probe(), CSession::Sound);
        }
    }
};

int main(int argc, char** argv)
{
    QPEApplication app(argc, argv);
    TstStartup test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_startup.moc"
