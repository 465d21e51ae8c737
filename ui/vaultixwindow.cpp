#include "ui/vaultixwindow.h"

#include "vault/vault.h"
#include "platform/qpeapplication.h"
#include "platform/qpemenubar.h"
#include "platform/qpetoolbar.h"
#include "platform/resource.h"
#include "ui/unlockdatabase.h"
#include "ui/catcombo.h"
#include "ui/clipboardguard.h"
#include "ui/findbar.h"
#include "ui/shell.h"
#include "ui/vxlistview.h"

#include <QAction>
#include <QCloseEvent>
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

} // namespace

CVaultixWindow::CVaultixWindow(CVault& vault, QWidget* parent, const char* name, unsigned int flags)
    : QMainWindow(parent, Qt::WindowFlags(int(flags)))
    , m_vault(vault)
{
    if (name)
        setObjectName(QLatin1String(name));

    // A held pen is a right click; it must not offer to hide the tool bars.
    setContextMenuPolicy(Qt::NoContextMenu);

    setWindowTitle(Shell::TitleAndVersion());

    m_lockedText = tr("Locked");
    m_unlockedText = tr("Unlocked");
    m_lockedIcon = iconWithInactive(QStringLiteral("korel/buttons/lock"));
    m_unlockedIcon = iconWithInactive(QStringLiteral("korel/buttons/unlock"));

    m_list = new CvxListView(vault, this);
    QPEApplication::setStylusOperation(m_list, QPEApplication::RightOnHold);
    setCentralWidget(m_list);

    auto* menuTools = new QPEToolBar(this);
    menuTools->setObjectName(QStringLiteral("menuToolBar"));
    addToolBar(menuTools);
    auto* menuBar = new QPEMenuBar(menuTools);
    menuBar->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    menuTools->addWidget(menuBar);

    m_lockoutTimer = new QTimer(this);
    m_lockoutTimer->setObjectName(QStringLiteral("lockoutTimer"));
    connect(m_lockoutTimer, &QTimer::timeout, this, &CVaultixWindow::slotAutolockTimedOut);
    // The lock button and the timer follow the lock, whoever changed it.
    connect(&m_vault, &CVault::lockChanged, this, [this] {
        RestartAutolockTimout();
        slotUpdateLockIcon();
    });
    connect(&m_vault, &CVault::settingsChanged, this, &CVaultixWindow::RestartAutolockTimout);
    connect(&m_vault, &CVault::changed, this, &CVaultixWindow::slotUpdateLockIcon);

    m_utility = new QMenu(tr("Utility"), this);
    m_findAction = m_utility->addAction(tr("Find"), this, &CVaultixWindow::slotFind);
    m_findAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_F));
    m_utility->addSeparator();
    m_utility->addAction(tr("Password"), m_list, &CvxListView::slotMenuPassWord);
    m_utility->addAction(tr("Category"), m_list, &CvxListView::slotMenuCategory);
    m_utility->addAction(tr("Configuration"), m_list, &CvxListView::slotMenuOption);
    m_utility->addSeparator();
    m_utility->addAction(tr("Import"), m_list, &CvxListView::slotMenuImport);
    m_utility->addAction(tr("Export"), m_list, &CvxListView::slotMenuExport);
    m_utility->addSeparator();
    m_utility->addAction(tr("About"), m_list, &CvxListView::slotMenuAbout);
    m_utility->addSeparator();
    m_quitAction = m_utility->addAction(tr("Quit"), this, &QWidget::close);
    m_quitAction->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
    menuBar->addMenu(m_utility);
    // The keys work whether or not the menu was ever opened.
    addAction(m_findAction);
    addAction(m_quitAction);

    auto* buttons = new QPEToolBar(this);
    buttons->setObjectName(QStringLiteral("buttonToolBar"));
    addToolBar(buttons);
    buttons->setIconSize(QSize(20, 20));
    m_newAction = buttons->addAction(QIcon(Resource::loadPixmap(QStringLiteral("korel/buttons/new"))), tr("New"));
    connect(m_newAction, &QAction::triggered, m_list, &CvxListView::slotNewRecord);

    // The button shows the present state, not the command.
    m_lockAction = buttons->addAction(GetLockIcon(m_vault.isLocked()), GetLockString(m_vault.isLocked()));
    connect(m_lockAction, &QAction::triggered, this, &CVaultixWindow::slotBtnLock);

    connect(this, qOverload<int>(&CVaultixWindow::signalShowFilteredByCategory), m_list,
            qOverload<int>(&CvxListView::slotShowFilteredByCategory));
    connect(this, qOverload<>(&CVaultixWindow::signalShowFilteredByCategory), m_list,
            qOverload<>(&CvxListView::slotShowFilteredByCategory));

    m_catCombo = new CCatCombo(m_list, buttons, CategoryComboWidth);
    buttons->addWidget(m_catCombo);

    // The find field gets a row of its own, between the tool bars and the
    // list, only while it is in use.
    addToolBarBreak();
    m_findTools = new QPEToolBar(this);
    m_findTools->setObjectName(QStringLiteral("findToolBar"));
    m_findBar = new CFindBar(m_findTools);
    m_findTools->addWidget(m_findBar);
    addToolBar(m_findTools);
    m_findTools->hide();
    connect(m_findBar, &QLineEdit::textChanged, m_list, &CvxListView::slotFind);
    connect(m_findBar, &CFindBar::signalClosed, this, &CVaultixWindow::slotCloseFind);

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

void CVaultixWindow::RestartAutolockTimout()
{
    m_lockoutTimer->stop();
    if (m_vault.settings().autolockMinutes < 1 || m_vault.isLocked())
        return;
    m_lockoutTimer->setSingleShot(false);
    m_lockoutTimer->start(m_vault.settings().autolockMinutes * 60000);
}

void CVaultixWindow::slotBtnLock()
{
    if (m_vault.isLocked())
        UnlockDatabase(m_vault, m_list, m_list, QString());
    else
        m_vault.lock();
    RestartAutolockTimout();
    emit signalShowFilteredByCategory();
}

void CVaultixWindow::slotAutolockTimedOut()
{
    // Locking stops the timer.
    m_vault.lock();
    RestartAutolockTimout();
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
    m_lockAction->setText(GetLockString(m_vault.isLocked()));
    m_lockAction->setIcon(GetLockIcon(m_vault.isLocked()));
    // Without a master password there is nothing to lock.
    m_lockAction->setEnabled(m_vault.settings().anyVerifierByte());
}

void CVaultixWindow::slotFind()
{
    m_findTools->show();
    m_findBar->setFocus();
    m_findBar->selectAll();
}

void CVaultixWindow::slotCloseFind()
{
    m_findBar->clear();
    m_findTools->hide();
    m_list->setFocus();
}

void CVaultixWindow::closeEvent(QCloseEvent* event)
{
    m_list->clipboard()->clear();
    // The rows point into the records that closing frees.
    m_list->clearRows();
    m_lockoutTimer->stop();
    m_vault.close();
    event->accept();
}

void CVaultixWindow::resizeEvent(QResizeEvent* event)
{
    QMainWindow::resizeEvent(event);
    setCentralWidget(m_list);
    m_list->show();
    m_list->setFocus();
}
