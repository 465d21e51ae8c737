#ifndef VAULTIX_UI_VAULTIXWINDOW_H
#define VAULTIX_UI_VAULTIXWINDOW_H

#include <QIcon>
#include <QMainWindow>
#include <QString>

class CCatCombo;
class CFindBar;
class CVault;
class CvxListView;
class QAction;
class QMenu;
class QTimer;
class QToolBar;

// The main screen: the record list, the "Utility" menu, the "New" and lock
// buttons, the category filter and the autolock timer. It owns no data: the
// vault does, and the list carries out every command.
class CVaultixWindow : public QMainWindow
{
    Q_OBJECT

public:
    explicit CVaultixWindow(CVault& vault, QWidget* parent = nullptr, const char* name = nullptr,
                            unsigned int flags = 0);

    // The present state's text and picture: locked or unlocked.
    QString GetLockString(bool locked) const;
    QIcon GetLockIcon(bool locked) const;
    CvxListView* getListView() const { return m_list; }

    QAction* lockAction() const { return m_lockAction; }
    QAction* newAction() const { return m_newAction; }
    QMenu* utilityMenu() const { return m_utility; }
    CCatCombo* categoryCombo() const { return m_catCombo; }
    QTimer* lockoutTimer() const { return m_lockoutTimer; }
    CFindBar* findBar() const { return m_findBar; }
    QAction* findAction() const { return m_findAction; }
    QAction* quitAction() const { return m_quitAction; }

    // Begins a full autolock period again, or leaves the timer stopped when
    // autolock is off or the data is locked. The only way the timer starts.
    void RestartAutolockTimout();

signals:
    void signalShowFilteredByCategory();
    void signalShowFilteredByCategory(int id);

public slots:
    void slotBtnLock();
    void slotAutolockTimedOut();
    void slotUpdateCategoryCombo();
    void slotUpdateLockIcon();
    // Shows the find field above the list and puts the cursor there.
    void slotFind();
    // Empties the find field, puts it away and shows every row again.
    void slotCloseFind();

protected:
    void resizeEvent(QResizeEvent* event) override;
    // Quit, Ctrl+Q or the window closed: the copied secret goes from the
    // clipboard and the data file is closed.
    void closeEvent(QCloseEvent* event) override;

private:
    CVault& m_vault;
    CvxListView* m_list = nullptr;
    QTimer* m_lockoutTimer = nullptr;
    QAction* m_lockAction = nullptr;
    CCatCombo* m_catCombo = nullptr;
    QString m_lockedText;
    QString m_unlockedText;
    QIcon m_lockedIcon;
    QIcon m_unlockedIcon;
    QMenu* m_utility = nullptr;
    QAction* m_newAction = nullptr;
    QAction* m_findAction = nullptr;
    QAction* m_quitAction = nullptr;
    QToolBar* m_findTools = nullptr;
    CFindBar* m_findBar = nullptr;
};

#endif
