// Draws Vaultix's pictures into a pics/ folder:
//   korel/icons.18x14/  the category icons (18 x 14)
//   korel/buttons/      the tool-button pictures (20 x 20); buttons that can be
//                       disabled also get a greyed "_inactv" twin
//   korel/logo/logo     the About logo (96 x 44, shown on white)
//   vaultix             the application icon (64 x 64)
// Small pictures are drawn on whole pixels, mostly without antialiasing, so
// that they stay sharp at their real size on a 240 x 320 screen.
// Run from the source tree: build/drawpics pics
// The pictures are checked in; the build does not run this.

#include <QDir>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QtMath>

#include <cstdio>
#include <functional>
#include <vector>

namespace {

const QColor Ink(40, 40, 60);
const QColor Gold(235, 185, 55);
const QColor GoldLight(255, 226, 130);
const QColor GoldDark(190, 135, 30);
const QColor Steel(170, 178, 195);
const QColor SteelLight(220, 226, 236);
const QColor Navy(30, 50, 95);

bool write(const QImage& img, const QString& path)
{
    if (img.save(path))
        return true;
    std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
    return false;
}

QImage draw(QSize size, const std::function<void(QPainter&)>& paint, bool antialias)
{
    QImage img(size, QImage::Format_ARGB32);
    img.fill(Qt::transparent);
    QPainter p(&img);
    p.setRenderHint(QPainter::Antialiasing, antialias);
    paint(p);
    p.end();
    return img;
}

QImage save(const QString& dir, const QString& name, QSize size,
            const std::function<void(QPainter&)>& paint, bool antialias = true)
{
    QImage img = draw(size, paint, antialias);
    write(img, dir + "/" + name + ".png");
    return img;
}

// What a disabled button shows: the same picture in light grey with the
// contrast squeezed, so the shape stays recognisable but clearly inactive.
QImage greyed(const QImage& src)
{
    QImage img = src.convertToFormat(QImage::Format_ARGB32);
    for (int y = 0; y < img.height(); ++y) {
        auto* line = reinterpret_cast<QRgb*>(img.scanLine(y));
        for (int x = 0; x < img.width(); ++x) {
            const QRgb c = line[x];
            const int g = 150 + qGray(c) * 95 / 255;
            line[x] = qRgba(g, g, g, qAlpha(c));
        }
    }
    return img;
}

// Fills every pixel for which `shade` gives a valid colour and rings the
// shape with ink: a transparent pixel next to a filled one (4-neighbourhood)
// becomes ink. This keeps outlines one pixel wide on any slope.
void shaded(QPainter& p, QSize size, const std::function<QColor(int, int)>& shade)
{
    const int w = size.width(), h = size.height();
    std::vector<QColor> c(w * h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            c[y * w + x] = shade(x, y);
    auto filled = [&](int x, int y) {
        return x >= 0 && y >= 0 && x < w && y < h && c[y * w + x].isValid();
    };
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            if (filled(x, y))
                p.fillRect(x, y, 1, 1, c[y * w + x]);
            else if (filled(x - 1, y) || filled(x + 1, y) || filled(x, y - 1) || filled(x, y + 1))
                p.fillRect(x, y, 1, 1, Ink);
        }
}

// A box with a one-pixel ink frame whose corners are left out, which reads
// as rounded at this size.
void frame(QPainter& p, const QRect& r, const QColor& fill)
{
    p.fillRect(r.adjusted(1, 1, -1, -1), fill);
    p.fillRect(r.x() + 1, r.y(), r.width() - 2, 1, Ink);
    p.fillRect(r.x() + 1, r.bottom(), r.width() - 2, 1, Ink);
    p.fillRect(r.x(), r.y() + 1, 1, r.height() - 2, Ink);
    p.fillRect(r.right(), r.y() + 1, 1, r.height() - 2, Ink);
}

// ---- category icons (18 x 14) --------------------------------------------

void icon(const QString& dir, const QString& name, const std::function<void(QPainter&)>& paint)
{
    save(dir, name, QSize(18, 14), paint);
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

void drawIcons(const QString& root)
{
    const QString dir = root + "/korel/icons.18x14";
    QDir().mkpath(dir);

    icon(dir, "icon_dollar", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(120, 190, 110));
        p.drawRect(QRectF(0.5, 2.5, 17, 9));
        p.setBrush(QColor(200, 235, 190));
        p.drawEllipse(QPointF(9, 7), 3, 3);
        p.setFont(QFont("Sans", 5, QFont::Bold));
        p.drawText(QRectF(6, 3.5, 6, 7), Qt::AlignCenter, "$");
    });
    icon(dir, "icon_ccard1", [](QPainter& p) {
        card(p, QColor(90, 130, 210));
        p.fillRect(QRectF(2, 4.5, 14, 2), Ink);
        p.fillRect(QRectF(3, 8.5, 5, 2), QColor(240, 200, 80));
    });
    icon(dir, "icon_person", [](QPainter& p) {
        card(p, QColor(235, 235, 225));
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(160, 110, 80));
        p.drawEllipse(QPointF(6, 6), 2, 2);
        p.drawPie(QRectF(3, 8, 6, 6), 0, 180 * 16);
        p.fillRect(QRectF(10, 5, 5, 1), Ink);
        p.fillRect(QRectF(10, 8, 4, 1), Ink);
    });
    icon(dir, "icon_mail", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(250, 245, 220));
        p.drawRect(QRectF(1.5, 2.5, 15, 10));
        p.drawPolyline(QPolygonF({QPointF(1.5, 2.5), QPointF(9, 8.5), QPointF(16.5, 2.5)}));
    });
    icon(dir, "icon_appliance", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(200, 200, 210));
        p.drawRect(QRectF(1.5, 1.5, 15, 11));
        p.setBrush(QColor(60, 80, 110));
        p.drawRect(QRectF(3.5, 3.5, 8, 7));
        p.setBrush(QColor(230, 90, 60));
        p.drawEllipse(QPointF(14, 5), 1.2, 1.2);
        p.drawEllipse(QPointF(14, 9), 1.2, 1.2);
    });
    icon(dir, "icon_air2", [](QPainter& p) {
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(70, 110, 190));
        QPolygonF plane({QPointF(1, 7), QPointF(16, 6), QPointF(17.5, 7), QPointF(16, 8)});
        p.drawPolygon(plane);
        p.drawPolygon(QPolygonF({QPointF(7, 7), QPointF(11, 1), QPointF(12.5, 1), QPointF(11, 7)}));
        p.drawPolygon(QPolygonF({QPointF(7, 7), QPointF(11, 13), QPointF(12.5, 13), QPointF(11, 7)}));
        p.drawPolygon(QPolygonF({QPointF(1, 7), QPointF(2, 4), QPointF(3.5, 4), QPointF(4, 7)}));
    });
    icon(dir, "icon_phone1", [](QPainter& p) { phone(p, QColor(220, 80, 70)); });
    icon(dir, "icon_phone2", [](QPainter& p) { phone(p, QColor(80, 160, 90)); });
    icon(dir, "icon_world", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(110, 170, 230));
        p.drawEllipse(QPointF(9, 7), 6, 6);
        p.setBrush(Qt::NoBrush);
        p.drawEllipse(QPointF(9, 7), 2.5, 6);
        p.drawLine(QPointF(3, 7), QPointF(15, 7));
    });
    icon(dir, "icon_combolock", [](QPainter& p) {
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
    icon(dir, "icon_computer1", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(190, 190, 200));
        p.drawRect(QRectF(2.5, 0.5, 13, 9));
        p.setBrush(QColor(60, 90, 150));
        p.drawRect(QRectF(4.5, 2.5, 9, 5));
        p.setBrush(QColor(190, 190, 200));
        p.drawRect(QRectF(1.5, 11.5, 15, 2));
    });
    icon(dir, "icon_disk", [](QPainter& p) {
        p.setPen(QPen(Ink, 1));
        p.setBrush(QColor(70, 70, 90));
        p.drawRect(QRectF(3.5, 0.5, 11, 13));
        p.setBrush(QColor(200, 200, 210));
        p.drawRect(QRectF(6.5, 0.5, 5, 4));
        p.setBrush(Qt::white);
        p.drawRect(QRectF(5.5, 7.5, 7, 6));
    });
}

