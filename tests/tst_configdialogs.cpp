#include "dialogtest.h"
#include "ui/rowcolour.h"

#include "ui/colourpushbutton.h"
#include "ui/dlgconfig.h"
#include "ui/widgetcolourslct.h"

#include <QCheckBox>
#include <QPushButton>
#include <QSlider>
#include <QSpinBox>
#include <QStyleOptionSlider>

namespace {

// Drags a slider's handle to its far end (0 or 255) with the mouse.
void dragTo(QSlider* slider, bool right)
{
    QStyleOptionSlider opt;
    opt.initFrom(slider);
    opt.orientation = slider->orientation();
    opt.minimum = slider->minimum();
    opt.maximum = slider->maximum();
    opt.sliderPosition = opt.sliderValue = slider->value();
    opt.subControls = QStyle::SC_SliderHandle;
    const QPoint from = slider->style()->subControlRect(QStyle::CC_Slider, &opt, QStyle::SC_SliderHandle, slider).center();
    const QPoint to(right ? slider->width() + 50 : -50, from.y());
    QTest::mousePress(slider, Qt::LeftButton, {}, from);
    QMouseEvent move(QEvent::MouseMove, to, slider->mapToGlobal(to), Qt::NoButton, Qt::LeftButton, {});
    QApplication::sendEvent(slider, &move);
    QTest::mouseRelease(slider, Qt::LeftButton, {}, to);
}

QColor swatch(int i)
{
    return QColor(colourSwatches[i].red, colourSwatches[i].green, colourSwatches[i].blue);
}

} // namespace

class TstConfigDialogs : public DialogTestCase
{
    Q_OBJECT
    QTemporaryDir m_config;
    const QString m_conf = m_config.filePath("Vaultix/Vaultix.conf");
    // Memory holds what the next start reads.
    void verifyStored() { QCOMPARE(vaultState(vault()), reloadedState(*m_tv)); }

private slots:
    void initTestCase()
    {
        qputenv("QPEDIR", VX_TEST_SOURCE_DIR);
        qputenv("XDG_CONFIG_HOME", QFile::encodeName(m_config.path()));
    }

    void autolock_data()
    {
        QTest::addColumn<int>("minutes");  // in the settings
        QTest::addColumn<bool>("checked"); // as the dialog opens
        QTest::addColumn<int>("spin");
        QTest::addColumn<QString>("input"); // "" none, "tick", or digits typed
        QTest::addColumn<int>("stored");
        QTest::newRow("off") << 0 << false << 5 << "" << -1;
        QTest::newRow("150") << 150 << true << 99 << "" << 99;
        QTest::newRow("on, untick") << 7 << true << 7 << "tick" << -1;
        QTest::newRow("off, tick") << 0 << false << 5 << "tick" << 5;
        QTest::newRow("typed 12") << 7 << true << 7 << "12" << 12;
    }
    void autolock()
    {
        QFETCH(int, minutes);
        editSettings(vault(), [minutes](CvxConfig& c) { c.autolockMinutes = minutes; });
        DialogDriver driver;
        driver.actions.push_back([](QDialog* d) {
            QFETCH(bool, checked);
            QFETCH(QString, input);
            auto* box = withText<QCheckBox>(d, "Enable Autolock");
            auto* spin = d->findChild<QSpinBox*>();
            QCOMPARE(box->isChecked(), checked);
            QTEST(spin->value(), "spin");
            QCOMPARE(spin->isEnabled(), checked);
            if (input == "tick") {
                QTest::mouseClick(box, Qt::LeftButton);
                QCOMPARE(spin->isEnabled(), !checked);
            } else if (!input.isEmpty()) {
                spin->selectAll();
                QTest::keyClicks(spin, input);
            }
            d->accept();
        });
        CDlgConfig::RunConfiguration(vault(), m_main->list);
        QCOMPARE(driver.shown, 1);
        QTEST(vault().settings().autolockMinutes, "stored");
        verifyStored();
        QVERIFY(!QFile::exists(m_conf)); // written only when the clipboard time changed
    }

