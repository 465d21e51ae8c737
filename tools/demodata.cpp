#include "tools/demodata.h"

#include "vault/vault.h"

#include <QFileInfo>
#include <QVector>

namespace {

const char* const Names[] = {"Home", "Office", "Holiday", "Garden", "Family", "Club", "Travel",
                             "Studio", "Backup", "Spare", "Old", "New"};

QString number(int i, int digits)
{
    return QString::number(i).rightJustified(digits, QLatin1Char('0'));
}

} // namespace

bool WriteDemoData(const QString& path, int count, const QString& password)
{
    if (QFileInfo::exists(path))
        return false;
    CVault vault(path);
    if (!vault.session().lock() || !vault.open())
        return false;

    QStringList locked, plain;
    for (CCategory* c = vault.categories().first(); c; c = CCategories::nextOf(c))
        (c->isProtected ? locked : plain).append(c->name);
    if (locked.isEmpty() || plain.isEmpty())
        return false;

    const int digits = int(QString::number(qMax(count, 1)).size());
    QVector<CVault::ImportRow> rows(count);
    for (int i = 0; i < count; ++i) {
        const QStringList& pool = (i % 2 == 0) ? locked : plain;
        CVault::ImportRow& row = rows[i];
        row.category = pool[(i / 2) % pool.size()];
        const QString name = QLatin1String(Names[(i / 2) % (sizeof Names / sizeof *Names)]);
        row.texts[0] = name + QLatin1Char(' ') + number(i + 1, digits);
        row.texts[1] = QStringLiteral("%1-%2").arg(number(i * 37 % 1000, 3), number(i * 7919 % 100000, 5));
        row.texts[2] = number(i * 4111 % 10000, 4);
        row.texts[3] = QStringLiteral("x%1").arg(i);
        row.texts[6] = QStringLiteral("Made-up record %1.").arg(i + 1);
    }
    // All records in one change, then the password over them in a second,
    // as a user who sets it after filling the file would.
    int added = 0;
    if (!vault.importRows(rows, QString(), &added, nullptr).ok() || added != count)
        return false;
    return password.isEmpty() || vault.changePassword(QString(), password).ok();
}