// ---- tool buttons (20 x 20) ----------------------------------------------

const QSize ButtonSize(20, 20);

// A padlock; the open one has its shackle lifted clear of the body on the left.
void padlock(QPainter& p, bool open)
{
    const qreal top = open ? 2 : 4;   // centre line of the shackle's bow
    const qreal leftEnd = open ? 6.5 : 11;
    auto shackle = [&](qreal leftBottom) {
        QPainterPath s;
        s.moveTo(6, leftBottom);
        s.lineTo(6, top + 4);
        s.arcTo(QRectF(6, top, 8, 8), 180, -180);
        s.lineTo(14, 11);
        return s;
    };
    p.setRenderHint(QPainter::Antialiasing, true);
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(Ink, 4, Qt::SolidLine, Qt::FlatCap));
    p.drawPath(shackle(leftEnd + 1));
    p.setPen(QPen(Steel, 2, Qt::SolidLine, Qt::FlatCap));
    p.drawPath(shackle(leftEnd));
    p.setRenderHint(QPainter::Antialiasing, false);

    frame(p, QRect(2, 10, 16, 10), Gold);
    p.fillRect(3, 11, 14, 1, GoldLight);
    p.fillRect(3, 18, 14, 1, GoldDark);
    // keyhole: a round head over a slot
    p.fillRect(8, 12, 4, 1, GoldDark);   // the head's corners soften it
    p.fillRect(9, 12, 2, 5, Ink);
    p.fillRect(8, 13, 4, 2, Ink);
}

