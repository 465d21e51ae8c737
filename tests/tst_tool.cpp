#include "vaulttest.h"

#include "vault/password.h"

#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QtEndian>

#include <unistd.h>

namespace {

struct Result
{
    int code = -1;
    QString out;
    QString err;
};

} // namespace

// Drives the built vaultix-tool on temporary data files.
class TestTool : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    const QString m_tool = QStringLiteral(VX_TEST_BINARY_DIR "/vaultix-tool");
    QString m_records; // three records, copied for each test

    // `wrapper`: a command that runs the tool, given as its last arguments.
    Result run(const QStringList& args, const QByteArray& input = QByteArray(), const QStringList& wrapper = {})
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert("XDG_DATA_HOME", m_dir.filePath("xdg")); // away from the user's own file
        p.setProcessEnvironment(env);
        if (wrapper.isEmpty())
            p.start(m_tool, args);
        else
            p.start(wrapper.first(), wrapper.mid(1) + QStringList{m_tool} + args);
        p.write(input);
        p.closeWriteChannel();
        const bool finished = p.waitForFinished(60000); // else killed with p
        return Result{finished && p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1,
                      QString::fromUtf8(p.readAllStandardOutput()), QString::fromUtf8(p.readAllStandardError())};
    }

    // As someone bound by file permissions, which root is not.
    static QStringList asUser()
    {
        return ::geteuid() != 0 ? QStringList() : QStringList{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    }

    QString path(const QString& name) { return m_dir.filePath(name); }

    // `file`: a path, or a name in the test's folder.
    QString copyOfRecords(const QString& file)
    {
        const QString to = QDir(m_dir.path()).filePath(file);
        QFile::remove(to);
        QFile::copy(m_records, to);
        return QFile::setPermissions(to, QFile::ReadOwner | QFile::WriteOwner) ? to : QString();
    }

    // A default file with a protected record, a plain one and one whose
    // category does not exist.
    static bool makeRecords(const QString& file)
    {
        CVault vault(file);
        return vault.open() && addRecord(vault, 0, {"My bank", "12345678", "4321", "", "", "", "line one\nline two"}) > 0
               && addRecord(vault, 3, {"Mail", "me", "pw", "pop", "smtp"}) > 0 && addOrphan(vault, 1003, {"Orphan", "x"});
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY2(QFile::exists(m_tool), qPrintable(m_tool));
        // Others may enter, for the runs as another user.
        QVERIFY(QFile::setPermissions(m_dir.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner
                                                        | QFile::ReadOther | QFile::ExeOther));
        m_records = path("template.dat");
        QVERIFY(makeRecords(m_records));
        QVERIFY(writeBytes(path("in.csv"), "Shop,login,pw\nbank,acc,1234\n"));
    }

    // Help that was asked for goes to standard output, exit 0; a usage
    // error says what is wrong, then shows the usage on standard error,
    // exit 2. `usage`: the start of the usage shown.
    void usage_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("usage");
        auto row = [](const char* tag, const QStringList& args, int code, const QString& shown) {
            QTest::newRow(tag) << args << code << "Usage: vaultix-tool [--file PATH] " + shown;
        };
        for (const char* command : {"check", "keys", "list", "find", "show", "categories", "passwd", "salvage",
                                    "import", "export", "generate"}) {
            QTest::addRow("help %s", command) << QStringList{"help", command} << 0
                                              << QString("Usage: vaultix-tool [--file PATH] %1").arg(command);
            QTest::addRow("%s --help", command) << QStringList{command, "--help"} << 0
                                                << QString("Usage: vaultix-tool [--file PATH] %1").arg(command);
        }
        row("--help", {"--help"}, 0, "COMMAND ");
        row("help", {"help"}, 0, "COMMAND ");
        row("--file, -h, command", {"--file", "x", "-h", "keys"}, 0, "keys\n");
        row("no command", {}, 2, "COMMAND ");
        row("unknown command", {"frobnicate"}, 2, "COMMAND ");
        row("help unknown", {"help", "frobnicate"}, 2, "COMMAND ");
        row("password option", {"list", "--password", "x"}, 2, "list ");
        row("option of another", {"list", "--force"}, 2, "list ");
        row("empty category", {"list", "--category="}, 2, "list ");
        row("no key", {"show"}, 2, "show ");
        row("field 7", {"show", "1", "--field", "7"}, 2, "show ");
        row("find nothing", {"find"}, 2, "find ");
        row("length 7", {"generate", "--length", "7"}, 2, "generate ");
        row("no class left", {"generate", "--no-lower", "--no-upper", "--no-digits", "--no-symbols"}, 2,
            "generate ");
        row("--file twice", {"--file", "a", "keys", "--file", "b"}, 2, "keys\n");
    }

    void usage()
    {
        QFETCH(QStringList, args);
        QFETCH(int, code);
        QFETCH(QString, usage);
        const Result r = run(args);
        QCOMPARE(r.code, code);
        QVERIFY((code ? r.out : r.err).isEmpty());
        const QString& shown = code ? r.err : r.out;
        // What is wrong first, alone on its line.
        const QString expected = code ? "\n\n" + usage : usage;
        QVERIFY2(shown.indexOf(expected) == (code ? shown.indexOf(u'\n') : 0), qPrintable(shown));
        QVERIFY(code == 0 || shown.startsWith("vaultix-tool: "));
        QVERIFY(!QFile::exists(path("xdg/Vaultix/Vaultix.Dat")));
    }

    // Every exit code the tool promises, one row each; a refusal or a
    // failed change leaves the file as it was and prints no success line.
    // `file` names what --file points at; the password is "secret" where
    // one is set. `error`: a text the tool must print.
    void exitCodes_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<QByteArray>("input");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("error");
        auto row = [](const char* tag, const char* file, const QStringList& args, const QByteArray& input, int code,
                      const QString& error = QString()) {
            QTest::newRow(tag) << QString(file) << args << input << code << error;
        };
        const QByteArray p32 = "\n" + QByteArray(32, 'p') + "\n" + QByteArray(32, 'p') + "\n";
        const QByteArray p33 = "\n" + QByteArray(33, 'p') + "\n" + QByteArray(33, 'p') + "\n";
        const QString notLatin1 = Password::NotLatin1Text();
        const QStringList unlock = {"list", "--password-stdin"};
        const QStringList import = {"import", path("in.csv"), "--password-stdin"};
        row("check sound", "sound", {"check"}, {}, 0);
        row("check damaged", "damaged", {"check"}, {}, 1, "cut-off block");
        row("check missing", "missing", {"check"}, {}, 2);
        row("check folder", "folder", {"check"}, {}, 2);
        row("check foreign", "foreign", {"check"}, {}, 1);
        row("list damaged", "damaged", {"list"}, {}, 1);
        row("keys damaged", "damaged", {"keys"}, {}, 1, "is damaged");
        row("passwd damaged", "damaged", {"passwd"}, "\na\na\n", 1);
        row("list foreign", "foreign", {"list"}, {}, 2);
        row("unknown category", "sound", {"list", "--category", "Nope"}, {}, 2);
        row("unknown key", "sound", {"show", "4242"}, {}, 2);
        row("wrong password", "password", unlock, "wrong\n", 1, "The password is incorrect.");
        row("right password", "password", unlock, "secret\n", 0);
        row("protected field, locked", "password", {"show", "1001", "--field", "2"}, {}, 1, "protected");
        row("wrong old password", "password", {"passwd"}, "wrong\nnew\nnew\n", 1,
            "The old password you entered is incorrect.");
        row("passwords differ", "sound", {"passwd"}, "\na\nb\n", 1, "The new passwords you entered do not match.");
        row("32 characters", "sound", {"passwd"}, p32, 0);
        row("33 characters", "sound", {"passwd"}, p33, 2, "longer than 32");
        row("passwd in use", "in use", {"passwd"}, "\na\na\n", 1, "already in use");
        row("import in use", "in use", {"import", path("in.csv")}, {}, 1, "already in use");
        row("list in use", "in use", {"list"}, {}, 0);
        // A password the cipher's Latin-1 key cannot hold is refused, not
        // stored as question marks.
        row("set to Cyrillic", "sound", {"passwd"}, "\nпарольпароль\nпарольпароль\n", 1, notLatin1);
        row("changed to Cyrillic", "password", {"passwd"}, "secret\nпарольпароль\nпарольпароль\n", 1, notLatin1);
        row("question marks", "password", unlock, "????????????\n", 1, "The password is incorrect.");
        row("Cyrillic for question marks", "question marks", unlock, "парольпароль\n", 1, notLatin1);
        // A file the user may only read: read, never written.
        for (const QStringList& args : {QStringList{"check"}, {"keys"}, {"categories"}, {"show", "1002"}, unlock})
            row(qPrintable("read-only file, " + args[0]), "read-only file", args, "\n", 0);
        row("read-only file, passwd", "read-only file", {"passwd"}, "\n\n\n", 2,
            "cannot be opened for reading and writing");
        const QString csv = path("in.csv");
        row("import, no such file", "password", {"import", path("absent.csv")}, {}, 1, "does not exist");
        row("import a folder", "password", {"import", path("")}, {}, 1, "cannot be read");
        row("import, no password", "password", {"import", csv}, {}, 1, "locked");
        row("import, wrong password", "password", import, "wrong\n", 1, "The password is incorrect.");
        row("export over a file", "password", {"export", csv}, {}, 1, "--force");
        row("export over the data", "password", {"export", path("codes/password.dat"), "--force"}, {}, 1, "itself");
        // Changes that cannot reach the disk.
        row("passwd, read-only folder", "read-only folder", {"passwd"}, "secret\nother\nother\n", 1,
            "The folder cannot be written.");
        row("import, read-only folder", "read-only folder", import, "secret\n", 1, "The folder cannot be written.");
        row("passwd, full disk", "full disk", {"passwd"}, "secret\nother\nother\n", 1, "The disk is full.");
        row("import, full disk", "full disk", import, "secret\n", 1, "The disk is full.");
    }

    void exitCodes()
    {
        QFETCH(QString, file);
        QFETCH(QStringList, args);
        QFETCH(QByteArray, input);
        QFETCH(int, code);
        QFETCH(QString, error);
        QString target = path("codes/" + file + ".dat");
        QString tooled = target; // what --file names
        QString after = target;  // the file after the run
        QStringList wrapper;
        QDir().mkpath(path("codes/folder.dat"));
        if (file.startsWith("read-only")) {
            QVERIFY(QDir().mkpath(path("ro")));
            if (file == "read-only folder")
                target = tooled = after = path("ro/v.dat");
            wrapper = asUser();
            if (!wrapper.isEmpty() && QStandardPaths::findExecutable("setpriv").isEmpty())
                QSKIP("running as root without setpriv: permissions do not stop root");
        } else if (file == "full disk") {
            // A file system of its own, full but for the file: made in a
            // mount namespace of an unprivileged user namespace.
            QVERIFY(QDir().mkpath(path("full")));
            target = path("full.src");
            tooled = path("full/v.dat");
            after = path("full.after");
            QFile::remove(after); // made only when the file system could be
            wrapper = QStringList{"unshare", "--user", "--map-root-user", "--mount", "sh", "-c",
                                  "mount -t tmpfs -o size=256k vaultix \"$0\" 2>/dev/null || exit\n"
                                  "cp \"$0.src\" \"$0/v.dat\" || exit\n"
                                  "dd if=/dev/zero of=\"$0/fill\" bs=4096 2>/dev/null\n"
                                  "\"$@\"; code=$?\n"
                                  "cp \"$0/v.dat\" \"$0.after\"; exit $code\n",
                                  path("full")};
        }
        if (!QStringList{"missing", "folder", "foreign"}.contains(file))
            QVERIFY(!copyOfRecords(target).isEmpty());
        if (file == "damaged")
            QVERIFY(writeBytes(target, fileBytes(target).chopped(40)));
        if (file == "foreign")
            QVERIFY(writeBytes(target, QByteArray("NotOurs0001\0\0\0\0\0", 16) + QByteArray(148, '\1')));
        const QString password = file == "question marks" ? "????????????" : "secret";
        if (QStringList{"password", "question marks", "read-only folder", "full disk"}.contains(file))
            QCOMPARE(run({"--file", target, "passwd"}, ("\n" + password + "\n" + password + "\n").toUtf8()).code, 0);
        if (file == "read-only file")
            QVERIFY(QFile::setPermissions(target, QFile::ReadOwner | QFile::ReadOther));
        if (file == "read-only folder") // 0666 and 0555: the file may be written, no journal made beside it
            QVERIFY(QFile::setPermissions(target, QFileDevice::Permissions(0x6666))
                    && QFile::setPermissions(path("ro"), QFileDevice::Permissions(0x5555)));
        CSession holder(target); // a running Vaultix
        if (file == "in use")
            QVERIFY(holder.lock());
        const QByteArray before = fileBytes(target);

        const Result r = run(QStringList{"--file", tooled} + args, input, wrapper);
        QFile::setPermissions(path("ro"), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        if (file == "full disk" && !QFile::exists(after))
            QSKIP("no file system of our own can be mounted here");
        QVERIFY2(r.code == code, qPrintable(QString("exit %1: %2").arg(r.code).arg(r.err)));
        QVERIFY2(r.out.contains(error) || r.err.contains(error), qPrintable(r.err));
        const bool changes = args[0] == "passwd" || args[0] == "import";
        if (code != 0 && changes)
            QCOMPARE(r.out, QString());
        if (code == 0)
            QCOMPARE(r.err, QString());
        if ((code != 0 || !changes) && file != "missing")
            QCOMPARE(fileBytes(after), before);
        QCOMPARE(fileBytes(path("in.csv")), QByteArray("Shop,login,pw\nbank,acc,1234\n"));
        if (file == "missing")
            QVERIFY(!QFile::exists(target));
        QVERIFY(!QFile::exists(path("xdg/Vaultix/Vaultix.Dat"))); // --file is always used
    }

    void defaultFileAndCheck()
    {
        const QString file = path("fresh.dat");
        Result r = run({"--file", file, "categories"});
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.startsWith("0\tBank\tprotected\ticon_dollar\n"));
        QVERIFY(r.out.endsWith("\n7\tWeb Login\tplain\ticon_world\n"));

        // The settings, the record marker, 12 categories, the first free key.
        r = run({"keys", "--file", file});
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.startsWith("0 88\n100 1\n101 264\n") && r.out.endsWith("\n112 264\n1000 1\n"));
        QCOMPARE(r.out.count('\n'), 15);

        r = run({"--file=" + file, "check"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("OK: %1 is sound (15 records, %2 blocks)\n").arg(file).arg((fileBytes(file).size() - 36) / 128));
    }

    // salvage: a sound file comes out whole; an existing OUT is refused.
    void salvage()
    {
        const QString file = copyOfRecords("salvage.dat");
        const QString listing = run({"--file", file, "list"}).out;
        QCOMPARE(run({"--file", file, "salvage", path("whole.dat")}).code, 0);
        QCOMPARE(run({"--file", path("whole.dat"), "list"}).out, listing);
        const QByteArray whole = fileBytes(path("whole.dat"));
        QCOMPARE(run({"--file", file, "salvage", path("whole.dat")}).code, 2);
        QCOMPARE(fileBytes(path("whole.dat")), whole);

        // The settings record unreadable: check sends the user to salvage,
        // which leaves it behind, gives the new file the defaults so that it
        // opens, and does not write to the damaged file (what salvage finds in
        // other damage is the checker's test).
        QByteArray bytes = fileBytes(file);
        const qint32 first = qFromLittleEndian<qint32>(bytes.constData() + CxLayout::HdFirstIndex);
        qToLittleEndian<qint32>(7, bytes.data() + first + CxLayout::entryAt(0) + CxLayout::EnFirst);
        QVERIFY(writeBytes(path("nosettings.dat"), bytes));
        Result r = run({"--file", path("nosettings.dat"), "check"});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.out.contains("salvage OUT"), qPrintable(r.out));
        r = run({"--file", path("nosettings.dat"), "salvage", path("defaults.dat")});
        QCOMPARE(r.code, 1);
        QVERIFY2(r.out.contains("Left behind: key 0:") && r.out.contains("default: the settings"), qPrintable(r.out));
        QCOMPARE(fileBytes(path("nosettings.dat")), bytes);
        QVERIFY(run({"--file", path("defaults.dat"), "keys"}).out.startsWith("0 88\n100 1\n101 264\n"));
        QCOMPARE(run({"--file", path("defaults.dat"), "list"}).out, listing);
    }

    void recordsAndPasswords()
    {
        const QString file = copyOfRecords("records.dat");
        auto tool = [&](const QStringList& args, const QByteArray& input = QByteArray()) {
            return run(QStringList{"--file", file} + args, input);
        };
        const QString bank = "1001\tBank\tMy bank\t12345678\t4321\n";
        const QString shown = "Category: Bank\nBank: My bank\nAccount #: 12345678\nPIN: 4321\nNote: line one\nline two\n";
        QCOMPARE(tool({"list"}).out, bank + "1002\tEmail\tMail\tme\tpw\n1003\t-- CORRUPT RECORD --\tOrphan\tx\t\n");
        QCOMPARE(tool({"list", "--category", "EMAIL"}).out, QString("1002\tEmail\tMail\tme\tpw\n"));
        QCOMPARE(tool({"show", "1001"}).out, shown);
        // One field for a pipe; find matches fields 1 to 3 ignoring case and
        // accents, protected ones only with the password.
        QCOMPARE(tool({"show", "1001", "--field", "2"}).out, QString("12345678\n"));
        QCOMPARE(tool({"find", "MÁIL"}).out, QString("1002\tEmail\tMail\tme\tpw\n"));
        QCOMPARE(tool({"find", "pop"}).out, QString());

        // Every command that opens the file checks it first, so the listings
        // below also show each password change left it sound.
        Result r = tool({"passwd"}, "\nsecret\nsecret\n");
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("Password set.\n"));
        QVERIFY(!fileBytes(file).contains("12345678"));
        // Locked: protected texts masked, field 1 and plain categories not.
        QVERIFY(tool({"list"}).out.startsWith("1001\tBank\tMy bank\t******\t******\n1002\tEmail\tMail\tme\tpw\n"));
        QVERIFY(tool({"show", "1001"}, "secret\n").out.endsWith("PIN: ******\nNote: ******\n"));
        QCOMPARE(tool({"show", "1001", "--password-stdin"}, "secret\n").out, shown);
        QCOMPARE(tool({"find", "4321"}).out, QString());
        QCOMPARE(tool({"find", "4321", "--password-stdin"}, "secret\n").out, bank);
        QCOMPARE(tool({"show", "1001", "--field", "3", "--password-stdin"}, "secret\n").out, QString("4321\n"));
        r = tool({"list", "--password-stdin"}, "wrong\n");
        QCOMPARE(r.code, 1);
        QVERIFY(r.out.isEmpty() && !r.err.contains("wrong")); // nor echoed

        QCOMPARE(tool({"passwd"}, "secret\nother\nother").out, QString("Password changed.\n")); // no final line end
        QCOMPARE(tool({"list", "--password-stdin"}, "secret\n").code, 1);
        QVERIFY(tool({"list", "--password-stdin"}, "other\n").out.startsWith(bank));

        QCOMPARE(tool({"passwd"}, "other\n").out, QString("Password removed.\n")); // missing lines are empty
        QVERIFY(tool({"list"}).out.startsWith(bank));
        QVERIFY(fileBytes(file).contains("12345678"));
    }

    // The options reach the generator: length, count, classes left out.
    void generate()
    {
        const Result r = run({"generate", "--length", "12", "--count", "200", "--no-symbols", "--no-lower"});
        QCOMPARE(r.code, 0);
        const QStringList lines = r.out.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 200);
        QCOMPARE(QSet<QString>(lines.begin(), lines.end()).size(), 200);
        const QRegularExpression shape("^(?=.*[A-Z])(?=.*[0-9])[A-Z0-9]{12}$");
        for (const QString& line : lines)
            QVERIFY2(shape.match(line).hasMatch(), qPrintable(line));
    }

    // import / export: protected texts masked without the password, with a
    // warning (what the lines hold is the CSV test's).
    void csvImportExport()
    {
        const QString file = copyOfRecords("csv.dat");
        auto tool = [&](QStringList args, const QByteArray& input = QByteArray()) {
            return run(QStringList{"--file", file} + args, input);
        };
        QCOMPARE(tool({"passwd"}, "\nsecret\nsecret\n").code, 0);
        QCOMPARE(tool({"import", path("in.csv"), "--password-stdin"}, "secret\n").out, QString("2 records imported\n"));
        Result r = tool({"export", "-"});
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.contains("\"Bank\",\"acc\",\"******\""));
        QVERIFY(r.err.contains("******") && r.err.endsWith("5 records exported\n"));
        const QString out = path("out.csv");
        QCOMPARE(tool({"export", out, "--password-stdin"}, "secret\n").out, QString("5 records exported\n"));
        QVERIFY(fileBytes(out).contains("\"Bank\",\"acc\",\"1234\""));
        QCOMPARE(tool({"export", out, "--force"}).code, 0);
        QVERIFY(fileBytes(out).contains("\"******\""));
    }
};

QTEST_GUILESS_MAIN(TestTool)
#include "tst_tool.moc"
