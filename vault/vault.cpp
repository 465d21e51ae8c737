#include "vault/vault.h"

#include "crypto/wipe.h"
#include "storage/cxfile.h"
#include "storage/readcurrent.h"
#include "vault/defaultdb.h"
#include "vault/keyplan.h"
#include "vault/password.h"

#include <QByteArray>
#include <QHash>

#include <cerrno>
#include <cstring>
#include <memory>

namespace {

void wipe(QByteArray& bytes)
{
    if (!bytes.isEmpty())
        WipeBytes(bytes.data(), size_t(bytes.size()));
}

} // namespace

CVault::CVault(const QString& dataFile, QObject* parent)
    : QObject(parent)
    , m_session(dataFile)
{
}

CVault::~CVault()
{
    close();
}

bool CVault::open(bool acceptDamaged, QString* error)
{
    if (isOpen())
        return true;
    if (!m_session.open(acceptDamaged, error))
        return false;
    m_file = m_session.file();
    if (!load(error)) {
        close();
        return false;
    }
    return true;
}

bool CVault::isOpen() const
{
    return m_file && m_file->isOpen();
}

void CVault::close()
{
    m_records.DeleteAll();
    m_recordsRead = false;
    m_categories.DeleteAll();
    m_key.reset();
    m_locked = true;
    m_file = nullptr;
    m_session.close();
}

bool CVault::load(QString* error)
{
    // A new file gets the default settings and categories; a file that has
    // records but lost its settings keeps its records and gets default
    // settings only.
    if (!m_file->FindRecord(KeyPlan::Settings) && !m_file->isReadOnly()) {
        const bool empty = !m_file->FindFirstRecord();
        CvxConfig defaults;
        defaults.SetDefaults();
        m_file->BeginTransaction();
        bool ok = storeSettings(defaults) && (!empty || CreateDefaultDatabase(*m_file));
        if (!ok)
            m_file->AbortTransaction();
        ok = m_file->CommitTransaction() && ok;
        if (!ok) {
            if (error)
                *error = tr("%1 cannot be set up: %2").arg(dataFile(), causeText());
            return false;
        }
    }
    readCollections();
    return true;
}

void CVault::readCollections()
{
    m_records.DeleteAll();
    m_categories.DeleteAll();
    // The icon list comes from the installed pictures, not the file: kept.
    const QStringList icons = m_settings.iconNames;
    m_settings.Decode(nullptr, 0);
    m_settings.iconNames = icons;
    QByteArray buffer;
    if (m_file->FindRecord(KeyPlan::Settings) && ReadCurrentRecord(*m_file, buffer))
        m_settings.Decode(buffer.constData(), int(buffer.size()));

    if (m_file->FindRecord(KeyPlan::CategoryMarker)) {
        while (m_file->FindNextRecord()) {
            int32_t key = 0;
            if (!m_file->ReadRecordKey(key) || key > KeyPlan::LastCategory)
                break;
            if (!ReadCurrentRecord(*m_file, buffer))
                continue;
            auto* category = new CCategory;
            category->Decode(buffer.constData(), int(buffer.size()));
            if (!m_categories.InsertSeq(category, false))
                delete category;
        }
    }

    wipe(buffer);
    m_recordsRead = false;
}

CRecords& CVault::loadedRecords() const
{
    if (m_recordsRead || !m_file)
        return m_records;
    m_recordsRead = true;
    const bool passwordSet = m_settings.hasPassword();
    QByteArray buffer;
    if (m_file->FindRecord(KeyPlan::RecordMarker)) {
        while (m_file->FindNextRecord()) {
            if (!ReadCurrentRecord(*m_file, buffer))
                continue;
            int32_t key = 0;
            m_file->ReadRecordKey(key);
            auto* record = new CRecord;
            record->Decode(buffer.constData(), int(buffer.size()));
            record->key = key;
            // With no categories at all nothing can be protected.
            const CCategory* c = m_categories.GetCategory(record->category);
            record->encrypted = c && c->isProtected && passwordSet;
            m_records.Append(record);
        }
    }
    wipe(buffer);
    return m_records;
}

// --- Changes ---------------------------------------------------------------------