void newRecord(QPainter& p)
{
    const QColor paper(252, 252, 250), fold(205, 210, 222), line(150, 162, 190);
    for (int y = 1; y <= 18; ++y)
        for (int x = 3; x <= 14; ++x) {
            const int d = x - 10, e = y - 1;   // the folded corner is (10,1)-(14,5)
            QColor c = paper;
            if (d > e)
                continue;
            if (d == e || x == 3 || x == 14 || y == 1 || y == 18)
                c = Ink;
            else if (x >= 10 && y <= 5)
                c = (x == 10 || y == 5) ? Ink : fold;
            p.fillRect(x, y, 1, 1, c);
        }
    for (int y = 8; y <= 16; y += 2)
        p.fillRect(5, y, y == 16 ? 4 : 7, 1, line);
    // the plus
    p.fillRect(13, 10, 5, 9, Ink);
    p.fillRect(11, 12, 9, 5, Ink);
    const QColor green(70, 170, 70);
    p.fillRect(14, 11, 3, 7, green);
    p.fillRect(12, 13, 7, 3, green);
    p.fillRect(14, 11, 3, 1, QColor(140, 215, 130));
}

// A pencil lying on the diagonal, point at the bottom left. Worked out per
// pixel along (k) and across (m) the diagonal so its edges are clean steps.
void pencil(QPainter& p)
{
    shaded(p, ButtonSize, [](int x, int y) -> QColor {
        const int k = x - y;        // along: -15 is the point, 17 the eraser end
        const int m = x + y - 19;   // across: 0 on the axis, negative upper left
        const int am = m < 0 ? -m : m;
        if (k < -15 || k > 17)
            return {};
        if (k <= -8) {              // the sharpened wood and its lead
            if (am * 7 > (k + 15) * 2 + 1)
                return {};
            return k <= -12 ? QColor(60, 60, 72) : QColor(232, 196, 150);
        }
        if (am > 2)
            return {};
        if (k >= 12)                // eraser
            return m < 0 ? QColor(250, 170, 180) : QColor(228, 120, 138);
        if (k >= 9)                 // metal band
            return k == 10 ? QColor(120, 126, 140) : (m < 0 ? SteelLight : Steel);
        if (m < -1)
            return QColor(255, 226, 110);
        return m > 0 ? QColor(225, 160, 25) : QColor(248, 196, 40);
    });
}

