#include "vault/defaultdb.h"

#include "vault/keyplan.h"
#include "vault/category.h"
#include "storage/cxfile.h"

namespace {

struct DefaultCategory
{
    int id;
    bool isProtected;
    const char* icon;
    const char* name;
    const char* labels[6];
};

const DefaultCategory dfltCats[] = {
    {0, true, "icon_dollar", "Bank", {"Bank", "Account #", "PIN", "", "", ""}},
    {1, true, "icon_ccard1", "Credit Card", {"Card", "Account #", "Exp", "PIN", "", ""}},
    {2, false, "icon_person", "Personal ID", {"Type", "Name", "ID #", "Exp", "", ""}},
    {3, false, "icon_mail", "Email", {"Service", "User Name", "Password", "POP3", "SMTP", ""}},
    {4, false, "icon_appliance", "Serial No.", {"Item", "Make", "Model", "Serial #", "", ""}},
    {5, false, "icon_air2", "Frequent Flyer", {"Airline", "Name", "Number", "Web", "PIN", ""}},
    {6, false, "icon_phone1", "Voice Mail", {"Service", "Access #", "PIN", "", "", ""}},
    {7, false, "icon_world", "Web Login", {"Description", "URL", "User Name", "Password", "", ""}},
    {8, true, "icon_combolock", "Combination lock", {"Description", "Code", "", "", "", ""}},
    {9, false, "icon_computer1", "Computer Login", {"System", "User Name", "Password", "", "", ""}},
    {10, false, "icon_phone2", "Calling Card", {"Company", "Access #", "PIN", "", "", ""}},
    {11, false, "icon_disk", "Software", {"Application", "Version", "Serial #", "Owner", "Key", ""}},
};

} // namespace

bool CreateDefaultDatabase(CxFile& file)
{
    // The markers let a load find the first key of each range; an existing
    // marker is left as it is.
    const char marker[1] = {0};
    if (!file.FindRecord(KeyPlan::CategoryMarker) && !file.AddRecord(KeyPlan::CategoryMarker, marker, 1))
        return false;
    if (!file.FindRecord(KeyPlan::RecordMarker) && !file.AddRecord(KeyPlan::RecordMarker, marker, 1))
        return false;
    for (const DefaultCategory& row : dfltCats) {
        CCategory c;
        c.id = row.id;
        c.isProtected = row.isProtected;
        c.icon = QString::fromLatin1(row.icon);
        c.name = QString::fromLatin1(row.name);
        for (int i = 0; i < 6; ++i)
            c.labels[i] = QString::fromLatin1(row.labels[i]);
        char bytes[CCategory::StoredSize];
        c.Encode(bytes);
        const int32_t key = KeyPlan::CategoryKey(c.id);
        const bool stored = file.FindRecord(key) ? file.UpdateRecord(bytes, CCategory::StoredSize)
                                                 : file.AddRecord(key, bytes, CCategory::StoredSize);
        if (!stored)
            return false;
    }
    return true;
}
