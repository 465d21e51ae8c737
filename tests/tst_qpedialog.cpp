#include "ui/qpedialog.h"

#include "dialogtest.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScrollBar>
#include <QSpinBox>

namespace {
// One control of each scrolled class, a label inside a group box, and a
// plain widget that must stay put.
struct Form : CQPEDialog
{
    QLabel* inner;
    QWidget* still = new QWidget(this);

    explicit Form(QWidget* list)
        : CQPEDialog(list, 210, 220)
    {
        const QList<QWidget*> top = {makeLabel(this, "label", 10, 10, 100, 16), new QComboBox(this),
                                     new QLineEdit(this), new QPlainTextEdit(this), new QPushButton(this),
                                     new QCheckBox(this), new QSpinBox(this), new QListWidget(this)};
        for (int i = 0; i < top.size(); ++i)
            top[i]->setGeometry(i % 2 * 110 + 10, i / 2 * 30 + 10, 90, 24);
        inner = makeLabel(makeGroupBox(this, "box", 10, 130, 180, 60), "inner", 5, 20, 100, 16);
        still->setGeometry(10, 200, 20, 10);
    }
};
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
        QTest::addColumn<QRect>("bar");    // null: no scroll bar
        QTest::addColumn<int>("barMax");

        QTest::newRow("fits, centred") << QSize(210, 220) << QSize(240, 250) << QRect(15, 43, 210, 220) << QRect() << 0;
        QTest::newRow("too tall") << QSize(210, 220) << QSize(240, 150) << QRect(7, 21, 226, 164) << QRect(210, 1, 16, 162) << 56;
        QTest::newRow("height 300 as 274") << QSize(210, 300) << QSize(240, 250) << QRect(7, 21, 226, 264) << QRect(210, 1, 16, 262) << 10;
        QTest::newRow("narrow area") << QSize(210, 220) << QSize(200, 250) << QRect(20, 43, 200, 220) << QRect() << 0;
        QTest::newRow("width 240") << QSize(240, 100) << QSize(240, 250) << QRect(6, 103, 228, 100) << QRect() << 0;
        QTest::newRow("width 240, bar outside") << QSize(240, 220) << QSize(240, 150) << QRect(6, 21, 228, 164) << QRect(240, 1, 16, 162) << 56;
    }
    void geometry()
    {
        QFETCH(QSize, design);
        QFETCH(QSize, area);
        QFETCH(QRect, bar);
        // Sized at construction; and, with a parent other than the watched
        // list, after the list is resized.
        for (bool resized : {false, true}) {
            TestMainWindow main(resized ? 240 : area.width(), resized ? 320 : area.height());
            CQPEDialog d(resized ? &main.window : main.list, main.list, design.width(), design.height());
            main.list->resize(area);
            QTEST(main.relative(&d), "dialog");
            QCOMPARE(d.minimumSize(), d.maximumSize());
            auto* sb = d.findChild<QScrollBar*>();
            QCOMPARE(sb->isHidden(), bar.isNull());
            if (bar.isNull())
                continue;
            QCOMPARE(sb->geometry(), bar);
            QTEST(sb->maximum(), "barMax");
            QCOMPARE(sb->singleStep(), d.fontMetrics().height());
            QVERIFY(!sb->hasTracking());
        }
    }

    void scrolling()
    {
        TestMainWindow main(240, 150);
        Form d(main.list);
        auto* bar = d.findChild<QScrollBar*>();
        QList<QWidget*> all = d.findChildren<QWidget*>(Qt::FindDirectChildrenOnly);
        all.removeOne(bar);
        QHash<QWidget*, QPoint> home;
        for (QWidget* w : all)
            home[w] = w->pos();
        const QPoint innerHome = d.inner->pos();
        QLineEdit* spinEdit = d.findChild<QSpinBox*>()->findChild<QLineEdit*>();
        const QPoint spinEditHome = spinEdit->pos();

        auto movedBy = [&](int by) {
            for (QWidget* w : all)
                QVERIFY2(w->pos() == home[w] - QPoint(0, w == d.still ? 0 : by), w->metaObject()->className());
            // Travels with its box only; a control's own parts stay inside it.
            QCOMPARE(d.inner->pos(), innerHome);
            QCOMPARE(spinEdit->pos(), spinEditHome);
        };

        bar->setValue(20);
        movedBy(20);
        // A page down with the pen, below the slider: 20 + 55, held at 56.
        QTest::mouseClick(bar, Qt::LeftButton, {}, QPoint(8, bar->height() - 24));
        QCOMPARE(bar->value(), 56);
        movedBy(56);
        // A resize while scrolled puts every control back first.
        main.list->resize(240, 160);
        QCOMPARE(bar->value(), 0);
        movedBy(0);
        bar->setValue(30);
        main.list->resize(240, 250); // now it fits
        QVERIFY(bar->isHidden());
        movedBy(0);
    }
};

QTEST_MAIN(TstQpeDialog)
#include "tst_qpedialog.moc"
