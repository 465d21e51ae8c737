// vx_demodata FILE COUNT [--password-stdin]: a data file of made-up records
// for the screenshots and the benchmarks. The password, when wanted, is read
// from the first line of standard input, never from the command line.

#include "tools/demodata.h"

#include <QCoreApplication>
#include <QTextStream>

#include <cstdio>

int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    bool ok = false;
    const int count = args.value(2).toInt(&ok);
    if (args.size() < 3 || args.size() > 4 || !ok || count < 0
        || (args.size() == 4 && args[3] != QLatin1String("--password-stdin"))) {
        std::fprintf(stderr, "usage: vx_demodata FILE COUNT [--password-stdin]\n");
        return 2;
    }
    QString password;
    if (args.size() == 4) {
        QTextStream in(stdin);
        password = in.readLine();
    }
    if (!WriteDemoData(args[1], count, password)) {
        std::fprintf(stderr, "vx_demodata: cannot make %s (does it exist already?)\n", qPrintable(args[1]));
        return 1;
    }
    return 0;
}
