#include "ui/guardedcopy.h"

#include "ui/clipboardguard.h"
#include "vault/preferences.h"

#include <QAction>
#include <QContextMenuEvent>
#include <QCoreApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QPlainTextEdit>
#include <QTextCursor>

#include <memory>

CGuardedCopy::CGuardedCopy(CClipboardGuard* guard, QObject* parent)
    : QObject(parent)
    , m_guard(guard)
{
}

void CGuardedCopy::watch(QWidget* field)
{
    // A plain text edit takes its input on its viewport.
    if (auto* text = qobject_cast<QPlainTextEdit*>(field))
        text->viewport()->installEventFilter(this);
    field->installEventFilter(this);
}

bool CGuardedCopy::eventFilter(QObject* watched, QEvent* event)
{
    auto* widget = qobject_cast<QWidget*>(watched);
    if (widget && !qobject_cast<QLineEdit*>(widget) && !qobject_cast<QPlainTextEdit*>(widget))
        widget = widget->parentWidget(); // the text edit's viewport
    if (!widget)
        return false;
    switch (event->type()) {
    case QEvent::ShortcutOverride:
    case QEvent::KeyPress: {
        auto* key = static_cast<QKeyEvent*>(event);
        const bool isCopy = key->matches(QKeySequence::Copy);
        const bool isCut = key->matches(QKeySequence::Cut);
        if (!isCopy && !isCut)
            return false;
        // Claimed first, so that no shortcut takes it; carried out on the press.
        event->accept();
        if (event->type() == QEvent::KeyPress)
            copy(widget, isCut);
        return true;
    }
    case QEvent::ContextMenu: {
        auto* menu = static_cast<QContextMenuEvent*>(event);
        showMenu(widget, menu->pos(), menu->globalPos());
        return true;
    }
    default:
        return false;
    }
}

void CGuardedCopy::copy(QWidget* field, bool cut)
{
    QString text;
    bool editable = false;
    if (auto* line = qobject_cast<QLineEdit*>(field)) {
        // A masked entry gives nothing away, as Qt's own copy would not.
        if (line->echoMode() != QLineEdit::Normal)
            return;
        text = line->selectedText();
        editable = !line->isReadOnly();
        if (!text.isEmpty() && cut && editable)
            line->del();
    } else if (auto* edit = qobject_cast<QPlainTextEdit*>(field)) {
        QTextCursor cursor = edit->textCursor();
        text = cursor.selectedText();
        text.replace(QChar::ParagraphSeparator, QLatin1Char('\n'));
        editable = !edit->isReadOnly();
        if (!text.isEmpty() && cut && editable)
            cursor.removeSelectedText();
    }
    if (text.isEmpty())
        return;
    m_guard->copy(text, CPreferences().clipboardSeconds);
    text.fill(QChar(' '));
}

void CGuardedCopy::showMenu(QWidget* field, const QPoint& local, const QPoint& global)
{
    std::unique_ptr<QMenu> menu;
    if (auto* line = qobject_cast<QLineEdit*>(field))
        menu.reset(line->createStandardContextMenu());
    else if (auto* edit = qobject_cast<QPlainTextEdit*>(field))
        menu.reset(edit->createStandardContextMenu(local));
    if (!menu)
        return;
    // The field's own Copy and Cut, done the guarded way. Qt names them in
    // some versions only; their texts are Qt's own in every one.
    const char* context = qobject_cast<QLineEdit*>(field) ? "QLineEdit" : "QWidgetTextControl";
    auto is = [context](const QAction* action, const char* name, const char* text) {
        return action->objectName() == QLatin1String(name)
               || action->text().section(QLatin1Char('\t'), 0, 0) == QCoreApplication::translate(context, text);
    };
    for (QAction* action : menu->actions()) {
        const bool isCut = is(action, "edit-cut", "Cu&t");
        if (!isCut && !is(action, "edit-copy", "&Copy"))
            continue;
        action->disconnect();
        connect(action, &QAction::triggered, this, [this, field, isCut] { copy(field, isCut); });
    }
    menu->exec(global);
}
