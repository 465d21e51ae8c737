#include "faultrun.h"

#include "storage/cxfile.h"

#include <QDir>
#include <QtTest>

#include <sys/resource.h>

// The tool's changes on a disk that fails: each write-side call of the
// change fails in turn, and the tool must say success exactly when the
// change is in the file; otherwise it fails, and the file is as before,
// also once the next open has looked at the journal.
class TestToolFaults : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;
    const QString m_tool = QStringLiteral(VX_TEST_BINARY_DIR "/vaultix-tool");
    QByteArray m_base; // a new default data file
    QString m_csv;

    static QByteArray bytesOf(const QString& path)
    {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    // A folder of its own holding a copy of the default file.
    QString freshFile()
    {
        static int n = 0;
        const QString folder = m_dir.filePath(QString("run%1").arg(++n));
        QDir().mkpath(folder);
        QFile f(folder + "/Vaultix.Dat");
        f.open(QIODevice::WriteOnly);
        f.write(m_base);
        f.close();
        f.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        return f.fileName();
    }

    FaultRun import(const QString& file, int at = 0, int error = EIO)
    {
        return RunWithFault(m_tool, {"--file", file, "import", m_csv}, QByteArray(), QFileInfo(file).path(), at, error);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_csv = m_dir.filePath("one.csv");
        QFile csv(m_csv);
        QVERIFY(csv.open(QIODevice::WriteOnly));
        csv.write("Shop,login,pw\n");
        csv.close();
        const QString made = m_dir.filePath("base/Vaultix.Dat");
        QDir().mkpath(m_dir.filePath("base"));
        QCOMPARE(RunWithFault(m_tool, {"--file", made, "categories"}, QByteArray(), m_dir.filePath("base")).code, 0);
        m_base = bytesOf(made);
        QVERIFY(!m_base.isEmpty());
    }

    void importFails_data()
    {
        QTest::addColumn<int>("at");
        QTest::addColumn<int>("error");
        const FaultRun clean = import(freshFile());
        QCOMPARE(clean.code, 0);
        QVERIFY2(clean.calls > 8, clean.log.constData());
        QCOMPARE(import(freshFile(), 1).code, 1); // the shim does fail calls
        for (int at = 1; at <= clean.calls; ++at) {
            QTest::addRow("EIO at %d", at) << at << EIO;
            QTest::addRow("ENOSPC at %d", at) << at << ENOSPC;
        }
    }

    void importFails()
    {
        QFETCH(int, at);
        QFETCH(int, error);
        const QString file = freshFile();
        const FaultRun r = import(file, at, error);
        QVERIFY2(r.code == 0 || r.code == 1, r.err.constData());

        // The next open plays back whatever journal was left.
        {
            CxFile reopened("Vaultix0001");
            QCOMPARE(reopened.Open(QFile::encodeName(file).constData()), 0);
        }
        const FaultRun list = RunWithFault(m_tool, {"--file", file, "list"}, QByteArray(), QString());
        QCOMPARE(list.code, 0);
        QCOMPARE(RunWithFault(m_tool, {"--file", file, "check"}, QByteArray(), QString()).code, 0);
        const bool imported = list.out.contains("\tShop\t");
        if (r.code == 0)
            QVERIFY2(imported, "the tool said the record was imported, but it is not in the file");
        else
            QVERIFY2(!imported && bytesOf(file) == m_base, "the import failed, but the file changed");
    }

    // A sparse file longer than any record file is refused before it is
    // read, within a memory limit far below its length.
    void hugeFile()
    {
        const QString file = m_dir.filePath("huge.dat");
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(m_base) == m_base.size() && f.resize(qint64(3) << 30));
        const QString out = m_dir.filePath("huge.out");
        const QList<QPair<QStringList, int>> runs{{{"check"}, 1}, {{"list"}, 2}, {{"keys"}, 2}, {{"salvage", out}, 2}};
        for (const auto& [args, code] : runs) {
            QProcess p;
#ifndef __SANITIZE_ADDRESS__
            p.setChildProcessModifier([] {
                const rlimit limit{rlim_t(1) << 30, rlim_t(1) << 30};
                ::setrlimit(RLIMIT_AS, &limit);
            });
#endif
            p.start(m_tool, QStringList{"--file", file} + args);
            QVERIFY(p.waitForFinished(60000));
            const QByteArray said = args.first().toUtf8() + ": " + p.readAllStandardOutput() + p.readAllStandardError();
            QVERIFY2(p.exitStatus() == QProcess::NormalExit && p.exitCode() == code, said.constData());
            QVERIFY2(said.contains("longer than a record file can be") || said.contains("not a Vaultix data file"),
                     said.constData());
        }
        QVERIFY(!QFile::exists(out));
    }

    // A commit syncs the journal before it touches the file, the file before
    // it removes the journal, and the folder after that.
    void syncOrder()
    {
        const QString file = freshFile();
        const FaultRun r = import(file);
        QCOMPARE(r.code, 0);
        const QByteArray journal = QFile::encodeName(file + "-journal"), data = QFile::encodeName(file);
        auto at = [&](const QByteArray& call, qsizetype from) { return r.log.indexOf(' ' + call + '\n', from); };
        qsizetype made = at("open " + journal, 0);
        QVERIFY2(made >= 0, r.log.constData());
        for (; made >= 0; made = at("open " + journal, made + 1)) {
            const qsizetype synced = at("fsync " + journal, made), written = at("pwrite " + data, made);
            const qsizetype dataSynced = at("fsync " + data, made), removed = at("unlink " + journal, made);
            const qsizetype folderSynced = at("fsync " + QFile::encodeName(QFileInfo(file).path()), removed);
            QVERIFY2(made < synced && synced < written && written < dataSynced && dataSynced < removed
                         && removed < folderSynced,
                     r.log.constData());
        }
    }
};

QTEST_GUILESS_MAIN(TestToolFaults)
#include "tst_toolfaults.moc"
