#include "ui/vaultixwindow.h"

#include "vault/appglobals.h"
#include "vault/vxconfig.h"
#include "platform/qpeapplication.h"
#include "platform/qpemenubar.h"
#include "platform/qpetoolbar.h"
#include "platform/resource.h"
#include "vault/password.h"
#include "ui/unlockdatabase.h"
#include "ui/catcombo.h"
#include "ui/shell.h"
#include "ui/vxlistview.h"

#include <QAction>
#include <QMenu>
#include <QTimer>

namespace {

constexpr int CategoryComboWidth = 110;

// An icon whose disabled look is a picture of its own, not Qt's greying.
QIcon iconWithInactive(const QString& normal)
{
    QIcon icon(Resource::loadPixmap(normal));
    icon.addPixmap(Resource::loadPixmap(normal + QStringLiteral("_inactv")), QIcon::Disabled);
    return icon;
}

bool isLocked()
{
    return _AppCfg && _AppCfg->locked;
}

} // namespace

CVaultixWindow::CVaultixWindow(QWidget* parent, const char* name, unsigned int flags)
    : QMainWindow(parent, Qt::WindowFlags(int(flags)))
{
    if (name)
        setObjectName(QLatin1String(name));

    // A held pen is a right click; it must not offer to hide the tool bars.
    setContextMenuPolicy(Qt::NoContextMenu);

    _TitleAndVersion = QLatin1String(_Title) + QStringLiteral(" V") + QLatin1String(_Version);
    setWindowTitle(_TitleAndVersion);

    m_lockedText = tr("Locked");
    m_unlockedText = tr("Unlocked");
    m_lockedIcon = iconWithInactive(QStringLiteral("korel/buttons/lock"));
    m_unlockedIcon = iconWithInactive(QStringLiteral("korel/buttons/unlock"));

    m_list = new CvxListView(this);
    QPEApplication::setStylusOperation(m_list, QPEApplication::RightOnHold);
    setCentralWidget(m_list);

    auto* menuTools = new QPEToolBar(this);
    menuTools->setObjectName(QStringLiteral("menuToolBar"));
    addToolBar(menuTools);
    auto* menuBar = new QPEMenuBar(menuTools);
    menuBar->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    menuTools->addWidget(menuBar);

    _LockoutTimer = new QTimer(this);
    // main() deletes it before the window; whoever goes first, the global
    // never points at a deleted timer.
    connect(_LockoutTimer, &QObject::destroyed, [timer = _LockoutTimer] {
        if (_LockoutTimer == timer)
            _LockoutTimer = nullptr;
    });
    connect(_LockoutTimer, &QTimer::timeout, this, &CVaultixWindow::slotAutolockTimedOut);

    m_utility = new QMenu(tr("Utility"), this);
    m_utility->addAction(tr("Password"), m_list, &CvxListView::slotMenuPassWord);
    m_utility->addAction(tr("Category"), m_list, &CvxListView::slotMenuCategory);
    m_utility->addAction(tr("Configuration"), m_list, &CvxListView::slotMenuOption);
    m_utility->addSeparator();
    m_utility->addAction(tr("Import"), m_list, &CvxListView::slotMenuImport);
    m_utility->addAction(tr("Export"), m_list, &CvxListView::slotMenuExport);
    m_utility->addSeparator();
    m_utility->addAction(tr("About"), m_list, &CvxListView::slotMenuAbout);
    menuBar->addMenu(m_utility);

    auto* buttons = new QPEToolBar(this);
    buttons->setObjectName(QStringLiteral("buttonToolBar"));
    addToolBar(buttons);
    buttons->setIconSize(QSize(20, 20));
    m_newAction = buttons->addAction(QIcon(Resource::loadPixmap(QStringLiteral("korel/buttons/new"))), tr("New"));
    connect(m_newAction, &QAction::triggered, m_list, &CvxListView::slotNewRecord);

    // The button shows the present state, not the command.
    m_lockAction = buttons->addAction(GetLockIcon(isLocked()), GetLockString(isLocked()));
    connect(m_lockAction, &QAction::triggered, this, &CVaultixWindow::slotBtnLock);

    connect(this, qOverload<int>(&CVaultixWindow::signalShowFilteredByCategory), m_list,
            qOverload<int>(&CvxListView::slotShowFilteredByCategory));
    connect(this, qOverload<>(&CVaultixWindow::signalShowFilteredByCategory), m_list,
            qOverload<>(&CvxListView::slotShowFilteredByCategory));

    m_catCombo = new CCatCombo(m_list, buttons, CategoryComboWidth);
    buttons->addWidget(m_catCombo);

    emit signalShowFilteredByCategory(-1);
}

QString CVaultixWindow::GetLockString(bool locked) const
{
    return locked ? m_lockedText : m_unlockedText;
}

QIcon CVaultixWindow::GetLockIcon(bool locked) const
{
    return locked ? m_lockedIcon : m_unlockedIcon;
}

void CVaultixWindow::slotBtnLock()
{
    if (isLocked())
        UnlockDatabase(m_list, m_list, QString());
    else
        LockDatabase();
    RestartAutolockTimout();
    emit signalShowFilteredByCategory();
}

void CVaultixWindow::slotAutolockTimedOut()
{
    LockDatabase();
    // Stops the timer now that the data is locked.
    RestartAutolockTimout();
    emit signalShowFilteredByCategory();
}

void CVaultixWindow::slotUpdateCategoryCombo()
{
    if (m_catCombo)
        m_catCombo->refreshList();
}

void CVaultixWindow::slotUpdateLockIcon()
{
    if (!m_lockAction)
        return;
    m_lockAction->setText(GetLockString(isLocked()));
    m_lockAction->setIcon(GetLockIcon(isLocked()));
    // Without a master password there is nothing to lock.
    m_lockAction->setEnabled(_AppCfg && _AppCfg->anyVerifierByte());
}

void CVaultixWindow::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    setCentralWidget(m_list);
    m_list->show();
    m_list->setFocus();
}
