#include "ui/dlgrecordedit.h"

#include "crypto/passwordgenerator.h"
#include "platform/messagebox.h"
#include "platform/resource.h"
#include "ui/guardedcopy.h"
#include "ui/noteedit.h"
#include "ui/shell.h"
#include "ui/unlockdatabase.h"
#include "vault/vault.h"

#include <QComboBox>
#include <QIcon>
#include <QLabel>
#include <QLineEdit>
#include <QPalette>
#include <QPushButton>

namespace {

constexpr int DesignWidth = 195;
constexpr int DesignHeight = 273;

// One "?" for each character Latin-1 cannot hold, a pair of UTF-16 halves
// being one character; the record stores one byte per character.
QString latin1Safe(const QString& text)
{
    QString out;
    out.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar c = text.at(i);
        if (c.isHighSurrogate() && i + 1 < text.size() && text.at(i + 1).isLowSurrogate())
            ++i;
        out += c.unicode() > 0xff ? QChar('?') : c;
    }
    return out;
}

} // namespace

CdlgRecordEdit::CdlgRecordEdit(const CListContext& list, const CRecord* record)
    : CQPEDialog(list.widget, DesignWidth, DesignHeight)
    , m_vault(list.vault)
    , m_key(record ? record->key : -1)
    , m_editing(!record)
    , m_isNew(!record)
{
    setWindowTitle(record ? tr("View Record") : tr("New Record"));

    m_btnEdit = makeIconButton("edit", QStringLiteral("korel/buttons/edit"), 139);
    m_btnDelete = makeIconButton("delete", QStringLiteral("korel/buttons/delete"), 165);
    // Beside them, in words: there is no picture for it on the handheld.
    m_btnGenerate = new QPushButton(tr("Generate"), this);
    m_btnGenerate->setObjectName(QStringLiteral("generate"));
    m_btnGenerate->setGeometry(5, 5, 64, 23);
    m_btnGenerate->setFocusPolicy(Qt::NoFocus);
    m_btnGenerate->setAutoDefault(false);

    makeLabel(this, tr("Category:"), 5, 36, 50, 16);
    m_category = new QComboBox(this);
    m_category->setObjectName(QStringLiteral("category"));
    m_category->setGeometry(60, 36, 130, 20);

    for (int i = 0; i < FieldCount; ++i) {
        const int y = 66 + 18 * i;
        m_labels[i] = makeLabel(this, QString(), 5, y, 58, 16);
        m_labels[i]->setObjectName(QStringLiteral("label%1").arg(i + 1));
        m_fields[i] = new QLineEdit(this);
        m_fields[i]->setObjectName(QStringLiteral("field%1").arg(i + 1));
        m_fields[i]->setGeometry(65, y, 125, 18);
        m_fields[i]->setMaxLength(FieldMaxLength);
    }

    makeLabel(this, tr("Note:"), 5, 174, 50, 16);
    m_note = new CNoteEdit(NoteMaxLength, this);
    m_note->setObjectName(QStringLiteral("note"));
    m_note->setGeometry(5, 194, 185, 72);

    // The last category whose id matches wins; none leaves the first.
    const int wanted = record ? record->category : list.filter;
    int index = 0;
    int at = 0;
    for (CCategory* c = m_vault.categories().first(); c; c = CCategories::nextOf(c), ++at) {
        m_category->addItem(c->name);
        if (!m_currentCategory)
            m_currentCategory = c;
        if (c->id == wanted) {
            m_currentCategory = c;
            index = at;
        }
    }
    m_category->setCurrentIndex(index);
    UpdateFieldLabels(m_currentCategory);

    if (record) {
        for (int i = 0; i < FieldCount; ++i) {
            const QString value = m_vault.text(*record, i);
            // A stored text longer than the limit (from elsewhere) is shown
            // whole, and is not cut by merely opening it.
            if (value.size() > FieldMaxLength)
                m_fields[i]->setMaxLength(int(value.size()));
            m_fields[i]->setText(value);
            // A long value is read from its start.
            m_fields[i]->setCursorPosition(0);
        }
        m_note->setPlainText(m_vault.text(*record, FieldCount));
    }
    for (int i = 0; i <= FieldCount; ++i)
        m_shown[i] = text(i);

    // Reading a record is what the dialog is mostly for: the disabled
    // combo keeps the normal text colour on its grey ground, and the
    // read-only fields of the view look the same.
    QPalette readable = palette();
    for (QPalette::ColorRole role : {QPalette::Text, QPalette::ButtonText})
        readable.setColor(QPalette::Disabled, role, readable.color(QPalette::Active, role));
    m_category->setPalette(readable);
    m_viewPalette = readable;
    for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive})
        m_viewPalette.setColor(group, QPalette::Base, readable.color(QPalette::Disabled, QPalette::Base));

    // Texts copied from the record are secrets like those of the row menu.
    if (list.clipboard) {
        auto* guarded = new CGuardedCopy(list.clipboard, this);
        for (QLineEdit* field : m_fields)
            guarded->watch(field);
        guarded->watch(m_note);
    }

    connect(m_btnEdit, &QPushButton::clicked, this, &CdlgRecordEdit::slotBtnEdit);
    connect(m_btnDelete, &QPushButton::clicked, this, &CdlgRecordEdit::slotBtnDelete);
    connect(m_btnGenerate, &QPushButton::clicked, this, &CdlgRecordEdit::slotBtnGenerate);
    connect(m_category, &QComboBox::textActivated, this, &CdlgRecordEdit::slotCategoryChanged);
    UpdateControlState();
    if (m_isNew)
        m_fields[0]->setFocus();
}