CVaultResult CVault::change(const QString& what, const std::function<bool(QString*)>& body)
{
    if (!isOpen())
        return CVaultResult::failure(tr("%1\nThe data file is not open.").arg(what));
    QString refusal;
    m_file->BeginTransaction();
    const bool done = body(&refusal);
    if (!done)
        m_file->AbortTransaction();
    const bool committed = m_file->CommitTransaction();
    if (done && committed) {
        emit changed();
        return CVaultResult::success();
    }
    const QString cause = done ? causeText() : refusal;
    // Memory goes back to what the file holds. When the file was touched,
    // reopening plays the journal back first.
    if (!m_file->isOpen() || (done && !committed)) {
        QString error;
        m_session.closeFile();
        m_file = nullptr;
        if (!m_session.open(false, &error)) {
            m_records.DeleteAll();
            m_categories.DeleteAll();
            emit changed();
            return CVaultResult::failure(tr("%1\n%2\nThe data file cannot be read again: %3").arg(what, cause, error));
        }
        m_file = m_session.file();
    }
    readCollections();
    emit changed();
    if (!done)
        return CVaultResult::failure(tr("%1\n%2").arg(what, refusal));
    return CVaultResult::failure(tr("%1\n%2\nNothing was changed.").arg(what, cause));
}

QString CVault::causeText() const
{
    const int error = m_file ? m_file->lastError() : 0;
    switch (error) {
    case ENOSPC:
    case EDQUOT:
        return tr("The disk is full.");
    case EACCES:
    case EROFS:
        return tr("The folder cannot be written.");
    case ELOOP:
    case EINVAL:
    case EPERM:
        // Only the journal's path is refused with these.
        return tr("%1 is a link, not a regular file, or another user's file; no change can be saved until "
                  "it is removed.")
            .arg(dataFile() + QStringLiteral("-journal"));
    case 0:
        if (m_file && m_file->isReadOnly())
            return tr("The file is open for reading only.");
        return tr("The file cannot be written.");
    default:
        return tr("%1.").arg(QString::fromLocal8Bit(std::strerror(error)));
    }
}

bool CVault::storeSettings(const CvxConfig& settings)
{
    char bytes[CvxConfig::StoredSize];
    settings.Encode(bytes);
    if (m_file->FindRecord(KeyPlan::Settings))
        return m_file->UpdateRecord(bytes, CvxConfig::StoredSize);
    return m_file->AddRecord(KeyPlan::Settings, bytes, CvxConfig::StoredSize);
}

bool CVault::storeCategory(const CCategory& category)
{
    // Higher ids would land on the record marker and the records.
    if (category.id < 0 || category.id > KeyPlan::MaxCategoryId)
        return false;
    char bytes[CCategory::StoredSize];
    category.Encode(bytes);
    const int32_t key = KeyPlan::CategoryKey(category.id);
    if (m_file->FindRecord(key))
        return m_file->UpdateRecord(bytes, CCategory::StoredSize);
    return m_file->AddRecord(key, bytes, CCategory::StoredSize);
}

// The smallest unused record key from `from` on. Keys come back in
// ascending order, so one walk finds the first gap. Where the add puts a key
// that falls between two index blocks depends on where the cursor stands,
// so it ends as probing key by key would: on the last key in use, then the
// failed probe of the free one.
int32_t CVault::freeRecordKey(int32_t from)
{
    const int32_t free = m_file->FirstFreeKey(from);
    if (free != from) {
        m_file->FindRecord(free - 1);
        m_file->FindRecord(free);
    }
    return free;
}

bool CVault::storeRecord(CRecord& record, bool isNew)
{
    QByteArray bytes = record.Encode();
    bool stored;
    if (!isNew && m_file->FindRecord(record.key)) {
        stored = m_file->UpdateRecord(bytes.constData(), int32_t(bytes.size()));
    } else {
        const int32_t key = freeRecordKey(KeyPlan::RecordMarker);
        stored = m_file->AddRecord(key, bytes.constData(), int32_t(bytes.size()));
        if (stored)
            record.key = key;
    }
    wipe(bytes);
    return stored;
}

const CCipherKey* CVault::readKey() const
{
    return m_locked ? nullptr : &m_key;
}

QString CVault::text(const CRecord& record, int number) const
{
    QString out;
    record.GetDataText(number, out, readKey());
    return out;
}

// --- Password and lock --------------------------------------------------------------

bool CVault::verifyPassword(const QString& password) const
{
    if (!Password::IsLatin1(password) || password.length() != m_settings.passwordLength)
        return false;
    unsigned char block[8];
    Password::MakeVerifier(Password::KeyFor(password), block);
    return std::memcmp(block, m_settings.verifier, 8) == 0;
}

