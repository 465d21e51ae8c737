// Draws the category icons (18 x 14) into pics/korel/icons.18x14/.
// Run from the source tree: build/drawpics pics
// The pictures are checked in; the build does not run this.

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>

#include <cstdio>
#include <functional>

namespace {

const QColor Ink(40, 40, 60);

void save(const QString& dir, const QString& name, const std::function<void(QPainter&)>& draw)
{
    QImage img(18, 14, QImage::Format_ARGB32);
    img.fill(Qt::transparent);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing, true);
    draw(p);
    p.end();
    const QString path = dir + "/" + name + ".png";
    if (!img.save(path))
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
}

void card(QPainter& p, const QColor& body)
{
    p.setPen(QPen(Ink, 1));
    p.setBrush(body);
    p.drawRoundedRect(QRectF(1.5, 2.5, 15, 10), 1.5, 1.5);
}

void phone(QPainter& p, const QColor& body)
{
    p.setPen(QPen(Ink, 1));
    p.setBrush(body);
    p.drawRoundedRect(QRectF(2.5, 6.5, 13, 6), 1.5, 1.5);
    QPainterPath handset;
    handset.moveTo(2.5, 5);
    handset.cubicTo(5, 0.5, 13, 0.5, 15.5, 5);
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(Ink, 2, Qt::SolidLine, Qt::RoundCap));
    p.drawPath(handset);
    p.setPen(QPen(Ink, 1));
    p.setBrush(Qt::white);
    p.drawEllipse(QPointF(9, 9.5), 1.8, 1.8);
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QString root = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("pics");
    const QString dir = root + "/korel/icons.18x14";
    QDir().mkpath(dir);

    save(dir, "icon_dollar", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(120, 190, 110));
        p.drawRect(QRectF(0.5, 2.5, 17, 9));
        p.setBrush(QColor(200, 235, 190));
        p.drawEllipse(QPointF(9, 7), 3, 3);
        p.setFont(QFont("Sans", 5, QFont::Bold));
        p.drawText(QRectF(6, 3.5, 6, 7), Qt::AlignCenter, "$");
    });
    save(dir, "icon_ccard1", [](QPainter& p) {
        card(p, QColor(90, 130, 210));
        p.fillRect(QRectF(2, 4.5, 14, 2), Ink);
        p.fillRect(QRectF(3, 8.5, 5, 2), QColor(240, 200, 80));
    });
    save(dir, "icon_person", [](QPainter& p) {
        card(p, QColor(235, 235, 225));
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(160, 110, 80));
        p.drawEllipse(QPointF(6, 6), 2, 2);
        p.drawPie(QRectF(3, 8, 6, 6), 0, 180 * 16);
        p.fillRect(QRectF(10, 5, 5, 1), Ink);
        p.fillRect(QRectF(10, 8, 4, 1), Ink);
    });
    save(dir, "icon_mail", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(250, 245, 220));
        p.drawRect(QRectF(1.5, 2.5, 15, 10));
        p.drawPolyline(QPolygonF({QPointF(1.5, 2.5), QPointF(9, 8.5), QPointF(16.5, 2.5)}));
    });
    save(dir, "icon_appliance", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(200, 200, 210));
        p.drawRect(QRectF(1.5, 1.5, 15, 11));
        p.setBrush(QColor(60, 80, 110));
        p.drawRect(QRectF(3.5, 3.5, 8, 7));
        p.setBrush(QColor(230, 90, 60));
        p.drawEllipse(QPointF(14, 5), 1.2, 1.2);
        p.drawEllipse(QPointF(14, 9), 1.2, 1.2);
    });
    save(dir, "icon_air2", [](QPainter& p) {
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(70, 110, 190));
        QPolygonF plane({QPointF(1, 7), QPointF(16, 6), QPointF(17.5, 7), QPointF(16, 8)});
        p.drawPolygon(plane);
        p.drawPolygon(QPolygonF({QPointF(7, 7), QPointF(11, 1), QPointF(12.5, 1), QPointF(11, 7)}));
        p.drawPolygon(QPolygonF({QPointF(7, 7), QPointF(11, 13), QPointF(12.5, 13), QPointF(11, 7)}));
        p.drawPolygon(QPolygonF({QPointF(1, 7), QPointF(2, 4), QPointF(3.5, 4), QPointF(4, 7)}));
    });
    save(dir, "icon_phone1", [](QPainter& p) { phone(p, QColor(220, 80, 70)); });
    save(dir, "icon_phone2", [](QPainter& p) { phone(p, QColor(80, 160, 90)); });
    save(dir, "icon_world", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(110, 170, 230));
        p.drawEllipse(QPointF(9, 7), 6, 6);
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(QPointF(9, 7), 2.5, 6);
        p.drawLine(QPointF(3, 7), QPointF(15, 7));
    });
    save(dir, "icon_combolock", [](QPainter& p) {
        p.setPen(QPen(Ink, 1.5));
        p.setBrush(Qt::NoBrush);
        p.drawArc(QRectF(5, 0.5, 8, 9), 0, 180 * 16);
        p.drawLine(QPointF(5, 5), QPointF(5, 7));
        p.drawLine(QPointF(13, 5), QPointF(13, 7));
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(200, 170, 60));
        p.drawRoundedRect(QRectF(3.5, 6.5, 11, 7), 1, 1);
        p.setBrush(Ink);
        p.drawEllipse(QPointF(9, 10), 1, 1);
    });
    save(dir, "icon_computer1", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(190, 190, 200));
        p.drawRect(QRectF(2.5, 0.5, 13, 9));
        p.setBrush(QColor(60, 90, 150));
        p.drawRect(QRectF(4.5, 2.5, 9, 5));
        p.setBrush(QColor(190, 190, 200));
        p.drawRect(QRectF(1.5, 11.5, 15, 2));
    });
    save(dir, "icon_disk", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(70, 70, 90));
        p.drawRect(QRectF(3.5, 0.5, 11, 13));
        p.setBrush(QColor(200, 200, 210));
        p.drawRect(QRectF(6.5, 0.5, 5, 4));
        p.setBrush(Qt::white);
        p.drawRect(QRectF(5.5, 7.5, 7, 6));
    });
    return 0;
}
