#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "vault/categories.h"
#include "vault/record.h"
#include "vault/session.h"
#include "storage/cxfile.h"

#include <QFile>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QtEndian>
#include <QtTest>

#include <memory>

#include <unistd.h>

namespace {

struct Result
{
    int code = -1;
    QString out;
    QString err;
};

QByteArray readAll(const QString& path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

bool writeAll(const QString& path, const QByteArray& bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

qint32 word(const QByteArray& bytes, qint64 at)
{
    return qFromLittleEndian<qint32>(bytes.constData() + at);
}

void setWord(QByteArray& bytes, qint64 at, qint32 value)
{
    qToLittleEndian<qint32>(value, bytes.data() + at);
}

} // namespace

// Drives the built vaultix-tool on temporary data files.
class TestTool : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    const QString m_tool = QStringLiteral(VX_TEST_BINARY_DIR "/vaultix-tool");

    // `asUser`: as someone bound by file permissions, which root is not
    // (runs the tool as nobody then).
    Result run(const QStringList& args, const QByteArray& input = QByteArray(), bool asUser = false)
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_DATA_HOME", m_dir.filePath("xdg")); // away from the user's own file
        p.setProcessEnvironment(env);
        if (asUser && ::geteuid() == 0)
            p.start("setpriv", QStringList{"--reuid=65534", "--regid=65534", "--clear-groups", m_tool} + args);
        else
            p.start(m_tool, args);
        p.write(input);
        p.closeWriteChannel();
        const bool finished = p.waitForFinished(60000); // else killed with p
        return Result{finished && p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                      QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

    QString path(const QString& name) { return m_dir.filePath(name); }

    // A default file with three records written through the model: a
    // protected one, a plain one and one whose category does not exist.
    QString makeFileWithRecords(const QString& name)
    {
        CSession session(path(name));
        session.open();
        {
            const QStringList rows[] = {{"0", "My bank", "12345678", "4321", "", "", "", "line one\nline two"},
                                        {"3", "Mail", "me", "pw", "pop", "smtp", "", ""},
                                        {"77", "Orphan", "x", "", "", "", "", ""}};
            for (const QStringList& t : rows) {
                CRecord r;
                r.category = t[0].toInt();
                r.SetDataText(t[1], t[2], t[3], t[4], t[5], t[6], t[7]);
                r.WriteRecord(false);
            }
        }
        return path(name);
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY2(QFile::exists(m_tool), qPrintable(m_tool));
    }

    // Every exit code the tool promises, one row each. `file` names what
    // --file points at; the password is "secret" where one is set.
    void exitCodes_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("code");
        const QByteArray p32(32, 'p'), p33(33, 'p');
        QTest::newRow("help") << "sound" << QStringList{"list", "--help"} << QByteArray() << 0;
        QTest::newRow("no command") << "sound" << QStringList() << QByteArray() << 2;
        QTest::newRow("unknown command") << "sound" << QStringList{"frobnicate"} << QByteArray() << 2;
        QTest::newRow("password option") << "sound" << QStringList{"list", "--password", "x"} << QByteArray() << 2;
        QTest::newRow("show without key") << "sound" << QStringList{"show"} << QByteArray() << 2;
        QTest::newRow("check sound") << "sound" << QStringList{"check"} << QByteArray() << 0;
        QTest::newRow("check damaged") << "damaged" << QStringList{"check"} << QByteArray() << 1;
        QTest::newRow("check missing") << "missing" << QStringList{"check"} << QByteArray() << 2;
        QTest::newRow("check folder") << "folder" << QStringList{"check"} << QByteArray() << 2;
        QTest::newRow("check foreign") << "foreign" << QStringList{"check"} << QByteArray() << 1;
        QTest::newRow("list damaged") << "damaged" << QStringList{"list"} << QByteArray() << 1;
        QTest::newRow("list foreign") << "foreign" << QStringList{"list"} << QByteArray() << 2;
        QTest::newRow("list folder") << "folder" << QStringList{"list"} << QByteArray() << 2;
        QTest::newRow("unknown category") << "sound" << QStringList{"list", "--category", "Nope"} << QByteArray() << 2;
        QTest::newRow("unknown key") << "sound" << QStringList{"show", "4242"} << QByteArray() << 2;
        QTest::newRow("wrong password") << "password" << QStringList{"list", "--password-stdin"} << QByteArray("wrong\n") << 1;
        QTest::newRow("right password") << "password" << QStringList{"list", "--password-stdin"} << QByteArray("secret\n") << 0;
        QTest::newRow("passwords differ") << "sound" << QStringList{"passwd"} << QByteArray("\na\nb\n") << 1;
        QTest::newRow("32 characters") << "sound" << QStringList{"passwd"} << "\n" + p32 + "\n" + p32 + "\n" << 0;
        QTest::newRow("33 characters") << "sound" << QStringList{"passwd"} << "\n" + p33 + "\n" + p33 + "\n" << 2;
        QTest::newRow("passwd in use") << "in use" << QStringList{"passwd"} << QByteArray("\na\na\n") << 1;
        QTest::newRow("list in use") << "in use" << QStringList{"list"} << QByteArray() << 0;
    }

    void exitCodes()
    {
        QFETCH(QString, file);
        QFETCH(QStringList, args);
        QFETCH(QByteArray, input);
        QFETCH(int, code);
        QString target = path("codes/" + file + ".dat");
        QDir().mkpath(path("codes/folder.dat"));
        if (file == "sound" || file == "in use" || file == "damaged" || file == "password") {
            QFile::remove(target);
            QFile::copy(makeFileWithRecords("codes-source.dat"), target);
            QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner);
        }
        if (file == "damaged")
            QVERIFY(writeAll(target, readAll(target).chopped(40)));
        if (file == "foreign")
            QVERIFY(writeAll(target, QByteArray("NotOurs0001\0\0\0\0\0", 16) + QByteArray(148, '\1')));
        if (file == "password")
            QCOMPARE(run({"--file", target, "passwd"}, "\nsecret\nsecret\n").code, 0);
        CSession holder(target); // a running Vaultix
        if (file == "in use")
            QVERIFY(holder.lock());
        const QByteArray before = readAll(target);

        const Result r = run(QStringList{"--file", target} + args, input);
        QVERIFY2(r.code == code, qPrintable(QString("exit %1: %2").arg(r.code).arg(r.err)));
        if (code == 2 && QByteArray(QTest::currentDataTag()).contains("command"))
            QVERIFY(r.err.contains("Usage: vaultix-tool") && !r.err.startsWith("Usage:")); // what is wrong first
        if (code != 0 && file != "missing")
            QCOMPARE(readAll(target), before); // a refusal writes nothing
        if (file == "missing")
            QVERIFY(!QFile::exists(target));
        if (file == "in use" && code)
            QVERIFY2(r.err.contains("already in use"), qPrintable(r.err));
        QVERIFY(!QFile::exists(path("xdg/Vaultix/Vaultix.Dat"))); // --file is always used
    }