bool CVault::unlock(const QString& password)
{
    if (!verifyPassword(password))
        return false;
    m_key = Password::KeyFor(password);
    if (m_locked) {
        m_locked = false;
        emit lockChanged(false);
    }
    return true;
}

void CVault::lock()
{
    if (m_locked)
        return;
    m_locked = true;
    emit lockChanged(true);
}

CVaultResult CVault::changePassword(const QString& oldPassword, const QString& newPassword)
{
    const QString what = newPassword.isEmpty() ? tr("The password could not be removed.")
                                               : tr("The password could not be changed.");
    if (!Password::IsLatin1(newPassword))
        return CVaultResult::failure(tr("%1\n%2").arg(what, Password::NotLatin1Text()));
    if (hasPassword() && !verifyPassword(oldPassword))
        return CVaultResult::failure(tr("%1\nThe old password is incorrect.").arg(what));
    const CCipherKey oldKey = hasPassword() ? Password::KeyFor(oldPassword) : CCipherKey();

    const bool setting = !newPassword.isEmpty();
    CCipherKey newKey = setting ? Password::KeyFor(newPassword) : CCipherKey();
    CvxConfig settings = m_settings;
    if (setting) {
        Password::MakeVerifier(newKey, settings.verifier);
        settings.passwordLength = int32_t(newPassword.length());
    } else {
        std::memset(settings.verifier, 0, sizeof settings.verifier);
        settings.passwordLength = 0;
    }
    const bool willEncrypt = settings.hasPassword();

    const CVaultResult result = change(what, [&](QString*) {
        if (!recipherRecords(oldKey, newKey, willEncrypt))
            return false;
        // The same password again leaves the settings as they are.
        char before[CvxConfig::StoredSize];
        char after[CvxConfig::StoredSize];
        m_settings.Encode(before);
        settings.Encode(after);
        if (std::memcmp(before, after, sizeof before) != 0 && !storeSettings(settings))
            return false;
        m_settings = settings;
        return true;
    });
    if (result.ok())
        m_key = std::move(newKey);
    return result;
}

bool CVault::recipherRecords(const CCipherKey& oldKey, const CCipherKey& newKey, bool willEncrypt)
{
    if (m_recordsRead) {
        for (CRecord* r = m_records.first(); r; r = CRecords::nextOf(r)) {
            const CCategory* c = m_categories.GetCategory(r->category);
            if (!c || !c->isProtected)
                continue;
            if (r->encrypted)
                r->DecryptRecord(oldKey);
            if (willEncrypt)
                r->EncryptRecord(newKey);
            r->encrypted = willEncrypt;
            if (!storeRecord(*r, false))
                return false;
        }
        return true;
    }
    // Records not read yet are changed as the file holds them, in the
    // order it holds them, through one record and one buffer: none is
    // kept, and they are read later as changed. What loading would pass
    // over (a record that cannot be read) is passed over here too.
    const bool encrypted = m_settings.hasPassword();
    CRecord record;
    QByteArray buffer;
    CWipedBuffer encoded;
    bool ok = true;
    if (m_file->FindRecord(KeyPlan::RecordMarker)) {
        while (ok && m_file->FindNextRecord()) {
            if (!ReadCurrentRecord(*m_file, buffer))
                continue;
            record.Decode(buffer.constData(), int(buffer.size()));
            const CCategory* c = m_categories.GetCategory(record.category);
            if (!c || !c->isProtected)
                continue;
            if (encrypted)
                record.DecryptRecord(oldKey);
            if (willEncrypt)
                record.EncryptRecord(newKey);
            const int size = record.EncodedSize();
            if (encoded.size() < size_t(size))
                encoded = CWipedBuffer(size_t(size) * 2);
            record.EncodeTo(encoded);
            ok = m_file->UpdateRecord(encoded, size);
        }
    }
    wipe(buffer);
    return ok;
}

// --- Records ----------------------------------------------------------------------------

CVaultResult CVault::addRecord(int categoryId, const Texts& texts, int* key)
{
    const QString what = tr("The new record could not be saved.");
    const CCategory* category = m_categories.byId(categoryId);
    if (!category)
        return CVaultResult::failure(tr("%1\nIts category does not exist.").arg(what));
    const bool protect = category->isProtected && hasPassword();
    if (protect && m_locked)
        return CVaultResult::failure(tr("%1\nPlease unlock the data first.").arg(what));
    return change(what, [&](QString*) {
        auto* record = new CRecord;
        record->category = categoryId;
        record->encrypted = protect;
        record->SetDataText(texts, protect ? &m_key : nullptr);
        loadedRecords().Append(record);
        if (!storeRecord(*record, true))
            return false;
        if (key)
            *key = record->key;
        return true;
    });
}