bool CdlgRecordEdit::confirmDelete(QWidget* parent, const CVault& vault, const CRecord& record)
{
    return CMessageBox::question(parent, tr("Delete Record?"),
                                 tr("Are you sure you want to delete\nthe: %1\nrecord ?").arg(vault.text(record, 0)),
                                 QMessageBox::Information);
}

QString CdlgRecordEdit::lockedEditText()
{
    return tr("Unable to edit an\nencrypted record.\nPlease unlock the data first.");
}

QString CdlgRecordEdit::lockedDeleteText()
{
    return tr("Unable to delete an\nencrypted record.\nPlease unlock the data first.");
}

CdlgRecordEdit::~CdlgRecordEdit()
{
    // Leave no deciphered text in the editors' buffers.
    for (QLineEdit* field : m_fields)
        field->clear();
    m_note->clear();
}

QPushButton* CdlgRecordEdit::makeIconButton(const char* name, const QString& picture, int x)
{
    QIcon icon;
    const QPixmap normal = Resource::loadPixmap(picture);
    icon.addPixmap(normal, QIcon::Normal);
    icon.addPixmap(Resource::loadPixmap(picture + QStringLiteral("_inactv")), QIcon::Disabled);
    auto* button = new QPushButton(this);
    button->setObjectName(QString::fromLatin1(name));
    button->setGeometry(x, 3, 25, 27);
    button->setIcon(icon);
    if (!normal.isNull())
        button->setIconSize(normal.size());
    // Pen buttons: the keyboard focus stays in the form's fields, and
    // Return belongs to the dialog.
    button->setFocusPolicy(Qt::NoFocus);
    button->setAutoDefault(false);
    return button;
}

void CdlgRecordEdit::Run(const CListContext& list, const CRecord* record)
{
    CdlgRecordEdit dlg(list, record);
    dlg.exec();
}

void CdlgRecordEdit::RunEdit(const CListContext& list, int key)
{
    CVault& vault = list.vault;
    const CRecord* shown = vault.records().find(key);
    if (shown && shown->encrypted && vault.isLocked()
        && !UnlockDatabase(vault, list.widget, list.widget, lockedEditText()))
        return;
    shown = vault.records().find(key);
    if (!shown)
        return;
    CdlgRecordEdit dlg(list, shown);
    dlg.slotBtnEdit();
    dlg.exec();
}

void CdlgRecordEdit::RunDelete(const CListContext& list, int key)
{
    CVault& vault = list.vault;
    const CRecord* shown = vault.records().find(key);
    if (!shown || !confirmDelete(list.widget, vault, *shown))
        return;
    if (shown->encrypted && vault.isLocked()
        && !UnlockDatabase(vault, list.widget, list.widget, lockedDeleteText()))
        return;
    const CVaultResult result = vault.deleteRecord(key);
    if (!result.ok())
        CMessageBox::critical(list.widget, Shell::Title(), result.error());
}

const CRecord* CdlgRecordEdit::record() const
{
    return m_key < 0 ? nullptr : m_vault.records().find(m_key);
}

void CdlgRecordEdit::fail(const QString& error)
{
    CMessageBox::critical(this, Shell::Title(), error);
    m_done = true;
    QDialog::reject();
}

QString CdlgRecordEdit::text(int number) const
{
    return number < FieldCount ? m_fields[number]->text() : m_note->toPlainText();
}

void CdlgRecordEdit::UpdateFieldLabels(const CCategory* category)
{
    if (!category)
        return;
    m_currentCategory = category;
    for (int i = 0; i < FieldCount; ++i)
        m_labels[i]->setText(category->labels[i]);
}

void CdlgRecordEdit::slotCategoryChanged(const QString& name)
{
    const CCategory* match = nullptr;
    for (CCategory* c = m_vault.categories().first(); c && !match; c = CCategories::nextOf(c)) {
        if (c->name == name)
            match = c;
    }
    UpdateFieldLabels(match);
}

