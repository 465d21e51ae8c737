#ifndef VAULTIX_UI_VAULTIXWINDOW_H
#define VAULTIX_UI_VAULTIXWINDOW_H

#include <QIcon>
#include <QMainWindow>
#include <QString>

class CCatCombo;
class CVault;
class CvxListView;
class QAction;
class QMenu;
class QTimer;

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

protected:
    void resizeEvent(QResizeEvent* event) override;

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
};

#endif