void bin(QPainter& p)
{
    const QColor body(96, 128, 186), light(150, 178, 225), rib(60, 86, 140);
    // handle
    p.fillRect(7, 0, 6, 1, Ink);
    p.fillRect(7, 1, 1, 2, Ink);
    p.fillRect(12, 1, 1, 2, Ink);
    // lid
    frame(p, QRect(1, 2, 18, 4), light);
    p.fillRect(2, 3, 16, 1, QColor(200, 215, 240));
    // can, a little narrower at the bottom
    shaded(p, ButtonSize, [&](int x, int y) -> QColor {
        if (y < 6 || y > 18)
            return {};
        const int inset = y >= 13 ? 1 : 0;
        if (x < 4 + inset || x > 15 - inset)
            return {};
        if (y >= 7 && y <= 17 && (x == 7 || x == 12))
            return rib;
        return x == 4 + inset ? light : body;
    });
}

void drawButtons(const QString& root)
{
    const QString dir = root + "/korel/buttons";
    QDir().mkpath(dir);
    auto pair = [&](const QString& name, const std::function<void(QPainter&)>& paint) {
        const QImage img = save(dir, name, ButtonSize, paint, false);
        write(greyed(img), dir + "/" + name + "_inactv.png");
    };
    pair("lock", [](QPainter& p) { padlock(p, false); });
    pair("unlock", [](QPainter& p) { padlock(p, true); });
    save(dir, "new", ButtonSize, newRecord, false);
    pair("edit", pencil);
    pair("delete", bin);
}

// ---- logo and application icon --------------------------------------------

// The emblem: a round vault door with a three-spoke wheel in a steel frame.
void vaultDoor(QPainter& p, const QRectF& r)
{
    const qreal s = r.width();
    const qreal pen = s >= 48 ? 2 : 1;
    const QPointF c = r.center();
    p.setRenderHint(QPainter::Antialiasing, true);

    QLinearGradient frameFill(r.topLeft(), r.bottomRight());
    frameFill.setColorAt(0, QColor(205, 212, 226));
    frameFill.setColorAt(1, QColor(118, 128, 150));
    p.setPen(QPen(Ink, pen));
    p.setBrush(frameFill);
    const qreal h = pen / 2;
    p.drawRoundedRect(r.adjusted(h, h, -h, -h), s * 0.14, s * 0.14);

    // hinges on the left edge
    p.setBrush(QColor(80, 88, 108));
    const QSizeF hinge(s * 0.1, s * 0.16);
    for (qreal fy : {0.27, 0.73})
        p.drawRect(QRectF(QPointF(r.left() + h, r.top() + s * fy - hinge.height() / 2), hinge));

    // the door: a dark rim around a bright face, bolts in the rim
    const qreal R = s * 0.37;
    QLinearGradient rim(c - QPointF(R, R), c + QPointF(R, R));
    rim.setColorAt(0, QColor(95, 105, 128));
    rim.setColorAt(1, QColor(200, 207, 220));
    p.setBrush(rim);
    p.drawEllipse(c, R, R);
    QLinearGradient face(c - QPointF(R, R), c + QPointF(R, R));
    face.setColorAt(0, QColor(235, 239, 246));
    face.setColorAt(1, QColor(160, 170, 190));
    p.setBrush(face);
    const qreal F = R * 0.76;
    p.drawEllipse(c, F, F);
    if (s >= 48) {
        p.setPen(Qt::NoPen);
        p.setBrush(Ink);
        for (int i = 0; i < 8; ++i) {
            const qreal a = qDegreesToRadians(22.5 + 45.0 * i);
            p.drawEllipse(c + QPointF(qCos(a), qSin(a)) * (R + F) / 2, s * 0.022, s * 0.022);
        }
    }

    // the wheel: three spokes with gold knobs, a gold hub with a keyhole
    const qreal spoke = F * 0.78;
    p.setPen(QPen(Ink, s * 0.085, Qt::SolidLine, Qt::RoundCap));
    QList<QPointF> ends;
    for (int i = 0; i < 3; ++i) {
        const qreal a = qDegreesToRadians(-90.0 + 120.0 * i);
        ends << c + QPointF(qCos(a), qSin(a)) * spoke;
        p.drawLine(c, ends.last());
    }
    p.setPen(QPen(Ink, pen));
    p.setBrush(Gold);
    for (const QPointF& e : ends)
        p.drawEllipse(e, s * 0.055, s * 0.055);
    p.drawEllipse(c, s * 0.12, s * 0.12);
    p.setPen(Qt::NoPen);
    p.setBrush(Ink);
    p.drawEllipse(c - QPointF(0, s * 0.025), s * 0.03, s * 0.03);
    p.drawRect(QRectF(c.x() - s * 0.015, c.y() - s * 0.02, s * 0.03, s * 0.07));
}