    void defaultFileAndCheck()
    {
        const QString file = path("fresh.dat");
        Result r = run({"--file", file, "categories"});
        QCOMPARE(r.code, 0);
        const QStringList lines = r.out.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 12);
        QCOMPARE(lines.first(), QString("0\tBank\tprotected\ticon_dollar"));
        QCOMPARE(lines.last(), QString("7\tWeb Login\tplain\ticon_world"));
        QVERIFY(lines.contains("8\tCombination lock\tprotected\ticon_combolock"));

        QString keys = "0 88\n100 1\n";
        for (int k = 101; k <= 112; ++k)
            keys += QString("%1 264\n").arg(k);
        r = run({"keys", "--file", file});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, keys + "1000 1\n");

        r = run({"--file=" + file, "check"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("OK: %1 is sound (15 records, %2 blocks)\n").arg(file).arg((readAll(file).size() - 36) / 128));

        // Damaged: one problem a line, exit 1, and no command writes through it.
        QFile f(file);
        const QByteArray bytes = readAll(file).chopped(40);
        QVERIFY(f.open(QIODevice::WriteOnly) && f.write(bytes) == bytes.size());
        f.close();
        r = run({"--file", file, "check"});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.out.contains("cut-off block") && !r.out.contains("OK:"), qPrintable(r.out));
        r = run({"--file", file, "passwd"}, "\nsecret\nsecret\n");
        QCOMPARE(r.code, 1);
        QCOMPARE(readAll(file), bytes);
    }

    // The reading commands work on a file the user may only read, and
    // never write to it; passwd is refused cleanly.
    void readOnlyFile_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::newRow("check") << QStringList{"check"} << 0;
        QTest::newRow("keys") << QStringList{"keys"} << 0;
        QTest::newRow("categories") << QStringList{"categories"} << 0;
        QTest::newRow("list") << QStringList{"list", "--password-stdin"} << 0;
        QTest::newRow("show") << QStringList{"show", "1002"} << 0;
        QTest::newRow("passwd") << QStringList{"passwd"} << 2;
    }
    void readOnlyFile()
    {
        QFETCH(QStringList, args);
        QFETCH(int, code);
        if (::geteuid() == 0 && QStandardPaths::findExecutable("setpriv").isEmpty())
            QSKIP("running as root without setpriv: permissions cannot be tested");
        QTemporaryDir open; // a folder others may enter
        QVERIFY(QFile::setPermissions(open.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
                                                       | QFile::ReadOther | QFile::ExeOther));
        const QString file = open.filePath("ro.dat");
        QVERIFY(QFile::copy(makeFileWithRecords("ro-source.dat"), file));
        QVERIFY(QFile::setPermissions(file, QFile::ReadOwner | QFile::ReadOther));
        const QByteArray before = readAll(file);
        const QDateTime modified = QFileInfo(file).lastModified();

        const Result r = run(QStringList{"--file", file} + args, "\n\n\n", true);
        QVERIFY2(r.code == code, qPrintable(r.err));
        QVERIFY(code == 0 ? r.err.isEmpty() : r.err.contains("cannot be opened for reading and writing"));
        QCOMPARE(readAll(file), before);
        QCOMPARE(QFileInfo(file).lastModified(), modified);
    }

    // salvage: a sound file comes out whole; a damaged one as far as it
    // reads, without being written to; an existing OUT is refused.
    void salvage()
    {
        const QString file = makeFileWithRecords("salvage.dat");
        const QString listing = run({"--file", file, "list"}).out;
        QCOMPARE(run({"--file", file, "salvage", path("whole.dat")}).code, 0);
        QCOMPARE(run({"--file", path("whole.dat"), "list"}).out, listing);
        const QByteArray whole = readAll(path("whole.dat"));
        QCOMPARE(run({"--file", file, "salvage", path("whole.dat")}).code, 2);
        QCOMPARE(readAll(path("whole.dat")), whole);

        // A broken link in the index chain: what follows is found by scanning.
        QByteArray bytes = readAll(file);
        const qint32 first = word(bytes, CxLayout::HdFirstIndex);
        setWord(bytes, first + CxLayout::IxNext, 999999);
        QVERIFY(writeAll(path("broken.dat"), bytes));
        Result r = run({"--file", path("broken.dat"), "check"});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.out.contains("salvage OUT"), qPrintable(r.out));
        r = run({"--file", path("broken.dat"), "salvage", path("fixed.dat")});
        QCOMPARE(r.code, 1); // a broken link may hide records
        QVERIFY2(r.out.contains("Recovered 18 records") && r.out.contains("offset 999999"), qPrintable(r.out));
        QCOMPARE(readAll(path("broken.dat")), bytes);
        QCOMPARE(run({"--file", path("fixed.dat"), "check"}).code, 0);
        QCOMPARE(run({"--file", path("fixed.dat"), "list"}).out, listing);

        // The settings record unreadable: left behind, and the new file gets
        // the defaults so that it opens.
        bytes = readAll(file);
        setWord(bytes, first + CxLayout::entryAt(0) + CxLayout::EnFirst, 7);
        QVERIFY(writeAll(path("nosettings.dat"), bytes));
        r = run({"--file", path("nosettings.dat"), "salvage", path("defaults.dat")});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.out.contains("Left behind: key 0:") && r.out.contains("default: the settings"), qPrintable(r.out));
        QVERIFY(run({"--file", path("defaults.dat"), "keys"}).out.startsWith("0 88\n100 1\n101 264\n"));
        QCOMPARE(run({"--file", path("defaults.dat"), "list"}).out, listing);
    }

    void recordsAndPasswords()
    {
        const QString file = makeFileWithRecords("records.dat");
        auto tool = [&](const QStringList& args, const QByteArray& input = QByteArray()) {
            return run(QStringList{"--file", file} + args, input);
        };
        const QString bank = "1001\tBank\tMy bank\t12345678\t4321\n";
        const QString shown = "Category: Bank\nBank: My bank\nAccount #: 12345678\nPIN: 4321\nNote: line one\nline two\n";
        QCOMPARE(tool({"list"}).out, bank + "1002\tEmail\tMail\tme\tpw\n1003\t-- CORRUPT RECORD --\tOrphan\tx\t\n");
        QCOMPARE(tool({"list", "--category", "EMAIL"}).out, QString("1002\tEmail\tMail\tme\tpw\n"));
        QCOMPARE(tool({"show", "1001"}).out, shown);
        QCOMPARE(tool({"show", "4242"}).code, 2);

        // Every command that opens the file checks it first, so the listings
        // below also show each password change left it sound.
        Result r = tool({"passwd"}, "\nsecret\nsecret\n");
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("Password set.\n"));
        QVERIFY(!readAll(file).contains("12345678"));
        // Locked: protected texts masked, field 1 and plain categories not.
        QVERIFY(tool({"list"}).out.startsWith("1001\tBank\tMy bank\t******\t******\n1002\tEmail\tMail\tme\tpw\n"));
        QVERIFY(tool({"show", "1001"}, "secret\n").out.endsWith("PIN: ******\nNote: ******\n"));
        QCOMPARE(tool({"show", "1001", "--password-stdin"}, "secret\n").out, shown);
        r = tool({"list", "--password-stdin"}, "wrong\n");
        QCOMPARE(r.code, 1);
        QVERIFY(r.out.isEmpty() && !r.err.contains("wrong")); // nor echoed

        // Refusals change nothing, byte for byte.
        const QByteArray before = readAll(file);
        r = tool({"passwd"}, "wrong\nnew\nnew\n");
        QCOMPARE(r.code, 1);
        QCOMPARE(r.err, QString("The old password you entered is incorrect.\n"));
        r = tool({"passwd"}, "secret\nnew\nnwe\n");
        QCOMPARE(r.code, 1);
        QCOMPARE(r.err, QString("The new passwords you entered do not match.\n"));
        QCOMPARE(tool({"passwd"}, "secret\n" + QByteArray(33, 'a') + "\n" + QByteArray(33, 'a') + "\n").code, 2);
        QCOMPARE(readAll(file), before);

        QCOMPARE(tool({"passwd"}, "secret\nother\nother").out, QString("Password changed.\n")); // no final line end
        QCOMPARE(tool({"list", "--password-stdin"}, "secret\n").code, 1);
        QVERIFY(tool({"list", "--password-stdin"}, "other\n").out.startsWith(bank));

        QCOMPARE(tool({"passwd"}, "other\n").out, QString("Password removed.\n")); // missing lines are empty
        QVERIFY(tool({"list"}).out.startsWith(bank));
        QVERIFY(readAll(file).contains("12345678"));
    }

    // import / export: the refusals change nothing; what is exported
    // imports again.
    void csvImportExport()
    {
        const QString file = makeFileWithRecords("csv.dat");
        auto tool = [&](QStringList args, const QByteArray& input = QByteArray()) {
            return run(QStringList{"--file", file} + args, input);
        };
        const QString csv = path("in.csv");
        QVERIFY(writeAll(csv, "Shop,login,pw\nbank,acc,1234\n"));
        QCOMPARE(tool({"passwd"}, "\nsecret\nsecret\n").code, 0);
        const QByteArray before = readAll(file);

        struct Refusal { QStringList args; QByteArray input; };
        const Refusal refusals[] = {
            {{"import", path("absent.csv")}, {}},
            {{"import", path("")}, {}},                         // a folder
            {{"import", csv}, {}},                              // password set, not given
            {{"import", csv, "--password-stdin"}, "wrong\n"},
            {{"export", csv}, {}},                              // exists, no --force
            {{"export", file, "--force"}, {}},                  // the data file itself
        };
        for (const Refusal& r : refusals) {
            const Result got = tool(r.args, r.input);
            QVERIFY2(got.code == 1, qPrintable(r.args.join(' ') + ": " + got.err));
            QVERIFY(!got.err.isEmpty());
        }
        QCOMPARE(readAll(file), before);
        QCOMPARE(readAll(csv), QByteArray("Shop,login,pw\nbank,acc,1234\n"));

        Result r = tool({"import", csv, "--password-stdin"}, "secret\n");
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("2 records imported\n"));
        QCOMPARE(tool({"check"}).code, 0);

        // Without the password protected texts are masked, with a warning.
        r = tool({"export", "-"});
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.contains("\"Bank\",\"acc\",\"******\""));
        QVERIFY(r.err.contains("******") && r.err.endsWith("5 records exported\n"));
        const QString out = path("out.csv");
        r = tool({"export", out, "--password-stdin"}, "secret\n");
        QCOMPARE(r.out, QString("5 records exported\n"));
        const QByteArray written = readAll(out);
        QVERIFY(written.contains("\"Bank\",\"acc\",\"1234\""));
        QVERIFY(written.contains("\"Bank\",\"My bank\",\"12345678\",\"4321\",\"\",\"\",\"\",\"line one line two\""));
        QCOMPARE(tool({"export", out, "--force"}).code, 0);
        QVERIFY(readAll(out).contains("\"******\""));

        // The import takes the lock of the file.
        CSession holder(file);
        QVERIFY(holder.lock());
        QCOMPARE(tool({"import", csv, "--password-stdin"}, "secret\n").code, 1);
    }
};

QTEST_GUILESS_MAIN(TestTool)
#include "tst_tool.moc"
