#include "ui/noteedit.h"

#include <QApplication>
#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QMimeData>
#include <QTextCursor>

namespace {

// Every kind of line break becomes the one the document stores, so that
// counting before the insertion agrees with the text after it.
QString oneBreakEach(QString text)
{
    text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    text.replace(QChar('\r'), QChar('\n'));
    text.replace(QChar::ParagraphSeparator, QChar('\n'));
    text.replace(QChar::LineSeparator, QChar('\n'));
    return text;
}

// The first `count` characters, not splitting a surrogate pair.
QString leftWhole(const QString& text, int count)
{
    if (count <= 0)
        return {};
    if (count < text.size() && text.at(count - 1).isHighSurrogate())
        --count;
    return text.left(count);
}

} // namespace

CNoteEdit::CNoteEdit(int maxLength, QWidget* parent)
    : QPlainTextEdit(parent)
    , m_maxLength(maxLength)
{
    setLineWrapMode(QPlainTextEdit::WidgetWidth);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // Tab leaves the note like any other field of the form.
    setTabChangesFocus(true);
}

int CNoteEdit::length() const
{
    return int(toPlainText().size());
}

int CNoteEdit::room() const
{
    const int selected = int(textCursor().selectedText().size());
    return qMax(0, m_maxLength - length() + selected);
}

void CNoteEdit::keyPressEvent(QKeyEvent* e)
{
    if (isReadOnly()) {
        QPlainTextEdit::keyPressEvent(e);
        return;
    }
    const Qt::KeyboardModifiers mods = e->modifiers() & ~(Qt::KeypadModifier | Qt::ShiftModifier);
    int adding = 0;
    if (e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter) {
        if (mods == Qt::NoModifier)
            adding = 1;
    } else if (!(mods & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier))) {
        const QString text = e->text();
        if (!text.isEmpty() && text.at(0).isPrint())
            adding = int(text.size());
    }
    if (adding > room()) {
        // Taken here, so a refused Return does not go on to close the dialog.
        e->accept();
        QApplication::beep();
        return;
    }
    QPlainTextEdit::keyPressEvent(e);
}

void CNoteEdit::inputMethodEvent(QInputMethodEvent* e)
{
    const QString commit = oneBreakEach(e->commitString());
    const int free = room();
    if (commit.size() <= free) {
        QPlainTextEdit::inputMethodEvent(e);
        return;
    }
    QInputMethodEvent cut(e->preeditString(), e->attributes());
    cut.setCommitString(leftWhole(commit, free), e->replacementStart(), e->replacementLength());
    QApplication::beep();
    QPlainTextEdit::inputMethodEvent(&cut);
    e->accept();
}

bool CNoteEdit::canInsertFromMimeData(const QMimeData* source) const
{
    return source && source->hasText();
}

void CNoteEdit::insertFromMimeData(const QMimeData* source)
{
    if (!source || !source->hasText())
        return;
    const QString text = oneBreakEach(source->text());
    const int free = room();
    // As a line edit does: what fits goes in, the rest is dropped.
    if (text.size() > free)
        QApplication::beep();
    const QString fits = text.size() > free ? leftWhole(text, free) : text;
    if (fits.isEmpty())
        return;
    QTextCursor cursor = textCursor();
    cursor.insertText(fits);
    setTextCursor(cursor);
    ensureCursorVisible();
}
