#include "ui/qpedialog.h"

#include "dialogtest.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSpinBox>
#include <QtTest>

namespace {
// A form with one control of each scrolled class, one label inside a group
// box, and a widget of another class that must stay put.
class Form : public CQPEDialog
{
public:
    Form(QWidget* parent, QWidget* watched, int w, int h)
        : CQPEDialog(parent, watched, w, h)
    {
        makeLabel(this, "label", 10, 10, 100, 16);
        (new QComboBox(this))->setGeometry(10, 30, 100, 20);
        (new QLineEdit(this))->setGeometry(10, 55, 100, 18);
        (new QPlainTextEdit(this))->setGeometry(10, 80, 100, 40);
        auto* button = new QPushButton("button", this);
        button->setAutoDefault(false);
        button->setGeometry(120, 10, 60, 20);
        (new QCheckBox("check", this))->setGeometry(120, 35, 80, 18);
        (new QSpinBox(this))->setGeometry(120, 60, 60, 20);
        (new QListWidget(this))->setGeometry(120, 85, 80, 40);
        QGroupBox* box = makeGroupBox(this, "box", 10, 130, 180, 60);
        inner = makeLabel(box, "inner", 5, 20, 100, 16);
        still = new QWidget(this);
        still->setGeometry(10, 200, 20, 10);
    }
    QLabel* inner;
    QWidget* still;
};

QList<QWidget*> controls(const QDialog& d)
{
    QList<QWidget*> list;
    for (QWidget* w : d.findChildren<QWidget*>(Qt::FindDirectChildrenOnly))
        if (!qobject_cast<QScrollBar*>(w))
            list << w;
    return list;
}
} // namespace

class TstQpeDialog : public QObject
{
    Q_OBJECT

private slots:
    void geometry_data()
    {
        QTest::addColumn<QSize>("design");
        QTest::addColumn<QSize>("area");
        QTest::addColumn<QRect>("dialog"); // relative to the main window
        QTest::addColumn<int>("barX");     // -1: no scroll bar
        QTest::addColumn<int>("barHeight");
        QTest::addColumn<int>("barMax");
        QTest::addColumn<int>("pageStep");

        QTest::newRow("fits, centred") << QSize(210, 220) << QSize(240, 250) << QRect(15, 43, 210, 220) << -1 << 0 << 0 << 0;
        QTest::newRow("too tall") << QSize(210, 220) << QSize(240, 150) << QRect(7, 21, 226, 164) << 210 << 162 << 56 << 55;
        QTest::newRow("height 300 as 274") << QSize(210, 300) << QSize(240, 250) << QRect(7, 21, 226, 264) << 210 << 262 << 10 << 68;
        QTest::newRow("height 300 fits as 274") << QSize(210, 300) << QSize(240, 300) << QRect(15, 41, 210, 274) << -1 << 0 << 0 << 0;
        QTest::newRow("narrow area") << QSize(210, 220) << QSize(200, 250) << QRect(20, 43, 200, 220) << -1 << 0 << 0 << 0;
        QTest::newRow("width 240 capped") << QSize(240, 100) << QSize(240, 250) << QRect(6, 103, 228, 100) << -1 << 0 << 0 << 0;
        QTest::newRow("width 240, bar outside") << QSize(240, 220) << QSize(240, 150) << QRect(6, 21, 228, 164) << 240 << 162 << 56 << 55;
    }
    void geometry()
    {
        QFETCH(QSize, design);
        QFETCH(QSize, area);
        QFETCH(QRect, dialog);
        QFETCH(int, barX);

        // At construction and after a resize of the watched widget alike.
        for (bool resized : {false, true}) {
            TestMainWindow main(resized ? 240 : area.width(), resized ? 320 : area.height());
            CQPEDialog d(main.list, design.width(), design.height());
            if (resized)
                main.list->resize(area);
            QCOMPARE(QRect(main.relative(&d), d.size()), dialog);
            QCOMPARE(d.minimumSize(), d.maximumSize());
            auto* bar = d.findChild<QScrollBar*>();
            QVERIFY(bar);
            QCOMPARE(!bar->isHidden(), barX >= 0);
            if (barX < 0)
                continue;
            QFETCH(int, barHeight);
            QFETCH(int, barMax);
            QFETCH(int, pageStep);
            QCOMPARE(bar->orientation(), Qt::Vertical);
            QCOMPARE(bar->geometry(), QRect(barX, 1, 16, barHeight));
            QCOMPARE(bar->minimum(), 0);
            QCOMPARE(bar->maximum(), barMax);
            QCOMPARE(bar->pageStep(), pageStep);
            QCOMPARE(bar->singleStep(), d.fontMetrics().height());
            QVERIFY(!bar->hasTracking());
            QCOMPARE(bar->value(), 0);
        }
    }

