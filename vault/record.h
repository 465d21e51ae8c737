#ifndef VAULTIX_VAULT_RECORD_H
#define VAULTIX_VAULT_RECORD_H

#include "vault/dlist.h"
#include "crypto/wipe.h"

class CCipherKey;

#include <QByteArray>
#include <QString>

// One stored secret, as plain data (the vault stores it): field 1 in plain, fields 2 to 6 and the note held in one
// buffer that is enciphered as a whole while `encrypted` is true.
class CRecord : public CDListNode
{
public:
    static constexpr int HeadSize = 36;
    static constexpr int TextCount = 7;   // field 1, fields 2 to 6, the note

    CRecord();
    ~CRecord() override;
    CRecord(const CRecord&) = delete;
    CRecord& operator=(const CRecord&) = delete;

    int category = -1;
    int fieldLength[6] = {0, 0, 0, 0, 0, 0};
    int fieldDataLength = 0;
    CWipedBuffer fieldData;         // fieldDataLength rounded up to 8, + 1 bytes
    CWipedBuffer firstField;        // firstFieldLength + 1 bytes, NUL-terminated
    int firstFieldLength = 0;
    int key = -1;
    bool encrypted = false;

    // Text 0 is field 1, 1 to 5 fields 2 to 6, 6 the note. An enciphered
    // text is deciphered with `key` into a wiped copy; without a key (the
    // data is locked) it reads as "******".
    void GetDataText(int number, QString& text, const CCipherKey* key) const;
    // Stores the texts; enciphers them with `key` when `encrypted` is set.
    void SetDataText(const QString (&texts)[TextCount], const CCipherKey* key);
    // Runs the cipher over the field data in place.
    void EncryptRecord(const CCipherKey& key);
    void DecryptRecord(const CCipherKey& key);

    // The stored form, and back from `size` bytes of a possibly damaged record.
    QByteArray Encode() const;
    // The stored form's length, and the stored form written to `out`,
    // which holds at least that many bytes.
    int EncodedSize() const;
    void EncodeTo(char* out) const;
    void Decode(const char* data, int size);

private:
    // Wipes the texts before their memory goes back.
    void FreeBuffers();
};

#endif
