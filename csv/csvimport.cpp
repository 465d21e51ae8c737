#include "csv/csvimport.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "csv/csvfield.h"
#include "vault/categories.h"
#include "vault/keyplan.h"
#include "vault/record.h"
#include "vault/records.h"
#include "crypto/wipe.h"
#include "storage/cxfile.h"
#include "storage/cxtransaction.h"

#include <QFile>
#include <QSet>
#include <QStringDecoder>

namespace {

// One '?' for every character above Latin-1, a surrogate pair included, so
// that the limits below count what the record will hold.
QString ToLatin1Range(const QString& text)
{
    QString out;
    out.reserve(text.size());
    const int n = int(text.size());
    for (int i = 0; i < n; ++i) {
        const QChar c = text[i];
        if (c.unicode() <= 0xFF) {
            out += c;
            continue;
        }
        if (c.isHighSurrogate() && i + 1 < n && text[i + 1].isLowSurrogate())
            ++i;
        out += u'?';
    }
    return out;
}

// Where the next line starts; a line ends at LF, and a CR right before it
// belongs to the line end (as a text stream reads it).
int NextLine(const QString& text, int from, QString& line)
{
    int end = int(text.indexOf(u'\n', from));
    const int next = end < 0 ? int(text.size()) : end + 1;
    if (end < 0)
        end = int(text.size());
    int stop = end;
    if (stop > from && text[stop - 1] == u'\r')
        --stop;
    line = text.mid(from, stop - from);
    return next;
}

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

QString DecodeCSV(const QByteArray& bytes)
{
    QStringDecoder utf8(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = utf8.decode(bytes);
    if (utf8.hasError()) {
        WipeCSVText(text);
        text = QString::fromLatin1(bytes);
    } else {
        if (text.startsWith(QChar(0xFEFF)))
            text.remove(0, 1);
        text = ToLatin1Range(text);
    }
    // Stored texts end at a NUL: a name cut there would no longer match
    // its category once loaded again.
    text.remove(QChar(0));
    return text;
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

int ImportCSVBytes(const QByteArray& bytes, CCategories* categories, CRecords* records, bool* written)
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

    QString text = DecodeCSV(bytes);
    const int limits[8] = {CsvLimits::Category, CsvLimits::Field, CsvLimits::Field, CsvLimits::Field,
                           CsvLimits::Field,    CsvLimits::Field, CsvLimits::Field, CsvLimits::Note};
    int count = 0;
    int32_t nextKey = KeyPlan::RecordMarker;
    QString line;
    QString v[8];
    for (int at = 0; at < text.size();) {
        at = NextLine(text, at, line);
        if (line.isEmpty())
            continue;
        int pos = 0;
        for (int i = 0; i < 8; ++i) {
            pos = GetNextCSVfield(line, pos, v[i]);
            v[i].truncate(limits[i]);
        }
        if (addNewImportedRecord(categories, records, v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], &nextKey))
            ++count;
        WipeCSVText(line);
        for (QString& value : v)
            WipeCSVText(value);
    }
    WipeCSVText(text);
    if (transaction.commit())
        return count;

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

int DoTheImport(QString& name, CCategories* categories, CRecords* records)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    QByteArray bytes = file.readAll();
    file.close();
    const int count = ImportCSVBytes(bytes, categories, records, nullptr);
    WipeCSVText(bytes);
    return count;
}