CVaultResult CVault::updateRecord(int key, const Texts& texts)
{
    const QString what = tr("The record could not be saved.");
    CRecord* record = loadedRecords().find(key);
    if (!record)
        return CVaultResult::failure(tr("%1\nIt no longer exists.").arg(what));
    if (record->encrypted && m_locked)
        return CVaultResult::failure(tr("%1\nPlease unlock the data first.").arg(what));
    return change(what, [&](QString*) {
        record->SetDataText(texts, record->encrypted ? &m_key : nullptr);
        return storeRecord(*record, false);
    });
}

CVaultResult CVault::deleteRecord(int key)
{
    const QString what = tr("The record could not be deleted.");
    CRecord* record = loadedRecords().find(key);
    if (!record)
        return CVaultResult::success();
    if (record->encrypted && m_locked)
        return CVaultResult::failure(tr("%1\nPlease unlock the data first.").arg(what));
    return change(what, [&](QString*) {
        // A record the file had lost already only leaves memory.
        if (m_file->FindRecord(key) && !m_file->DeleteRecord())
            return false;
        m_records.Delete(record);
        return true;
    });
}

// --- Categories --------------------------------------------------------------------------

CVaultResult CVault::addCategory(const CCategory& data, int* id)
{
    const QString what = tr("The new category could not be saved.");
    if (m_categories.named(data.name))
        return CVaultResult::failure(tr("%1\nAnother category has this name.").arg(what));
    CCategory* category = m_categories.CreateNew();
    if (category->id < 0 || category->id > KeyPlan::MaxCategoryId) {
        delete category;
        return CVaultResult::failure(tr("%1\nNo category id is left.").arg(what));
    }
    category->name = data.name;
    category->icon = data.icon;
    category->isProtected = data.isProtected;
    for (int i = 0; i < 6; ++i)
        category->labels[i] = data.labels[i];
    return change(what, [&](QString*) {
        if (!m_categories.InsertSeq(category, true)) {
            delete category;
            return false;
        }
        if (id)
            *id = category->id;
        return storeCategory(*category);
    });
}

CVaultResult CVault::updateCategory(const CCategory& data)
{
    const QString what = tr("The category could not be saved.");
    CCategory* category = m_categories.byId(data.id);
    if (!category)
        return CVaultResult::failure(tr("%1\nIt no longer exists.").arg(what));
    const CCategory* same = m_categories.named(data.name);
    if (same && same != category)
        return CVaultResult::failure(tr("%1\nAnother category has this name.").arg(what));
    const bool recipher = category->isProtected != data.isProtected && hasPassword();
    if (recipher && m_locked)
        return CVaultResult::failure(tr("%1\nPlease unlock the data first.").arg(what));
    return change(what, [&](QString*) {
        if (recipher) {
            for (CRecord* r = loadedRecords().first(); r; r = CRecords::nextOf(r)) {
                if (r->category != category->id)
                    continue;
                if (data.isProtected && !r->encrypted)
                    r->EncryptRecord(m_key);
                else if (!data.isProtected && r->encrypted)
                    r->DecryptRecord(m_key);
                r->encrypted = data.isProtected;
                if (!storeRecord(*r, false))
                    return false;
            }
        }
        // Out and in again: the name decides the place.
        m_categories.Unlink(category);
        category->name = data.name;
        category->icon = data.icon;
        category->isProtected = data.isProtected;
        for (int i = 0; i < 6; ++i)
            category->labels[i] = data.labels[i];
        if (!m_categories.InsertSeq(category, true)) {
            delete category;
            return false;
        }
        return storeCategory(*category);
    });
}

CVaultResult CVault::deleteCategory(int id)
{
    const QString what = tr("The category could not be deleted.");
    CCategory* category = m_categories.byId(id);
    if (!category)
        return CVaultResult::success();
    for (CRecord* r = loadedRecords().first(); r; r = CRecords::nextOf(r)) {
        if (r->category == id)
            return CVaultResult::failure(tr("%1\nIt still holds records.").arg(what));
    }
    return change(what, [&](QString*) {
        if (id >= 0 && id <= KeyPlan::MaxCategoryId && m_file->FindRecord(KeyPlan::CategoryKey(id))
            && !m_file->DeleteRecord())
            return false;
        m_categories.Delete(category);
        return true;
    });
}

