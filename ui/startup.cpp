#include "ui/startup.h"

#include "vault/vault.h"
#include "platform/messagebox.h"
#include "ui/shell.h"

#include <QStringList>

namespace {

// A damaged file can have many findings; the box shows the first few.
constexpr int MaxProblemLines = 3;

QString caption()
{
    return Shell::Title();
}

} // namespace

QString CStartup::breakablePath(const QString& path)
{
    QString out = path;
    out.replace(QLatin1Char('/'), QStringLiteral("/\u200B"));
    return out;
}

bool CStartup::openDataFile(CVault& vault, QWidget* parent)
{
    CSession& session = vault.session();
    const QString path = session.dataFile();
    const QString shown = breakablePath(path);
    auto refuse = [&](const QString& problem) {
        // The problems name the file first; the path goes on a line of its own.
        QString text;
        if (problem.startsWith(path))
            text = tr("The data file\n%1\n%2\nNothing was written to it.").arg(shown, problem.mid(path.size()).trimmed());
        else
            text = tr("Vaultix cannot use its data file\n%1\n%2\nNothing was written to it.")
                       .arg(shown, QString(problem).replace(path, shown));
        CMessageBox::warning(parent, caption(), text);
        return false;
    };

    // An interrupted change found at opening was undone (or could not be):
    // the user should know that the last change may be missing.
    auto opened = [&]() {
        if (!session.journalReport().isEmpty())
            CMessageBox::information(parent, caption(), session.journalReport());
        return true;
    };

    QString error;
    if (!session.lock(&error))
        return refuse(error);

    // Opening looks at the file first and refuses what it must not write
    // to; only then is there anything to ask.
    QString problem;
    if (vault.open(false, &problem))
        return opened();
    if (session.lastProbe() != CSession::Damaged)
        return refuse(problem);

    QStringList lines = problem.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    if (lines.size() > MaxProblemLines) {
        const int more = int(lines.size()) - MaxProblemLines;
        lines = lines.mid(0, MaxProblemLines);
        lines << tr("(and %n more)", nullptr, more);
    }
    const QMessageBox::StandardButton choice = CMessageBox::ask(
        parent, QMessageBox::Warning, caption(),
        tr("The data file\n%1\nis damaged:\n%2\n\nSave a copy of it beside it, named\n"
           "with \".damaged-\" and the date and\ntime added, and go on?\nNo quits and writes nothing.")
            .arg(shown, lines.join(QLatin1Char('\n'))),
        QMessageBox::Yes | QMessageBox::No, QMessageBox::No, QMessageBox::No);
    if (choice != QMessageBox::Yes)
        return false;
    if (session.saveDamagedCopy().isEmpty())
        return refuse(tr("A copy of %1 could not be saved.").arg(path));
    if (!vault.open(true, &error))
        return refuse(error);
    return opened();
}
