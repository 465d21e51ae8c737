#include "platform/global.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

class TstPlatform : public QObject
{
    Q_OBJECT

    QTemporaryDir m_dir;

private slots:
    void applicationFileName_data()
    {
        QTest::addColumn<QString>("xdg");
        QTest::addColumn<QString>("expectedBase");
        QTest::newRow("xdg set") << "xdg/deep" << "xdg/deep";
        QTest::newRow("xdg empty") << "" << "home/.local/share";
    }
    void applicationFileName()
    {
        QFETCH(QString, xdg);
        QFETCH(QString, expectedBase);
        qputenv("HOME", QFile::encodeName(m_dir.filePath(QStringLiteral("home"))));
        qputenv("XDG_DATA_HOME", xdg.isEmpty() ? QByteArray() : QFile::encodeName(m_dir.filePath(xdg)));
        const QString path = Global::applicationFileName(QStringLiteral("App"), QStringLiteral("F.Dat"));
        QCOMPARE(path, m_dir.filePath(expectedBase + QStringLiteral("/App/F.Dat")));
        struct stat st;
        QCOMPARE(::stat(QFile::encodeName(QFileInfo(path).path()).constData(), &st), 0);
        QVERIFY(S_ISDIR(st.st_mode));
        QCOMPARE(int(st.st_mode & 0777), 0700);
        QCOMPARE(Global::applicationFileName(QStringLiteral("App"), QStringLiteral("F.Dat")), path);
    }

    void qpeDir()
    {
        qputenv("QPEDIR", "/opt/somewhere");
        QCOMPARE(Global::qpeDir(), QStringLiteral("/opt/somewhere"));
        // Empty counts as unset: the answer is then the program's own folder
        // or one that holds pics/.
        qputenv("QPEDIR", QByteArray());
        const QString dir = Global::qpeDir();
        QVERIFY(dir == QCoreApplication::applicationDirPath()
                || QFileInfo(dir + QStringLiteral("/pics")).isDir());
    }
};

QTEST_GUILESS_MAIN(TstPlatform)
#include "tst_platform.moc"
