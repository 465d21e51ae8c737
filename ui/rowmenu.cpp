#include "ui/rowmenu.h"

#include "ui/clipboardguard.h"
#include "ui/dlgrecordedit.h"
#include "ui/unlockdatabase.h"
#include "vault/preferences.h"
#include "vault/vault.h"

namespace {

bool holdsText(const CRecord& record, int number)
{
    if (number == 0)
        return record.firstFieldLength > 0 && record.firstField && record.firstField[0] != '\0';
    return record.fieldLength[number - 1] > 0;
}

} // namespace

CRowMenu::CRowMenu(const CListContext& list, const CRecord& record)
    : QMenu(list.widget)
{
    setObjectName(QStringLiteral("rowMenu"));
    addAction(tr("View"))->setData(int(View));
    addAction(tr("Edit"))->setData(int(Edit));
    addAction(tr("Delete"))->setData(int(Delete));

    const CCategory* category = list.vault.categories().byId(record.category);
    bool separated = false;
    for (int number = 0; number < CdlgRecordEdit::FieldCount; ++number) {
        if (!holdsText(record, number))
            continue;
        if (!separated)
            addSeparator();
        separated = true;
        QString label = category ? category->labels[number] : QString();
        if (label.trimmed().isEmpty())
            label = tr("Field %1").arg(number + 1);
        // A label's "&" is a letter here, not a shortcut mark.
        label.replace(QLatin1Char('&'), QStringLiteral("&&"));
        addAction(tr("Copy %1").arg(label))->setData(number);
    }
}

void CRowMenu::Run(const CListContext& list, int key, const QPoint& at)
{
    int command = 0;
    {
        const CRecord* record = list.vault.records().find(key);
        if (!record)
            return;
        CRowMenu menu(list, *record);
        const QAction* chosen = menu.exec(at);
        if (!chosen)
            return;
        command = chosen->data().toInt();
    }
    switch (command) {
    case View:
        if (const CRecord* record = list.vault.records().find(key))
            CdlgRecordEdit::Run(list, record);
        return;
    case Edit:
        CdlgRecordEdit::RunEdit(list, key);
        return;
    case Delete:
        CdlgRecordEdit::RunDelete(list, key);
        return;
    default:
        Copy(list, key, command);
        return;
    }
}

void CRowMenu::Copy(const CListContext& list, int key, int number)
{
    CVault& vault = list.vault;
    const CRecord* record = vault.records().find(key);
    if (record && number > 0 && record->encrypted && vault.isLocked()
        && !UnlockDatabase(vault, list.widget, list.widget, QString()))
        return;
    // Unlocking rebuilt the rows, not the records; look again all the same.
    record = vault.records().find(key);
    if (!record)
        return;
    QString text = vault.text(*record, number);
    list.clipboard->copy(text, CPreferences().clipboardSeconds);
    text.fill(QChar(' '));
}