void CdlgRecordEdit::UpdateControlState()
{
    // The category of a stored record is never changed here.
    m_category->setEnabled(m_editing && m_isNew);
    m_btnEdit->setEnabled(!m_editing);
    m_btnDelete->setEnabled(!m_editing);
    m_btnGenerate->setEnabled(m_editing);
    // Viewed fields are read-only rather than disabled, so that a long
    // value can be scrolled through, selected and copied.
    // Viewing, none takes the focus before it is tapped.
    const QPalette& look = m_editing ? palette() : m_viewPalette;
    const Qt::FocusPolicy focus = m_editing ? Qt::StrongFocus : Qt::ClickFocus;
    for (QLineEdit* field : m_fields) {
        field->setReadOnly(!m_editing);
        field->setPalette(look);
        field->setFocusPolicy(focus);
    }
    m_note->setReadOnly(!m_editing);
    m_note->setPalette(look);
    m_note->setFocusPolicy(focus);
}

void CdlgRecordEdit::slotBtnEdit()
{
    if (m_editing)
        return;
    const CRecord* shown = record();
    if (m_vault.isLocked() && shown && shown->encrypted) {
        CMessageBox::information(this, tr("Edit Record"), lockedEditText());
        return;
    }
    m_editing = true;
    UpdateControlState();
    // Typing goes on where a value ends, as it always did when editing.
    for (QLineEdit* field : m_fields)
        field->end(false);
    setWindowTitle(tr("Edit Record"));
    m_fields[0]->setFocus();
}

void CdlgRecordEdit::slotBtnGenerate()
{
    // The button takes no focus, so the field the user was in still has it.
    QWidget* focus = focusWidget();
    for (QLineEdit* field : m_fields) {
        if (field != focus || field->isReadOnly())
            continue;
        QString password = CPasswordGenerator().generate();
        // Typed over the old text, so that Undo brings it back.
        field->selectAll();
        field->insert(password);
        password.fill(QChar(' '));
        return;
    }
}

void CdlgRecordEdit::slotBtnDelete()
{
    const CRecord* shown = record();
    if (!shown || m_editing)
        return;
    if (!confirmDelete(this, m_vault, *shown))
        return;
    m_deleteRequested = true;
    accept();
}

void CdlgRecordEdit::accept()
{
    if (m_done) {
        QDialog::accept();
        return;
    }
    if (m_deleteRequested)
        acceptDelete();
    else if (!m_isNew)
        acceptExisting();
    else
        acceptNew();
}

void CdlgRecordEdit::finish()
{
    m_done = true;
    QDialog::accept();
}

void CdlgRecordEdit::acceptDelete()
{
    const CRecord* shown = record();
    if (shown && m_vault.isLocked() && shown->encrypted
        && !UnlockDatabase(m_vault, this, parentWidget(), lockedDeleteText())) {
        // Withdrawn: a second OK saves instead.
        m_deleteRequested = false;
        return;
    }
    const CVaultResult result = m_vault.deleteRecord(m_key);
    if (!result.ok())
        return fail(result.error());
    m_key = -1;
    finish();
}

void CdlgRecordEdit::acceptExisting()
{
    bool changed = false;
    for (int i = 0; i <= FieldCount && !changed; ++i)
        changed = text(i) != m_shown[i];
    if (changed && record()) {
        QString texts[FieldCount + 1];
        takeTexts(texts);
        const CVaultResult result = m_vault.updateRecord(m_key, texts);
        for (QString& s : texts)
            s.fill(QChar(' '));
        if (!result.ok())
            return fail(result.error());
    }
    finish();
}

void CdlgRecordEdit::acceptNew()
{
    // Letter case counts here.
    const QString name = m_category->currentText();
    const CCategory* category = nullptr;
    for (CCategory* c = m_vault.categories().first(); c && !category; c = CCategories::nextOf(c)) {
        if (c->name == name)
            category = c;
    }
    if (!category) {
        finish();
        return;
    }
    const int categoryId = category->id;
    const bool protect = category->isProtected && m_vault.hasPassword();
    if (protect && m_vault.isLocked()
        && !UnlockDatabase(m_vault, this, parentWidget(),
                           tr("Unable to add an\nencrypted record.\nPlease unlock the data first.")))
        return;

    QString texts[FieldCount + 1];
    takeTexts(texts);
    const CVaultResult result = m_vault.addRecord(categoryId, texts, &m_key);
    for (QString& s : texts)
        s.fill(QChar(' '));
    if (!result.ok())
        return fail(result.error());
    finish();
}

void CdlgRecordEdit::takeTexts(QString (&texts)[FieldCount + 1]) const
{
    for (int i = 0; i <= FieldCount; ++i)
        texts[i] = latin1Safe(text(i));
}
