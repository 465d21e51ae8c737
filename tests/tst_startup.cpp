// Opening the data file at start: what is refused is left byte for byte as
// it was, and the user is told which file and why.

#include "vaulttest.h"

#include "platform/messagebox.h"
#include "platform/qpeapplication.h"
#include "tools/demodata.h"
#include "ui/startup.h"

#include <QAbstractButton>
#include <QDir>
#include <QtEndian>

namespace {

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
            QVERIFY(writeBytes(path, QByteArray()));
        } else if (kind == "foreign") {
            QVERIFY(writeBytes(path, QByteArray("Shopping list: milk, bread, eggs, and more.\n").repeated(8)));
        } else if (kind == "folder") {
            QVERIFY(QDir().mkpath(path));
        } else if (kind != "missing") {
            QVERIFY(WriteDemoData(path, 5, QStringLiteral("secret")));
            if (kind == "damaged") {
                // The free list now starts beyond the end of the file.
                QByteArray bytes = fileBytes(path);
                qToLittleEndian<qint32>(qint32(bytes.size() + 384), bytes.data() + 32);
                QVERIFY(writeBytes(path, bytes));
            } else if (kind == "inuse") {
                QVERIFY(other.lock());
            }
        }
        const QByteArray before = fileBytes(path);

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

        QCOMPARE(boxes.size(), int(!said.isEmpty()));
        for (const QString& box : boxes)
            QVERIFY2(box.contains(said) && box.contains(path), qPrintable(box));

        const QStringList copies = QDir(folder).entryList({QStringLiteral("Vaultix.Dat.damaged-*")}, QDir::Files);
        QCOMPARE(copies.size(), int(kind == "damaged" && opened));
        for (const QString& copy : copies) {
            QVERIFY(QRegularExpression(QStringLiteral("^Vaultix\\.Dat\\.damaged-\\d{8}-\\d{6}$")).match(copy).hasMatch());
            QCOMPARE(fileBytes(folder + QLatin1Char('/') + copy), before);
        }
        if (!opened)
            QCOMPARE(fileBytes(path), before); // not a byte changed
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
