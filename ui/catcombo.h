#ifndef VAULTIX_UI_CATCOMBO_H
#define VAULTIX_UI_CATCOMBO_H

#include <QComboBox>

class CCategories;
class CVault;
class CvxListView;

// The category filter on the tool bar: "All", then every category by name.
class CCatCombo : public QComboBox
{
    Q_OBJECT

public:
    CCatCombo(CvxListView* list, QWidget* parent, int width);

    // Refills the entries from the categories; "All" is chosen afterwards.
    void refreshList();

signals:
    void signalShowFilteredByCategory(int id);

public slots:
    void slotItemChanged(int index);

private:
    const CCategories* m_categories;
};

#endif
