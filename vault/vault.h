#ifndef VAULTIX_VAULT_VAULT_H
#define VAULTIX_VAULT_VAULT_H

#include "crypto/cipherkey.h"
#include "vault/categories.h"
#include "vault/records.h"
#include "vault/session.h"
#include "vault/vaultresult.h"
#include "vault/vxconfig.h"

#include <QObject>
#include <QString>
#include <QVector>

#include <functional>

class CxFile;

// The open data file and everything read from it: the settings, the
// categories, the records, the cipher key and the lock. Every change is one
// call here and one transaction of the record file; it either reaches the
// disk whole or leaves the file as it was, and then memory is read back
// from the file, so that what is shown is always what is stored.
class CVault : public QObject
{
    Q_OBJECT

public:
    static constexpr int TextCount = CRecord::TextCount;
    using Texts = QString[TextCount];

    explicit CVault(const QString& dataFile, QObject* parent = nullptr);
    ~CVault() override;

    // Probing, locking and the damaged-file copy come before open().
    CSession& session() { return m_session; }
    const QString& dataFile() const { return m_session.dataFile(); }

    // Opens the file (creating it with the default settings and categories
    // when missing or empty) and reads it. False with `error` set when the
    // file must not or cannot be used; see CSession::open.
    bool open(bool acceptDamaged = false, QString* error = nullptr);
    bool isOpen() const;
    // Closes the file; nothing is written (every change is already stored).
    void close();

    // --- What is stored -----------------------------------------------------
    const CvxConfig& settings() const { return m_settings; }
    const CCategories& categories() const { return m_categories; }
    // Read from the file when first asked for: a change that needs none of
    // them (an import) does not pay for reading them all.
    const CRecords& records() const { return loadedRecords(); }
    // A record's text: enciphered ones deciphered while unlocked, "******"
    // while locked.
    QString text(const CRecord& record, int number) const;
    // Whether the record's protected texts are enciphered.
    bool isEncrypted(const CRecord& record) const { return record.encrypted; }

    // --- Password and lock ------------------------------------------------------
    bool hasPassword() const { return m_settings.hasPassword(); }
    bool isLocked() const { return m_locked; }
    // Locked and a password set: protected data cannot be read.
    bool protectedDataLocked() const { return m_locked && hasPassword(); }
    // Whether `password` is the master password. Changes nothing: the check
    // uses a key of its own.
    bool verifyPassword(const QString& password) const;
    // Takes the key over and clears the lock when the password is right.
    [[nodiscard]] bool unlock(const QString& password);
    void lock();
    // Sets (none yet: `oldPassword` empty), changes, or with an empty
    // `newPassword` removes the master password: every protected record and
    // the verifier in one transaction. The lock stays as it is; the key
    // becomes the new password's only when the change is stored.
    [[nodiscard]] CVaultResult changePassword(const QString& oldPassword, const QString& newPassword);

    // --- Records -------------------------------------------------------------------
    // `texts`: field 1, fields 2 to 6, the note. A record of a protected
    // category is enciphered when a password is set (the data must then be
    // unlocked). `key` gets the new record's key.
    [[nodiscard]] CVaultResult addRecord(int categoryId, const Texts& texts, int* key = nullptr);
    [[nodiscard]] CVaultResult updateRecord(int key, const Texts& texts);
    [[nodiscard]] CVaultResult deleteRecord(int key);

    // --- Categories ----------------------------------------------------------------
    // A new category with a free id, from the name, icon, labels and
    // protection of `data`; `id` gets its id.
    [[nodiscard]] CVaultResult addCategory(const CCategory& data, int* id = nullptr);
    // Name, icon, labels and protection of the category `data.id`; a
    // change of protection enciphers or deciphers its records too.
    [[nodiscard]] CVaultResult updateCategory(const CCategory& data);
    // The category and its records.
    [[nodiscard]] CVaultResult deleteCategory(int id);

    // --- Settings ----------------------------------------------------------------------
    // Colours, autolock, the warning and clear-text options of `settings`;
    // the password fields are the vault's own and are kept.
    [[nodiscard]] CVaultResult saveSettings(const CvxConfig& settings);

    // --- Import ------------------------------------------------------------------------
    struct ImportRow
    {
        int line = 0;
        QString category;
        QString texts[TextCount];
    };
    struct ImportSkip
    {
        int line = 0;
        QString reason;
    };
    // Adds one record per row, creating categories by name (ignoring case)
    // with `icon`; all rows are one transaction. Rows that cannot be stored
    // (no category id left) are skipped and listed; `added` gets the count.
    [[nodiscard]] CVaultResult importRows(const QVector<ImportRow>& rows, const QString& icon, int* added,
                                          QVector<ImportSkip>* skipped);
    // The same for rows handed over one at a time by `next` (false when
    // there are none left), so that they need not all be held at once.
    using RowSource = std::function<bool(ImportRow& row)>;
    [[nodiscard]] CVaultResult importRows(const RowSource& next, const QString& icon, int* added,
                                          QVector<ImportSkip>* skipped);

signals:
    // The categories or records changed (also after a failed change, when
    // memory was read back from the file).
    void changed();
    void lockChanged(bool locked);
    void settingsChanged();

private:
    bool load(QString* error);
    // Deciphers the protected records with `oldKey` (when they are
    // enciphered) and stores them enciphered with `newKey` (when
    // `willEncrypt`), within the open change.
    bool recipherRecords(const CCipherKey& oldKey, const CCipherKey& newKey, bool willEncrypt);
    void readCollections();
    CRecords& loadedRecords() const;
    CVaultResult change(const QString& what, const std::function<bool(QString*)>& body);
    QString causeText() const;
    bool storeRecord(CRecord& record, bool isNew);
    bool storeCategory(const CCategory& category);
    bool storeSettings(const CvxConfig& settings);
    int32_t freeRecordKey(int32_t from);
    const CCipherKey* readKey() const;

    CSession m_session;
    CxFile* m_file = nullptr;
    CvxConfig m_settings;
    CCategories m_categories;
    mutable CRecords m_records;
    mutable bool m_recordsRead = false;
    CCipherKey m_key;
    bool m_locked = true;
};

#endif
