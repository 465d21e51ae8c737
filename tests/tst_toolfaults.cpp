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
    QByteArray m_base;      // a new default data file
    QByteArray m_protected; // with a password and a protected record
    QString m_csv;

    static QByteArray bytesOf(const QString& path)
    {
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
    }

    // A folder of its own holding a copy of the default file.
    QString freshFile(const QByteArray& bytes = QByteArray())
    {
        static int n = 0;
        const QString folder = m_dir.filePath(QString("run%1").arg(++n));
        QDir().mkpath(folder);
        QFile f(folder + "/Vaultix.Dat");
        const QByteArray content = bytes.isEmpty() ? m_base : bytes;
        if (!f.open(QIODevice::WriteOnly) || f.write(content) != content.size())
            qFatal("cannot write %s", qPrintable(f.fileName()));
        f.close();
        f.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
        return f.fileName();
    }

    FaultRun import(const QString& file, int at = 0, int error = EIO)
    {
        return RunWithFault(m_tool, {"--file", file, "import", m_csv}, QByteArray(), QFileInfo(file).path(), at, error);
    }

    FaultRun passwd(const QString& file, int at = 0, int error = EIO)
    {
        return RunWithFault(m_tool, {"--file", file, "passwd"}, "old pw\nnew pw\nnew pw\n", QFileInfo(file).path(), at,
                            error);
    }

    // The protected record's secret as the password reads it; empty when
    // the password is refused.
    QByteArray secret(const QString& file, const QByteArray& password)
    {
        const FaultRun r = RunWithFault(m_tool, {"--file", file, "list", "--password-stdin"}, password + '\n', QString());
        return r.code == 0 && r.out.contains("\tBank\t") ? r.out.mid(r.out.indexOf("\tBank\t")).split('\n').first()
                                                          : QByteArray();
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        m_csv = m_dir.filePath("one.csv");
        QFile csv(m_csv);
        QVERIFY(csv.open(QIODevice::WriteOnly));
        QCOMPARE(csv.write("Shop,login,pw\n"), qint64(14));
        csv.close();
        const QString made = m_dir.filePath("base/Vaultix.Dat");
        QDir().mkpath(m_dir.filePath("base"));
        QCOMPARE(RunWithFault(m_tool, {"--file", made, "categories"}, QByteArray(), m_dir.filePath("base")).code, 0);
        m_base = bytesOf(made);
        QVERIFY(!m_base.isEmpty());

        const QString guarded = freshFile();
        QFile bank(m_dir.filePath("bank.csv"));
        QVERIFY(bank.open(QIODevice::WriteOnly));
        bank.write("Bank,My bank,ACCT-31415,PIN-2718\n");
        bank.close();
        QCOMPARE(RunWithFault(m_tool, {"--file", guarded, "import", bank.fileName()}, QByteArray(), QString()).code, 0);
        QCOMPARE(RunWithFault(m_tool, {"--file", guarded, "passwd"}, "\nold pw\nold pw\n", QString()).code, 0);
        m_protected = bytesOf(guarded);
        QVERIFY(secret(guarded, "old pw").contains("ACCT-31415"));
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

    // A password change re-enciphers every protected record and stores the
    // verifier in one change: whatever call fails, one of the two passwords
    // reads everything, and the tool says which.
    void passwdFails_data()
    {
        QTest::addColumn<int>("at");
        QTest::addColumn<int>("error");
        const FaultRun clean = passwd(freshFile(m_protected));
        QCOMPARE(clean.code, 0);
        QVERIFY2(clean.calls > 8, clean.log.constData());
        for (int at = 1; at <= clean.calls; ++at)
            QTest::addRow("%s at %d", at % 2 ? "EIO" : "ENOSPC", at) << at << (at % 2 ? EIO : ENOSPC);
    }

    void passwdFails()
    {
        QFETCH(int, at);
        QFETCH(int, error);
        const QString file = freshFile(m_protected);
        const FaultRun r = passwd(file, at, error);
        QVERIFY2(r.code == 0 || r.code == 1, r.err.constData());
        QCOMPARE(r.out.contains("Password changed."), r.code == 0);
        if (r.code == 0) {
            QVERIFY(secret(file, "new pw").contains("ACCT-31415"));
        } else {
            QVERIFY2(r.err.contains(error == ENOSPC ? "The disk is full." : "Input/output error"), r.err.constData());
            QVERIFY(secret(file, "old pw").contains("ACCT-31415"));
            QCOMPARE(bytesOf(file), m_protected);
        }
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
