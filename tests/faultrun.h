#ifndef VAULTIX_TESTS_FAULTRUN_H
#define VAULTIX_TESTS_FAULTRUN_H

// Runs a program with tests/faultshim.c preloaded, so that one of the calls
// that change files inside a folder fails as a failing or full disk would.
#include <QByteArray>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <cerrno>

struct FaultRun
{
    int code = -1;   // the exit code; -1 when it crashed or hung
    QByteArray out;
    QByteArray err;
    int calls = 0;   // write-side calls made inside the folder
    QByteArray log;  // one line per call: number, call, path
};

// `at`: the number (from 1) of the call inside `folder` that fails with
// `error`; 0 for none.
inline FaultRun RunWithFault(const QString& program, const QStringList& args, const QByteArray& input,
                             const QString& folder, int at = 0, int error = EIO)
{
    QTemporaryDir scratch; // outside `folder`, so never counted
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("LD_PRELOAD", VX_FAULTSHIM);
#ifdef __SANITIZE_ADDRESS__
    // A sanitized program wants its runtime first; the shim only wraps calls.
    env.insert("ASAN_OPTIONS", env.value("ASAN_OPTIONS") + QStringLiteral(":verify_asan_link_order=0"));
#endif
    env.insert("VX_FAULT_DIR", folder);
    env.insert("VX_FAULT_AT", QString::number(at));
    env.insert("VX_FAULT_ERRNO", QString::number(error));
    env.insert("VX_FAULT_COUNT", scratch.filePath("count"));
    env.insert("VX_FAULT_LOG", scratch.filePath("log"));
    env.insert("XDG_DATA_HOME", scratch.filePath("xdg")); // away from the user's own file
    QProcess p;
    p.setProcessEnvironment(env);
    p.start(program, args);
    p.write(input);
    p.closeWriteChannel();
    FaultRun run;
    if (p.waitForFinished(60000) && p.exitStatus() == QProcess::NormalExit)
        run.code = p.exitCode();
    run.out = p.readAllStandardOutput();
    run.err = p.readAllStandardError();
    QFile count(scratch.filePath("count"));
    if (count.open(QIODevice::ReadOnly))
        run.calls = count.readAll().trimmed().toInt();
    QFile log(scratch.filePath("log"));
    if (log.open(QIODevice::ReadOnly))
        run.log = log.readAll();
    return run;
}

#endif
