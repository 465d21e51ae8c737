#ifndef VAULTIX_VAULT_RECORD_H
#define VAULTIX_VAULT_RECORD_H

#include "vault/dlist.h"
#include "crypto/wipe.h"

#include <QByteArray>
#include <QString>

class CCategories;

// One stored secret: field 1 in plain, fields 2 to 6 and the note held in one
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

    // Text 0 is field 1, 1 to 5 fields 2 to 6, 6 the note.
    void GetDataText(int number, QString& text) const;
    void SetDataText(const QString& t0, const QString& t1, const QString& t2, const QString& t3,
                     const QString& t4, const QString& t5, const QString& t6);
    void WriteRecord(bool update);
    bool EncryptRecord(CCategories* categories);
    bool DecryptRecord(CCategories* categories);

    // The stored form, and back from `size` bytes of a possibly damaged record.
    QByteArray Encode() const;
    void Decode(const char* data, int size);

private:
    // Wipes the texts before their memory goes back.
    void FreeBuffers();
    // Runs the cipher over the field data when the category is protected.
    bool Recipher(CCategories* categories, void (*cipher)(char*, int));
};

#endif
