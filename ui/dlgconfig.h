#ifndef VAULTIX_UI_DLGCONFIG_H
#define VAULTIX_UI_DLGCONFIG_H

#include "ui/qpedialog.h"
#include "vault/preferences.h"

#include <QColor>

class CColourPushButton;
class CVault;
class CvxConfig;
class QCheckBox;
class QSpinBox;

// The user's settings: row colours, autolock period, password options,
// and how long a copied text stays on the clipboard.
// It changes nothing itself; the Configuration command applies the result.
class CDlgConfig : public CQPEDialog
{
    Q_OBJECT

public:
    static constexpr int MaxAutolockMinutes = 99;

    // `clipboardSeconds`: how long a copied text stays (0: until replaced).
    CDlgConfig(QWidget* parent, const CvxConfig* config, int clipboardSeconds = CPreferences::DefaultClipboardSeconds);

    QColor GetNewColourOdd() const { return m_colourOdd; }
    QColor GetNewColourEven() const { return m_colourEven; }
    // -1 when autolock is off.
    int GetNewAutolockTime() const { return m_minutes; }
    bool GetNoPwdWarning() const;
    bool GetClearTextPWd() const;
    int GetClipboardSeconds() const;

    // The Configuration command: runs the dialog on the vault's settings
    // and, when it is accepted, stores its values in one change, telling
    // the user when they cannot be stored.
    static void RunConfiguration(CVault& vault, QWidget* list);

public slots:
    void slotColourOdd();
    void slotColourEven();
    void slotAutolockCheckBox(bool on);
    void slotAutolockSpinner(int value);

private:
    QColor m_colourOdd;
    QColor m_colourEven;
    int m_minutes;
    CColourPushButton* m_odd;
    CColourPushButton* m_even;
    QCheckBox* m_autolock;
    QSpinBox* m_spin;
    QCheckBox* m_warning;
    QCheckBox* m_cleartext;
    QSpinBox* m_clipboard;
};

#endif