    void separateWatchedWidget()
    {
        // A dialog opened from another dialog still follows the list.
        TestMainWindow main;
        CQPEDialog outer(main.list, 210, 220);
        CQPEDialog inner(&outer, main.list, 210, 220);
        QCOMPARE(inner.parentWidget(), &outer);
        QCOMPARE(QRect(main.relative(&inner), inner.size()), QRect(15, 43, 210, 220));
        main.list->resize(240, 150);
        QCOMPARE(QRect(main.relative(&inner), inner.size()), QRect(7, 21, 226, 164));
    }

    void scrolling()
    {
        TestMainWindow main(240, 150);
        Form d(main.list, main.list, 210, 220);
        auto* bar = d.findChild<QScrollBar*>();
        const QList<QWidget*> all = controls(d);
        QHash<QWidget*, QPoint> home;
        for (QWidget* w : all)
            home[w] = w->pos();
        home[d.inner] = d.inner->pos();
        auto* spinEdit = d.findChild<QSpinBox*>()->findChild<QLineEdit*>();
        QVERIFY(spinEdit);
        const QPoint spinEditHome = spinEdit->pos();

        auto checkMoved = [&](int by) {
            for (QWidget* w : all) {
                const QPoint want = home[w] - QPoint(0, w == d.still ? 0 : by);
                QVERIFY2(w->pos() == want, w->metaObject()->className());
            }
            // Travels with its box only; a control's own parts stay inside it.
            QCOMPARE(d.inner->pos(), home[d.inner]);
            QCOMPARE(spinEdit->pos(), spinEditHome);
        };

        bar->setValue(20);
        checkMoved(20);

        // A page down with the pen, below the slider.
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(8, bar->height() - 24));
        QCOMPARE(bar->value(), 56); // 20 + 55, held at the end
        checkMoved(bar->value());

        // A resize while scrolled puts every control back first.
        main.list->resize(240, 160);
        QCOMPARE(bar->value(), 0);
        QCOMPARE(bar->maximum(), 46);
        checkMoved(0);

        // And a resize that makes the form fit leaves them there.
        bar->setValue(30);
        main.list->resize(240, 250);
        QVERIFY(bar->isHidden());
        checkMoved(0);
    }

    void helpers()
    {
        QWidget parent;
        QGroupBox* box = makeGroupBox(&parent, "Title", 5, 6, 70, 80);
        QCOMPARE(box->parentWidget(), &parent);
        QCOMPARE(box->title(), QString("Title"));
        QCOMPARE(box->geometry(), QRect(5, 6, 70, 80));
        QLabel* label = makeLabel(box, "Two\nlines", 1, 2, 30, 40);
        QCOMPARE(label->parentWidget(), box);
        QCOMPARE(label->text(), QString("Two\nlines"));
        QCOMPARE(label->geometry(), QRect(1, 2, 30, 40));
    }
};

QTEST_MAIN(TstQpeDialog)
#include "tst_qpedialog.moc"