// --- Settings -------------------------------------------------------------------------------

CVaultResult CVault::saveSettings(const CvxConfig& settings)
{
    CvxConfig stored = settings;
    std::memcpy(stored.verifier, m_settings.verifier, sizeof stored.verifier);
    stored.passwordLength = m_settings.passwordLength;
    stored.iconNames = m_settings.iconNames;
    char before[CvxConfig::StoredSize];
    char after[CvxConfig::StoredSize];
    m_settings.Encode(before);
    stored.Encode(after);
    if (std::memcmp(before, after, CvxConfig::StoredSize) == 0)
        return CVaultResult::success();
    const CVaultResult result = change(tr("The configuration could not be saved."), [&](QString*) {
        if (!storeSettings(stored))
            return false;
        m_settings = stored;
        return true;
    });
    emit settingsChanged();
    return result;
}

// --- Import -----------------------------------------------------------------------------------

CVaultResult CVault::importRows(const QVector<ImportRow>& rows, const QString& icon, int* added,
                                QVector<ImportSkip>* skipped)
{
    qsizetype at = 0;
    const RowSource next = [&](ImportRow& row) {
        if (at >= rows.size())
            return false;
        row = rows[at++];
        return true;
    };
    return importRows(next, icon, added, skipped);
}

CVaultResult CVault::importRows(const RowSource& next, const QString& icon, int* added, QVector<ImportSkip>* skipped)
{
    if (added)
        *added = 0;
    const bool passwordSet = hasPassword();
    int count = 0;
    QVector<ImportSkip> skips;
    const CVaultResult result = change(tr("The imported records could not be saved."), [&](QString*) {
        int32_t nextKey = KeyPlan::RecordMarker;
        // Categories found so far, by name in capitals: a new category is
        // only made for a name no category has, so what was found stays.
        QHash<QString, CCategory*> found;
        // The same spelling again, the common case, is found without
        // turning it into capitals.
        QHash<QString, CCategory*> spelt;
        CRecord scratch;
        CWipedBuffer encoded;
        ImportRow row;
        while (next(row)) {
            CCategory* category = spelt.value(row.category);
            const bool seen = category != nullptr;
            const QString name = seen ? QString() : row.category.toUpper();
            if (!seen)
                category = found.value(name);
            if (!category)
                category = m_categories.find(row.category);
            if (!category) {
                category = m_categories.CreateNew();
                if (category->id < 0 || category->id > KeyPlan::MaxCategoryId) {
                    delete category;
                    skips.append({row.line, tr("No category id is left for the category \"%1\".").arg(row.category)});
                    continue;
                }
                category->name = row.category;
                category->icon = icon;
                // Stored data, not a user text: the same in every language.
                for (int i = 0; i < 6; ++i)
                    category->labels[i] = QStringLiteral("Field %1").arg(i + 1);
                if (!m_categories.InsertSeq(category, true)) {
                    delete category;
                    return false;
                }
                if (!storeCategory(*category))
                    return false;
            }
            if (!seen) {
                found.insert(name, category);
                spelt.insert(row.category, category);
            }
            const bool protect = category->isProtected && passwordSet;
            if (protect && m_locked) {
                skips.append({row.line, tr("Its category is protected and the data is locked.")});
                continue;
            }
            // Records not read yet will be read with this one among them;
            // until then one record and one buffer serve every row.
            std::unique_ptr<CRecord> kept = m_recordsRead ? std::make_unique<CRecord>() : nullptr;
            CRecord& record = kept ? *kept : scratch;
            record.category = category->id;
            record.encrypted = protect;
            record.SetDataText(row.texts, protect ? &m_key : nullptr);
            const int size = record.EncodedSize();
            if (encoded.size() < size_t(size))
                encoded = CWipedBuffer(size_t(size) * 2);
            record.EncodeTo(encoded);
            nextKey = freeRecordKey(nextKey);
            if (!m_file->AddRecord(nextKey, encoded, size))
                return false;
            if (kept) {
                kept->key = nextKey;
                m_records.Append(kept.release());
            }
            // Rows are only added, so every key below stays in use: the
            // next search goes on from here instead of from the start.
            ++nextKey;
            ++count;
        }
        return true;
    });
    if (result.ok()) {
        if (added)
            *added = count;
        if (skipped)
            *skipped = skips;
    }
    return result;
}
