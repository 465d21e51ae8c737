#include "platform/global.h"

#include <QFileInfo>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

class TstPlatform : public QObject
{
    Q_OBJECT

private slots:
    void paths()
    {
        QTemporaryDir dir;
        qputenv("HOME", QFile::encodeName(dir.filePath(QStringLiteral("home"))));
        // Then an empty XDG_DATA_HOME, which counts as unset.
        for (const QString& base : {QStringLiteral("xdg/deep"), QStringLiteral("home/.local/share")}) {
            qputenv("XDG_DATA_HOME", base.startsWith("xdg") ? QFile::encodeName(dir.filePath(base)) : "");
            const QString path = Global::applicationFileName(QStringLiteral("App"), QStringLiteral("F.Dat"));
            QCOMPARE(path, dir.filePath(base + QStringLiteral("/App/F.Dat")));
            struct stat st;
            QCOMPARE(::stat(QFile::encodeName(QFileInfo(path).path()).constData(), &st), 0);
            QCOMPARE(int(st.st_mode & (S_IFMT | 0777)), int(S_IFDIR | 0700)); // an owner-only folder
        }
        qputenv("QPEDIR", "/opt/somewhere");
        QCOMPARE(Global::qpeDir(), QStringLiteral("/opt/somewhere"));
        qputenv("QPEDIR", QByteArray()); // unset: the program's folder or one that holds pics/
        const QString qpe = Global::qpeDir();
        QVERIFY(qpe == QCoreApplication::applicationDirPath() || QFileInfo(qpe + "/pics").isDir());
    }
};

QTEST_GUILESS_MAIN(TstPlatform)
#include "tst_platform.moc"
