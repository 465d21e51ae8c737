#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "model/categories.h"
#include "model/record.h"
#include "storage/cxfile.h"

#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

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

} // namespace

// Drives the built vaultix-tool on temporary data files.
class TestTool : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString m_tool = QStringLiteral(VX_TEST_BINARY_DIR "/vaultix-tool");

    Result run(const QStringList& args, const QByteArray& input = QByteArray())
    {
        QProcess p;
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        // Keep the default data file away from the user's own.
        env.insert("XDG_DATA_HOME", m_dir.filePath("xdg"));
        p.setProcessEnvironment(env);
        p.start(m_tool, args);
        if (!p.waitForStarted())
            return Result();
        p.write(input);
        p.closeWriteChannel();
        if (!p.waitForFinished(60000)) {
            p.kill();
            p.waitForFinished();
            return Result();
        }
        Result r;
        r.code = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
        r.out = QString::fromUtf8(p.readAllStandardOutput());
        r.err = QString::fromUtf8(p.readAllStandardError());
        return r;
    }

    QString path(const QString& name) { return m_dir.filePath(name); }

    // A default file holding three records written through the model: a
    // protected one, a plain one and one whose category does not exist.
    QString makeFileWithRecords(const QString& name)
    {
        const QString file = path(name);
        _AppFile = new CxFile(_AppSignature);
        _AppCfg = new CvxConfig(file);
        {
            CCategories categories;
            categories.LoadAll();
            const struct
            {
                int category;
                const char* texts[7];
            } rows[] = {
                {0, {"My bank", "12345678", "4321", "", "", "", "line one\nline two"}},
                {3, {"Mail", "me", "pw", "pop", "smtp", "", ""}},
                {77, {"Orphan", "x", "", "", "", "", ""}},
            };
            for (const auto& row : rows) {
                CRecord r;
                r.category = row.category;
                r.SetDataText(row.texts[0], row.texts[1], row.texts[2], row.texts[3], row.texts[4],
                              row.texts[5], row.texts[6]);
                r.WriteRecord(false);
            }
            categories.DeleteAll();
        }
        delete _AppCfg;
        _AppCfg = nullptr;
        _AppFile->Close();
        delete _AppFile;
        _AppFile = nullptr;
        return file;
    }