// "Vaultix" as pixel letters: bold (two-pixel stems), cap height 12,
// x-height 9, so the word is sharp whatever fonts the machine has.
struct Glyph {
    int top;                   // first row, counted from the cap line
    QList<const char*> rows;   // '#' is ink
};

const Glyph& glyph(char ch)
{
    static const Glyph V{0, {"##......##", "##......##", "##......##", ".##....##.",
                             ".##....##.", ".##....##.", "..##..##..", "..##..##..",
                             "..##..##..", "...####...", "...####...", "....##...."}};
    static const Glyph a{3, {".######.", "......##", "......##", ".#######", "##....##",
                             "##....##", "##....##", "##...###", ".####.##"}};
    static const Glyph u{3, {"##....##", "##....##", "##....##", "##....##", "##....##",
                             "##....##", "##....##", "##...###", ".####.##"}};
    static const Glyph l{0, {"##", "##", "##", "##", "##", "##", "##", "##", "##", "##",
                             "##", "##"}};
    static const Glyph t{1, {".##...", ".##...", "######", ".##...", ".##...", ".##...",
                             ".##...", ".##...", ".##...", ".##...", "..####"}};
    static const Glyph i{0, {"##", "##", "..", "##", "##", "##", "##", "##", "##", "##",
                             "##", "##"}};
    static const Glyph x{3, {"##....##", "##....##", ".##..##.", "..####..", "...##...",
                             "..####..", ".##..##.", "##....##", "##....##"}};
    switch (ch) {
    case 'V': return V;
    case 'a': return a;
    case 'u': return u;
    case 'l': return l;
    case 't': return t;
    case 'i': return i;
    default: return x;
    }
}

int glyphWidth(char ch) { return int(qstrlen(glyph(ch).rows.first())); }

int wordWidth(const char* word, int gap)
{
    int w = 0;
    for (const char* c = word; *c; ++c)
        w += glyphWidth(*c) + (c[1] ? gap : 0);
    return w;
}

void pixelWord(QPainter& p, int x, int capTop, const char* word, int gap, const QColor& ink)
{
    for (const char* c = word; *c; ++c) {
        const Glyph& g = glyph(*c);
        for (int r = 0; r < g.rows.size(); ++r)
            for (int col = 0; g.rows[r][col]; ++col)
                if (g.rows[r][col] == '#')
                    p.fillRect(x + col, capTop + g.top + r, 1, 1, ink);
        x += glyphWidth(*c) + gap;
    }
}

void drawLogo(const QString& root)
{
    const QString dir = root + "/korel/logo";
    QDir().mkpath(dir);
    save(dir, "logo", QSize(96, 44), [](QPainter& p) {
        vaultDoor(p, QRectF(1, 3, 38, 38));
        p.setRenderHint(QPainter::Antialiasing, false);
        const int gap = 1;
        const int x = 42 + (96 - 42 - wordWidth("Vaultix", gap)) / 2;
        pixelWord(p, x, 16, "Vaultix", gap, Navy);
    });
}

void drawAppIcon(const QString& root)
{
    save(root, "vaultix", QSize(64, 64), [](QPainter& p) { vaultDoor(p, QRectF(2, 2, 60, 60)); });
}

} // namespace

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    const QString root = argc > 1 ? QString::fromLocal8Bit(argv[1]) : QStringLiteral("pics");
    drawIcons(root);
    drawButtons(root);
    drawLogo(root);
    drawAppIcon(root);
    return 0;
}
