#include "csv/csvimport.h"

#include "config/appglobals.h"
#include "config/vxconfig.h"
#include "csv/csvreader.h"
#include "model/categories.h"
#include "model/keyplan.h"
#include "model/record.h"
#include "model/records.h"
#include "security/wipe.h"
#include "storage/cxfile.h"
#include "storage/cxtransaction.h"

#include <QFile>
#include <QSet>

namespace {

// The smallest unused record key from `from` on, as CRecord::WriteRecord
// finds it from the record marker on; the cursor is left where its key-by-key
// probe would leave it, so the add places the key the same way.
int32_t FreeRecordKey(int32_t from)
{
    int32_t free = from;
    if (_AppFile->FindRecord(free)) {
        ++free;
        int32_t k = 0;
        while (_AppFile->FindNextRecord() && _AppFile->ReadRecordKey(k) && k == free)
            ++free;
        _AppFile->FindRecord(free - 1);
        _AppFile->FindRecord(free);
    }
    return free;
}

} // namespace

void WipeCSVText(QString& text)
{
    if (!text.isEmpty() && text.isDetached())
        WipeBytes(text.data(), size_t(text.size()) * sizeof(QChar));
    text.clear();
}

void WipeCSVText(QByteArray& bytes)
{
    if (!bytes.isEmpty() && bytes.isDetached())
        WipeBytes(bytes.data(), size_t(bytes.size()));
    bytes.clear();
}

bool addNewImportedRecord(CCategories* categories, CRecords* records, QString& category, QString& field1,
                          QString& field2, QString& field3, QString& field4, QString& field5,
                          QString& field6, QString& note, int32_t* nextKey)
{
    if (!categories || !records || !_AppCfg || !_AppFile)
        return false;
    CCategory* c = categories->find(category);
    if (!c) {
        c = categories->CreateNew();
        c->name = category;
        for (int i = 0; i < 6; ++i)
            c->labels[i] = QString("Field %1").arg(i + 1).left(CCategory::TextSlot - 1);
        c->isProtected = false;
        c->icon = _AppCfg->iconNames.isEmpty() ? QString() : _AppCfg->iconNames.first();
        // Past the last category key there is no room: such a category could
        // not be loaded again, so its records are not taken either.
        if (c->id < 0 || c->id > KeyPlan::MaxCategoryId || !c->WriteRecord()) {
            delete c;
            return false;
        }
        if (!categories->InsertSeq(c, true)) {
            delete c;
            return false;
        }
    }

    auto* r = new CRecord;
    r->category = c->id;
    r->encrypted = c->isProtected && _AppCfg->hasPassword();
    r->SetDataText(field1, field2, field3, field4, field5, field6, note);
    if (nextKey) {
        // Lines are only added, so every key below the last one given stays
        // in use: the search goes on from there instead of from the start.
        const int32_t key = FreeRecordKey(*nextKey);
        const QByteArray bytes = r->Encode();
        if (_AppFile->AddRecord(key, bytes.constData(), int32_t(bytes.size()))) {
            r->key = key;
            *nextKey = key + 1;
        }
    } else {
        r->WriteRecord(false);
    }
    if (r->key < 0) {
        delete r;
        return false;
    }
    records->Append(r);
    return true;
}

int ImportCSVBytes(const QByteArray& bytes, CCategories* categories, CRecords* records, bool* written,
                   CCsvImportReport* report)
{
    if (written)
        *written = true;
    if (!categories || !records || !_AppFile)
        return 0;
    // What was there before, to take back what the disk did not get.
    CDListNode* lastRecord = records->tail;
    QSet<int> categoryIds;
    for (CCategory* c = categories->first(); c; c = CCategories::nextOf(c))
        categoryIds.insert(c->id);
    // One change on disk: a crash leaves the file without any of the lines
    // or with all of them, and the syncs are paid once.
    CxTransaction transaction(_AppFile);

    // The reader names the lines that hold no text (NULs included) rather
    // than letting them pass changed.
    CCsvReader reader(CCsvReader::decode(bytes));
    const int limits[8] = {CsvLimits::Category, CsvLimits::Field, CsvLimits::Field, CsvLimits::Field,
                           CsvLimits::Field,    CsvLimits::Field, CsvLimits::Field, CsvLimits::Note};
    int count = 0;
    int32_t nextKey = KeyPlan::RecordMarker;
    CCsvRow row;
    while (reader.next(row)) {
        QString* v = row.values;
        if (row.skipped()) {
            if (report)
                report->skip(row.line, row.reason);
            continue;
        }
        for (int i = 0; i < 8; ++i)
            v[i].truncate(limits[i]);
        if (addNewImportedRecord(categories, records, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], &nextKey))
            ++count;
        else if (report)
            report->skip(row.line, categories->find(v[0])
                                       ? QCoreApplication::translate("CSV", "The record could not be stored.")
                                       : QCoreApplication::translate("CSV", "No category id is left for its category."));
    }
    row.wipe();
    if (transaction.commit()) {
        if (report)
            report->setImported(count);
        return count;
    }

    while (records->tail != lastRecord)
        records->Delete(records->tail);
    for (CCategory* c = categories->first(); c;) {
        CCategory* next = CCategories::nextOf(c);
        if (!categoryIds.contains(c->id))
            categories->Delete(c);
        c = next;
    }
    if (written)
        *written = false;
    return 0;
}

int DoTheImport(QString& name, CCategories* categories, CRecords* records, CCsvImportReport* report)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    QByteArray bytes = file.readAll();
    file.close();
    const int count = ImportCSVBytes(bytes, categories, records, nullptr, report);
    WipeCSVText(bytes);
    return count;
}
