#ifndef VAULTIX_UI_NOTEEDIT_H
#define VAULTIX_UI_NOTEEDIT_H

#include <QPlainTextEdit>

// A multi-line editor that holds at most a given number of characters, a
// line break counting as one. Whatever would pass the limit is refused as
// it comes in (typed, pasted, dropped or composed), so the text never holds
// more than the record can store. A longer text set by the program is kept;
// the user can then only shorten it.
class CNoteEdit : public QPlainTextEdit
{
    Q_OBJECT

public:
    CNoteEdit(int maxLength, QWidget* parent);

    int maxLength() const { return m_maxLength; }
    // Characters, line breaks counted once each.
    int length() const;

protected:
    void keyPressEvent(QKeyEvent* e) override;
    void inputMethodEvent(QInputMethodEvent* e) override;
    bool canInsertFromMimeData(const QMimeData* source) const override;
    void insertFromMimeData(const QMimeData* source) override;

private:
    // How many characters may still come in, replacing the selection.
    int room() const;

    int m_maxLength;
};

#endif