private slots:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY2(QFile::exists(m_tool), qPrintable(m_tool));
    }

    void usage_data()
    {
        QTest::addColumn<QStringList>("args");
        QTest::newRow("no command") << QStringList();
        QTest::newRow("help") << QStringList{"--help"};
        QTest::newRow("help after command") << QStringList{"list", "-h"};
        QTest::newRow("unknown command") << QStringList{"frobnicate"};
        QTest::newRow("unknown option") << QStringList{"list", "--password", "secret"};
        QTest::newRow("show without key") << QStringList{"show"};
        QTest::newRow("keys with argument") << QStringList{"keys", "1001"};
        QTest::newRow("category on categories") << QStringList{"categories", "--category", "Bank"};
        QTest::newRow("password-stdin on passwd") << QStringList{"passwd", "--password-stdin"};
        QTest::newRow("file without value") << QStringList{"check", "--file"};
    }

    void usage()
    {
        QFETCH(QStringList, args);
        const Result r = run(args);
        QCOMPARE(r.code, 2);
        QVERIFY(r.out.isEmpty());
        QVERIFY2(r.err.contains("Usage: vaultix-tool"), qPrintable(r.err));
        // The default data file is never made for a usage error.
        QVERIFY(!QFile::exists(path("xdg/Vaultix/Vaultix.Dat")));
    }

    void freshDefaultFile()
    {
        const QString file = path("fresh.dat");
        Result r = run({"--file", file, "categories"});
        QCOMPARE(r.code, 0);
        const QStringList lines = r.out.split('\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 12);
        QCOMPARE(lines.first(), QString("0\tBank\tprotected\ticon_dollar"));
        QCOMPARE(lines.last(), QString("7\tWeb Login\tplain\ticon_world"));
        QVERIFY(lines.contains("8\tCombination lock\tprotected\ticon_combolock"));

        r = run({"keys", "--file", file});
        QCOMPARE(r.code, 0);
        QString expected = "0 88\n100 1\n";
        for (int k = 101; k <= 112; ++k)
            expected += QString("%1 264\n").arg(k);
        expected += "1000 1\n";
        QCOMPARE(r.out, expected);

        r = run({"--file=" + file, "check"});
        QCOMPARE(r.code, 0);
        const int blocks = (readAll(file).size() - 36) / 128;
        QCOMPARE(r.out, QString("OK: %1 is sound (15 records, %2 blocks)\n").arg(file).arg(blocks));

        r = run({"--file", file, "list"});
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.isEmpty());
    }

    void badFiles()
    {
        // A missing folder is an error, not a silently created file.
        const QString lost = path("no/such/folder/v.dat");
        Result r = run({"--file", lost, "list"});
        QCOMPARE(r.code, 2);
        QVERIFY(r.err.contains("does not exist"));
        QVERIFY(!QFile::exists(lost));

        r = run({"--file", path("missing.dat"), "check"});
        QCOMPARE(r.code, 2);
        r = run({"--file", path("missing.dat"), "keys"});
        QCOMPARE(r.code, 2);
        QVERIFY(!QFile::exists(path("missing.dat")));

        // A foreign file is reported and left alone.
        const QString foreign = path("foreign.dat");
        QFile f(foreign);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(QByteArray("NotOurs0001\0\0\0\0\0", 16) + QByteArray(148, '\1'));
        f.close();
        const QByteArray before = readAll(foreign);
        r = run({"--file", foreign, "check"});
        QCOMPARE(r.code, 1);
        QVERIFY(r.out.contains("signature"));
        for (const char* command : {"keys", "list", "categories"}) {
            r = run({"--file", foreign, command});
            QCOMPARE(r.code, 2);
            QVERIFY(r.err.contains("not a Vaultix data file"));
        }
        QCOMPARE(readAll(foreign), before);

        // Damage: one problem per line, exit 1.
        const QString damaged = makeFileWithRecords("damaged.dat");
        QByteArray bytes = readAll(damaged);
        bytes.chop(40);
        QFile d(damaged);
        QVERIFY(d.open(QIODevice::WriteOnly));
        d.write(bytes);
        d.close();
        r = run({"--file", damaged, "check"});
        QCOMPARE(r.code, 1);
        QVERIFY(!r.out.isEmpty());
        QVERIFY(!r.out.contains("OK:"));
        // The other commands refuse to work on it rather than write to it.
        r = run({"--file", damaged, "passwd"}, "\nsecret\nsecret\n");
        QCOMPARE(r.code, 1);
        QVERIFY(r.err.contains("damaged"));
        QCOMPARE(readAll(damaged), bytes);
    }

    void listAndShow()
    {
        const QString file = makeFileWithRecords("records.dat");
        Result r = run({"--file", file, "list"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("1001\tBank\tMy bank\t12345678\t4321\n"
                                "1002\tEmail\tMail\tme\tpw\n"
                                "1003\t-- CORRUPT RECORD --\tOrphan\tx\t\n"));

        r = run({"--file", file, "list", "--category", "EMAIL"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("1002\tEmail\tMail\tme\tpw\n"));
        r = run({"--file", file, "list", "--category", "Nothing"});
        QCOMPARE(r.code, 2);

        r = run({"--file", file, "show", "1001"});
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("Category: Bank\nBank: My bank\nAccount #: 12345678\nPIN: 4321\n"
                                "Note: line one\nline two\n"));
        r = run({"--file", file, "show", "4242"});
        QCOMPARE(r.code, 2);
        r = run({"--file", file, "show", "abc"});
        QCOMPARE(r.code, 2);
    }

    void passwordLifecycle()
    {
        const QString file = makeFileWithRecords("pwd.dat");
        auto passwd = [&](const QByteArray& input) { return run({"--file", file, "passwd"}, input); };
        auto sound = [&] { return run({"--file", file, "check"}).code == 0; };

        Result r = passwd("\n\n\n");
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("No change.\n"));

        r = passwd("\nsecret\nsecret\n");
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("Password set.\n"));
        QVERIFY(sound());
        QVERIFY(!readAll(file).contains("12345678"));

        // Locked: protected texts masked, field 1 and plain categories not.
        r = run({"--file", file, "list"});
        QCOMPARE(r.out.split('\n').first(), QString("1001\tBank\tMy bank\t******\t******"));
        QVERIFY(r.out.contains("1002\tEmail\tMail\tme\tpw\n"));
        r = run({"--file", file, "show", "1001"}, "secret\n");
        QVERIFY(r.out.contains("PIN: ******\nNote: ******\n"));

        r = run({"--file", file, "show", "1001", "--password-stdin"}, "secret\n");
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.contains("PIN: 4321\nNote: line one\nline two\n"));
        r = run({"--file", file, "list", "--password-stdin"}, "wrong\n");
        QCOMPARE(r.code, 1);
        QVERIFY(r.out.isEmpty());
        QVERIFY(!r.err.contains("wrong"));

        // Refusals change nothing, byte for byte.
        const QByteArray before = readAll(file);
        r = passwd("wrong\nnew\nnew\n");
        QCOMPARE(r.code, 1);
        QCOMPARE(r.err, QString("The old password you entered is incorrect.\n"));
        r = passwd("\nnew\nnew\n");
        QCOMPARE(r.code, 1);
        r = passwd("secret\nnew\nnwe\n");
        QCOMPARE(r.code, 1);
        QCOMPARE(r.err, QString("The new passwords you entered do not match.\n"));
        r = passwd("secret\n" + QByteArray(33, 'a') + "\n" + QByteArray(33, 'a') + "\n");
        QCOMPARE(r.code, 2);
        QCOMPARE(readAll(file), before);

        r = passwd("secret\nother\nother");  // no final line end
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("Password changed.\n"));
        QVERIFY(sound());
        QCOMPARE(run({"--file", file, "list", "--password-stdin"}, "secret\n").code, 1);
        r = run({"--file", file, "list", "--password-stdin"}, "other\n");
        QCOMPARE(r.code, 0);
        QVERIFY(r.out.startsWith("1001\tBank\tMy bank\t12345678\t4321\n"));

        r = passwd("other\n");  // missing lines count as empty
        QCOMPARE(r.code, 0);
        QCOMPARE(r.out, QString("Password removed.\n"));
        QVERIFY(sound());
        r = run({"--file", file, "list"});
        QVERIFY(r.out.startsWith("1001\tBank\tMy bank\t12345678\t4321\n"));
        QVERIFY(readAll(file).contains("12345678"));
    }
};

QTEST_GUILESS_MAIN(TestTool)
#include "tst_tool.moc"
