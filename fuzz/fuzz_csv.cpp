// Feeds arbitrary bytes to the CSV field reader and to the import into a
// fresh default data file, which must check sound afterwards. The field
// reader is also asked at every position of the first line.
#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "csv/csvfield.h"
#include "csv/csvimport.h"
#include "vault/appfile.h"
#include "vault/categories.h"
#include "vault/defaultdb.h"
#include "vault/records.h"
#include "storage/cxfile.h"
#include "storage/cxfilecheck.h"

#include <QByteArray>
#include <QFile>
#include <QString>

#include <cstdint>
#include <string>

#include <unistd.h>

namespace {

// Syncs cost the fuzzer its speed and prove nothing here.
class QuietFile : public CxFile
{
public:
    QuietFile() : CxFile(_AppSignature) {}
    void FlushToDisk() override {}
};

class FuzzConfig : public CvxConfig
{
public:
    FuzzConfig() : CvxConfig(NoFile{}) {}
};

const std::string& scratchPath()
{
    static const std::string path = "/tmp/fuzz_csv_" + std::to_string(getpid()) + ".dat";
    return path;
}

void fieldReader(const QString& text)
{
    const QString line = text.left(int(text.indexOf(u'\n')));
    QString value;
    for (int start = 0; start <= line.size() + 1; ++start) {
        int pos = start;
        for (int i = 0; i < 10; ++i) {
            const int next = GetNextCSVfield(line, pos, value);
            // Never backwards, never past the end (unless it started there).
            if (next < pos || (next > line.size() && next != pos) || value.size() > line.size())
                __builtin_trap();
            pos = next;
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size > 1 << 16)
        return 0;
    const QByteArray bytes(reinterpret_cast<const char*>(data), int(size));
    fieldReader(DecodeCSV(bytes));

    QuietFile file;
    if (file.Create(scratchPath().c_str(), 128, 1, 0) != 0)
        return 0;
    _AppFile = &file;
    _AppCfg = new FuzzConfig;
    CreateDefaultDatabase();
    {
        CCategories categories;
        CRecords records;
        categories.LoadAll();
        ImportCSVBytes(bytes, &categories, &records);
        for (CCategory* c = categories.first(); c; c = CCategories::nextOf(c)) {
            if (c->name.size() > 31 || c->id < 0 || c->id > 898)
                __builtin_trap();
        }
    }
    delete _AppCfg;
    _AppCfg = nullptr;
    file.Close();
    _AppFile = nullptr;

    QFile written(QString::fromStdString(scratchPath()));
    if (!written.open(QIODevice::ReadOnly))
        __builtin_trap();
    CxFileCheck check(written.readAll(), _AppSignature);
    if (!check.run())
        __builtin_trap();
    return 0;
}
