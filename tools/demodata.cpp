#include "tools/demodata.h"

#include "vault/appglobals.h"
#include "vault/categories.h"
#include "vault/keyplan.h"
#include "vault/records.h"
#include "vault/session.h"
#include "storage/cxfile.h"

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
    CSession session(path);
    if (!session.lock() || !session.open())
        return false;
    session.loadCollections();
    CCategories* categories = session.categories();

    QVector<CCategory*> locked, plain;
    for (CCategory* c = categories->first(); c; c = CCategories::nextOf(c))
        (c->isProtected ? locked : plain).append(c);
    if (locked.isEmpty() || plain.isEmpty())
        return false;

    const int digits = int(QString::number(qMax(count, 1)).size());
    // Keys straight after the marker, in order: what adding one by one
    // would give, without a search for a free key each time.
    for (int i = 0; i < count; ++i) {
        const QVector<CCategory*>& pool = (i % 2 == 0) ? locked : plain;
        const CCategory* category = pool[(i / 2) % pool.size()];
        const QString name = QLatin1String(Names[(i / 2) % (sizeof Names / sizeof *Names)]);
        auto* record = new CRecord;
        record->category = category->id;
        record->SetDataText(name + QLatin1Char(' ') + number(i + 1, digits),
                            QStringLiteral("%1-%2").arg(number(i * 37 % 1000, 3), number(i * 7919 % 100000, 5)),
                            number(i * 4111 % 10000, 4), QStringLiteral("x%1").arg(i), QString(), QString(),
                            QStringLiteral("Made-up record %1.").arg(i + 1));
        const QByteArray bytes = record->Encode();
        record->key = KeyPlan::RecordMarker + 1 + i;
        if (!_AppFile->AddRecord(record->key, bytes.constData(), int32_t(bytes.size()))) {
            delete record;
            return false;
        }
        session.records()->Append(record);
    }
    if (!password.isEmpty())
        session.records()->EncryptAllRecords(password, categories);
    session.close();
    return true;
}