    // The password options and the clipboard time are kept on OK only; the
    // clipboard time lives in a file of its own, the data file stays as it
    // was for it.
    void optionsKeptOnOk_data()
    {
        QTest::addColumn<bool>("accept");
        QTest::addColumn<QString>("seconds"); // typed
        QTest::newRow("accepted") << true << "60";
        QTest::newRow("cancelled") << false << "60";
    }
    void optionsKeptOnOk()
    {
        QFETCH(bool, accept);
        QFETCH(QString, seconds);
        editSettings(vault(), [](CvxConfig& c) {
            c.showNoPwdWarning = true;
            c.cleartextPwd = false;
        });
        const QByteArray before = m_tv->bytes();
        DialogDriver driver;
        driver.actions.push_back([&](QDialog* d) {
            auto* spin = d->findChild<QSpinBox*>("clipboardSeconds");
            QCOMPARE(spin->text(), QString("30 s"));
            spin->selectAll();
            QTest::keyClicks(spin, seconds);
            for (const char* box : {"Show \"No password\" warning.", "Cleartext password entry."})
                QTest::mouseClick(withText<QCheckBox>(d, box), Qt::LeftButton);
            accept ? d->accept() : QTest::keyClick(d, Qt::Key_Escape);
        });
        CDlgConfig::RunConfiguration(vault(), m_main->list);
        QCOMPARE(vault().settings().showNoPwdWarning, !accept);
        QCOMPARE(vault().settings().cleartextPwd, accept);
        QCOMPARE(m_tv->bytes() == before, !accept);
        verifyStored();
        QCOMPARE(CPreferences(m_conf).clipboardSeconds, accept ? seconds.toInt() : 30);
        QFile::remove(m_conf);
    }

    // The disk failing in the save: the critical box, the file as it was,
    // and the dialog's values not kept in memory either.
    void saveOnAFullDisk()
    {
        const QByteArray before = m_tv->bytes();
        m_tv->failAt(0);
        DialogDriver driver;
        driver.actions.push_back([](QDialog* d) {
            QTest::mouseClick(withText<QCheckBox>(d, "Enable Autolock"), Qt::LeftButton);
            d->accept();
        });
        CDlgConfig::RunConfiguration(vault(), m_main->list);
        verifyDiskFullShown(*m_tv, driver.boxes, "The configuration could not be saved.", before);
        QCOMPARE(vault().settings().autolockMinutes, 5);
    }

    // Odd: a swatch tapped in the grid; even: a colour mixed in the custom
    // dialog (that a dialog follows the list, not the dialog it came from,
    // is the dialog base's test).
    void coloursThroughTheDialogs()
    {
        editSettings(vault(), [](CvxConfig& c) {
            c.colourOdd = {255, 255, 255};
            c.colourEven = {1, 2, 3};
        });
        DialogDriver driver;
        driver.actions.push_back([](QDialog* d) {
            auto* odd = d->findChild<CColourPushButton*>("odd");
            QTest::mouseClick(odd, Qt::LeftButton);
            QCOMPARE(odd->Colour(), swatch(3));
            QTest::mouseClick(d->findChild<CColourPushButton*>("even"), Qt::LeftButton);
            d->accept();
        });
        driver.actions.push_back([](QDialog* d) {
            auto* grid = d->findChild<CWidgetColourSlct*>();
            QCOMPARE(grid->SelectedSwatch(), 14); // white
            QTest::mouseClick(grid, Qt::LeftButton, {}, CWidgetColourSlct::CellRect(3).center());
            d->accept();
        });
        driver.actions.push_back([](QDialog* d) {
            auto* grid = d->findChild<CWidgetColourSlct*>();
            QCOMPARE(grid->SelectedSwatch(), 15); // 1, 2, 3 is no swatch
            QCOMPARE(grid->GetCustomColour(), QColor(1, 2, 3));
            QTest::mouseClick(d->findChild<QPushButton*>(), Qt::LeftButton);
            QCOMPARE(grid->SelectedSwatch(), 15);
            d->accept();
        });
        driver.actions.push_back([](QDialog* d) {
            auto* red = d->findChild<QSlider*>("red");
            QCOMPARE(red->value(), 1);
            dragTo(red, true);
            dragTo(d->findChild<QSlider*>("blue"), true);
            d->accept();
        });
        CDlgConfig::RunConfiguration(vault(), m_main->list);
        QCOMPARE(driver.shown, 4);
        const CvxConfig& stored = vault().settings();
        QCOMPARE(RowColour::ToQColor(stored.colourOdd), swatch(3));
        QCOMPARE(stored.colourEven, CvxConfig::Colour({255, 2, 255}));
        verifyStored();
    }
};

QTEST_MAIN(TstConfigDialogs)
#include "tst_configdialogs.moc"
