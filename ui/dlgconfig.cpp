#include "ui/dlgconfig.h"

#include "ui/colourpushbutton.h"
#include "ui/dlgcolourslct.h"
#include "ui/rowcolour.h"
#include "platform/messagebox.h"
#include "ui/shell.h"
#include "vault/preferences.h"
#include "vault/vault.h"

#include <QCheckBox>
#include <QGroupBox>
#include <QSpinBox>

namespace {
// Shown, disabled, while autolock is off.
constexpr int OffSpinValue = 5;

// Runs the swatch dialog; true with `colour` changed when it is accepted.
bool pickColour(QWidget* parent, QColor& colour)
{
    CDlgColourSlct dlg(parent, colour);
    if (dlg.exec() != QDialog::Accepted)
        return false;
    colour = dlg.Colour();
    return true;
}
} // namespace

CDlgConfig::CDlgConfig(QWidget* parent, const CvxConfig* config, int clipboardSeconds)
    : CQPEDialog(parent, 200, 274)
    , m_colourOdd(RowColour::ToQColor(config->colourOdd))
    , m_colourEven(RowColour::ToQColor(config->colourEven))
    // Any period below a minute is autolock off, kept as -1.
    , m_minutes(config->autolockMinutes < 1 ? -1 : config->autolockMinutes)
{
    setWindowTitle(tr("Configuration"));

    QGroupBox* colours = makeGroupBox(this, tr("Background Colours"), 10, 10, 180, 83);
    makeLabel(colours, tr("Odd"), 10, 25, 50, 16);
    m_odd = new CColourPushButton(colours, 45, 20, 50, 26, m_colourOdd);
    m_odd->setObjectName(QStringLiteral("odd"));
    makeLabel(colours, tr("Even"), 10, 54, 50, 16);
    m_even = new CColourPushButton(colours, 45, 49, 50, 26, m_colourEven);
    m_even->setObjectName(QStringLiteral("even"));
    connect(m_odd, &QPushButton::clicked, this, &CDlgConfig::slotColourOdd);
    connect(m_even, &QPushButton::clicked, this, &CDlgConfig::slotColourEven);

    QGroupBox* lockout = makeGroupBox(this, tr("Auto Lockout"), 10, 101, 180, 76);
    m_autolock = new QCheckBox(tr("Enable Autolock"), lockout);
    m_autolock->setGeometry(10, 20, 100, 16);
    m_spin = new QSpinBox(lockout);
    m_spin->setGeometry(10, 46, 40, 20);
    m_spin->setRange(1, MaxAutolockMinutes);
    makeLabel(lockout, tr("Minutes"), 60, 48, 50, 16);
    const bool on = m_minutes >= 1;
    // A stored period above the range shows (and is kept) as the largest.
    m_spin->setValue(on ? m_minutes : OffSpinValue);
    m_spin->setEnabled(on);
    m_autolock->setChecked(on);
    connect(m_autolock, &QCheckBox::toggled, this, &CDlgConfig::slotAutolockCheckBox);
    connect(m_spin, qOverload<int>(&QSpinBox::valueChanged), this, &CDlgConfig::slotAutolockSpinner);

    QGroupBox* passwords = makeGroupBox(this, tr("Password settings"), 10, 186, 180, 82);
    m_warning = new QCheckBox(tr("Show \"No password\" warning."), passwords);
    m_warning->setGeometry(10, 20, 165, 16);
    m_warning->setChecked(config->showNoPwdWarning);
    m_cleartext = new QCheckBox(tr("Cleartext password entry."), passwords);
    m_cleartext->setGeometry(10, 36, 165, 16);
    m_cleartext->setChecked(config->cleartextPwd);
    makeLabel(passwords, tr("Clear clipboard after:"), 10, 58, 100, 16);
    m_clipboard = new QSpinBox(passwords);
    m_clipboard->setObjectName(QStringLiteral("clipboardSeconds"));
    m_clipboard->setGeometry(110, 56, 60, 20);
    m_clipboard->setRange(0, CPreferences::MaxClipboardSeconds);
    m_clipboard->setSuffix(tr(" s"));
    m_clipboard->setSpecialValueText(tr("never"));
    m_clipboard->setValue(clipboardSeconds);
}

int CDlgConfig::GetClipboardSeconds() const
{
    return m_clipboard->value();
}

bool CDlgConfig::GetNoPwdWarning() const
{
    return m_warning->isChecked();
}

bool CDlgConfig::GetClearTextPWd() const
{
    return m_cleartext->isChecked();
}

void CDlgConfig::slotColourOdd()
{
    if (pickColour(this, m_colourOdd))
        m_odd->SetColour(m_colourOdd);
}

void CDlgConfig::slotColourEven()
{
    if (pickColour(this, m_colourEven))
        m_even->SetColour(m_colourEven);
}

void CDlgConfig::slotAutolockCheckBox(bool on)
{
    m_spin->setEnabled(on);
    m_minutes = on ? m_spin->value() : -1;
}

void CDlgConfig::slotAutolockSpinner(int value)
{
    m_minutes = value;
}

void CDlgConfig::RunConfiguration(CVault& vault, QWidget* list)
{
    CPreferences preferences;
    CDlgConfig dlg(list, &vault.settings(), preferences.clipboardSeconds);
    if (dlg.exec() != QDialog::Accepted)
        return;
    CvxConfig config = vault.settings();
    config.colourOdd = RowColour::FromQColor(dlg.GetNewColourOdd());
    config.colourEven = RowColour::FromQColor(dlg.GetNewColourEven());
    config.autolockMinutes = qMin(dlg.GetNewAutolockTime(), int(MaxAutolockMinutes));
    config.showNoPwdWarning = dlg.GetNoPwdWarning();
    config.cleartextPwd = dlg.GetClearTextPWd();
    const CVaultResult result = vault.saveSettings(config);
    if (!result.ok()) {
        CMessageBox::critical(list, Shell::Title(), result.error());
        return;
    }
    // The rest lives beside the data file, written only when it changed.
    if (dlg.GetClipboardSeconds() == preferences.clipboardSeconds)
        return;
    preferences.clipboardSeconds = dlg.GetClipboardSeconds();
    const CVaultResult saved = preferences.save();
    if (!saved.ok())
        CMessageBox::critical(list, Shell::Title(), saved.error());
}
