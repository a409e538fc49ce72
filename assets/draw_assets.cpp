// tarvoline-assets FOLDER: draws the program's pictures into FOLDER: the
// splash, the window backgrounds, the toolbar icons, the lamps, the switches,
// the header icons and the splash cursor.
#include <QDir>
#include <QFont>
#include <QGuiApplication>
#include <QImage>
#include <QLinearGradient>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <cmath>
#include <cstdio>
#include <functional>

namespace {

// The house colours.
const QColor ink(0x22, 0x2e, 0x3a);   // outlines
const QColor teal(0x00, 0x80, 0x80);  // the header bar
const QColor tealLight(0x3c, 0xb4, 0xb0);
const QColor paper(0xfb, 0xfc, 0xfd);
const QColor steel(0x8e, 0x9a, 0xa6);
const QColor go(0x2e, 0x9e, 0x3e);
const QColor halt(0xd0, 0x2a, 0x24);
const QColor amber(0xf0, 0xb4, 0x2c);
const QColor blue(0x2a, 0x6c, 0xc4);

QDir out;
int failures = 0;

void save(const QImage& image, const char* name, int quality = -1) {
    const QString file = out.filePath(QString::fromLatin1(name));
    if (!image.save(file, nullptr, quality)) {
        std::fprintf(stderr, "tarvoline-assets: cannot write %s\n", qPrintable(file));
        ++failures;
    }
}

QImage canvas(int w, int h, bool alpha = true) {
    QImage image(w, h, alpha ? QImage::Format_ARGB32_Premultiplied : QImage::Format_RGB32);
    image.fill(alpha ? Qt::transparent : Qt::white);
    return image;
}

// A 32 x 32 icon drawn on a 32-unit grid.
void icon(const char* name, const std::function<void(QPainter&)>& draw) {
    QImage image = canvas(32, 32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    draw(p);
    p.end();
    save(image, name);
}

QPen outline(qreal width = 1.2) {
    return QPen(ink, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
}

QLinearGradient vertical(const QRectF& r, const QColor& top, const QColor& bottom) {
    QLinearGradient g(r.topLeft(), r.bottomLeft());
    g.setColorAt(0, top);
    g.setColorAt(1, bottom);
    return g;
}

// A sheet of paper with a folded corner and text lines.
void page(QPainter& p, const QRectF& r, int lines = 4) {
    const qreal fold = r.width() * 0.3;
    QPainterPath sheet;
    sheet.moveTo(r.topLeft());
    sheet.lineTo(r.right() - fold, r.top());
    sheet.lineTo(r.right(), r.top() + fold);
    sheet.lineTo(r.bottomRight());
    sheet.lineTo(r.bottomLeft());
    sheet.closeSubpath();
    p.setPen(outline());
    p.setBrush(vertical(r, paper, QColor(0xe4, 0xe9, 0xee)));
    p.drawPath(sheet);
    QPainterPath corner;
    corner.moveTo(r.right() - fold, r.top());
    corner.lineTo(r.right() - fold, r.top() + fold);
    corner.lineTo(r.right(), r.top() + fold);
    p.setBrush(QColor(0xc8, 0xd0, 0xd8));
    p.drawPath(corner);
    p.setPen(QPen(steel, 1.2, Qt::SolidLine, Qt::RoundCap));
    const qreal step = (r.height() - fold - 3) / (lines + 0.5);
    for (int i = 0; i < lines; ++i) {
        const qreal y = r.top() + fold + 2 + step * (i + 0.5);
        const qreal end = (i == lines - 1) ? r.left() + r.width() * 0.55 : r.right() - 3;
        p.drawLine(QPointF(r.left() + 3, y), QPointF(end, y));
    }
}

// A magnifier: a glass of radius r at c, its handle towards the lower right.
void magnifier(QPainter& p, QPointF c, qreal r) {
    const qreal d = r * 0.7071;
    p.setPen(QPen(ink, 4.2, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(c + QPointF(d + 1.5, d + 1.5), c + QPointF(d + r * 0.95, d + r * 0.95));
    p.setPen(QPen(QColor(0x6b, 0x4a, 0x2a), 2.4, Qt::SolidLine, Qt::RoundCap));
    p.drawLine(c + QPointF(d + 2.5, d + 2.5), c + QPointF(d + r * 0.9, d + r * 0.9));
    QRadialGradient glass(c - QPointF(r / 3, r / 3), r * 1.4);
    glass.setColorAt(0, QColor(255, 255, 255, 230));
    glass.setColorAt(1, QColor(0x9c, 0xd4, 0xf0, 200));
    p.setBrush(glass);
    p.setPen(QPen(ink, 1.3));
    p.drawEllipse(c, r, r);
    p.setPen(QPen(QColor(0xa8, 0xb4, 0xc0), 1.6));
    p.setBrush(Qt::NoBrush);
    p.drawEllipse(c, r - 1.4, r - 1.4);
    p.setPen(QPen(QColor(255, 255, 255, 220), 1.3, Qt::SolidLine, Qt::RoundCap));
    p.drawArc(QRectF(c.x() - r + 3, c.y() - r + 3, 2 * r - 6, 2 * r - 6), 100 * 16, 60 * 16);
}

// A bold arrow pointing along angle degrees (0 right, 90 up), centred at c.
void arrow(QPainter& p, QPointF c, qreal angle, const QColor& fill, qreal length = 22,
           qreal shaft = 7, qreal head = 17) {
    p.save();
    p.translate(c);
    p.rotate(-angle);
    const qreal h = length / 2;
    const qreal neck = h - head * 0.62;
    QPainterPath a;
    a.moveTo(h, 0);
    a.lineTo(neck, -head / 2);
    a.lineTo(neck, -shaft / 2);
    a.lineTo(-h, -shaft / 2);
    a.lineTo(-h, shaft / 2);
    a.lineTo(neck, shaft / 2);
    a.lineTo(neck, head / 2);
    a.closeSubpath();
    QLinearGradient g(0, -head / 2, 0, head / 2);
    g.setColorAt(0, fill.lighter(145));
    g.setColorAt(1, fill.darker(115));
    p.setPen(outline(1.1));
    p.setBrush(g);
    p.drawPath(a);
    p.restore();
}

// A door in its frame; open shows the leaf swung towards the viewer.
void door(QPainter& p, const QRectF& frame, bool open) {
    p.setPen(outline());
    p.setBrush(QColor(0x3a, 0x44, 0x50));
    p.drawRect(frame);  // the dark opening
    if (!open) {
        p.setBrush(vertical(frame, QColor(0xc8, 0x8a, 0x4c), QColor(0x8e, 0x58, 0x2a)));
        p.drawRect(frame.adjusted(1.5, 1.5, -1.5, 0));
        p.setPen(QPen(QColor(0x6e, 0x42, 0x1e), 1));
        p.setBrush(Qt::NoBrush);
        p.drawRect(frame.adjusted(4, 4, -4, -frame.height() / 2 - 1));
        p.drawRect(frame.adjusted(4, frame.height() / 2 + 1, -4, -3));
        p.setBrush(amber);
        p.setPen(outline(0.8));
        p.drawEllipse(QPointF(frame.right() - 4.5, frame.center().y() + 1), 1.4, 1.4);
        return;
    }
    QPainterPath leaf;
    const qreal w = frame.width() * 0.62;
    leaf.moveTo(frame.left(), frame.top());
    leaf.lineTo(frame.left() + w, frame.top() + 3);
    leaf.lineTo(frame.left() + w, frame.bottom() + 2);
    leaf.lineTo(frame.left(), frame.bottom());
    leaf.closeSubpath();
    p.setBrush(vertical(frame, QColor(0xd2, 0x94, 0x56), QColor(0x94, 0x5c, 0x2c)));
    p.setPen(outline());
    p.drawPath(leaf);
    p.setBrush(amber);
    p.setPen(outline(0.8));
    p.drawEllipse(QPointF(frame.left() + w - 3, frame.center().y() + 2), 1.3, 1.3);
}

// A D-sub 9 connector face, 1 or 2 marking the port.
void connector(QPainter& p, const QRectF& r, bool male) {
    QPainterPath shell;
    const qreal slant = r.width() * 0.1;
    shell.moveTo(r.left(), r.top());
    shell.lineTo(r.right(), r.top());
    shell.lineTo(r.right() - slant, r.bottom());
    shell.lineTo(r.left() + slant, r.bottom());
    shell.closeSubpath();
    p.setPen(outline(1.2));
    p.setBrush(vertical(r, QColor(0xe6, 0xea, 0xee), QColor(0x9a, 0xa4, 0xae)));
    p.drawPath(shell);
    p.setBrush(male ? QColor(0xf4, 0xc8, 0x4a) : QColor(0x2a, 0x32, 0x3a));
    p.setPen(male ? QPen(QColor(0x8a, 0x6a, 0x1a), 0.6) : Qt::NoPen);
    const qreal pin = r.width() / 6.2;
    for (int i = 0; i < 5; ++i)
        p.drawEllipse(QPointF(r.left() + pin * (1.0 + i * 1.05), r.top() + r.height() * 0.33),
                      pin * 0.28, pin * 0.28);
    for (int i = 0; i < 4; ++i)
        p.drawEllipse(QPointF(r.left() + pin * (1.55 + i * 1.05), r.top() + r.height() * 0.7),
                      pin * 0.28, pin * 0.28);
}

// ---- The pictures

void drawIcons() {
    icon("tb_setup.png", [](QPainter& p) {
        // A table of settings with a pencil over it.
        const QRectF t(2.5, 5.5, 22, 20);
        p.setPen(outline());
        p.setBrush(paper);
        p.drawRect(t);
        p.setBrush(QColor(0x4a, 0x84, 0xc8));
        p.drawRect(QRectF(t.left(), t.top(), t.width(), 5));
        p.setPen(QPen(steel, 1));
        for (int i = 1; i < 3; ++i)
            p.drawLine(QPointF(t.left(), t.top() + 5 + i * 5),
                       QPointF(t.right(), t.top() + 5 + i * 5));
        p.drawLine(QPointF(t.left() + 9, t.top() + 5), QPointF(t.left() + 9, t.bottom()));
        p.save();
        p.translate(20, 17);
        p.rotate(-45);
        QRectF body(-11, -2.8, 17, 5.6);
        p.setPen(outline(1.1));
        p.setBrush(vertical(body, QColor(0xff, 0xd8, 0x5a), QColor(0xe0, 0x9a, 0x1a)));
        p.drawRect(body);
        p.setBrush(QColor(0xe8, 0x88, 0x98));
        p.drawRect(QRectF(-14, -2.8, 3, 5.6));
        QPainterPath tip;
        tip.moveTo(6, -2.8);
        tip.lineTo(11, 0);
        tip.lineTo(6, 2.8);
        tip.closeSubpath();
        p.setBrush(QColor(0xf0, 0xd8, 0xb0));
        p.drawPath(tip);
        p.setBrush(ink);
        p.setPen(Qt::NoPen);
        p.drawEllipse(QPointF(10.2, 0), 1.0, 0.9);
        p.restore();
    });
    icon("tb_start.png", [](QPainter& p) {
        QPainterPath play;
        play.moveTo(8, 4.5);
        play.lineTo(27, 16);
        play.lineTo(8, 27.5);
        play.closeSubpath();
        p.setPen(QPen(go.darker(160), 1.3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(vertical(QRectF(8, 4, 19, 24), go.lighter(160), go.darker(110)));
        p.drawPath(play);
        p.setPen(QPen(QColor(255, 255, 255, 150), 1.2, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(10, 8.5), QPointF(10, 15));
    });
    icon("tb_stop.png", [](QPainter& p) {
        const QRectF r(5.5, 5.5, 21, 21);
        p.setPen(QPen(halt.darker(170), 1.3));
        p.setBrush(vertical(r, halt.lighter(150), halt.darker(115)));
        p.drawRoundedRect(r, 3, 3);
        p.setPen(QPen(QColor(255, 255, 255, 130), 1.2, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(QPointF(8.5, 8.5), QPointF(20, 8.5));
    });
    icon("tb_convert.png", [](QPainter& p) {
        page(p, QRectF(2.5, 2.5, 16, 20), 4);
        page(p, QRectF(13.5, 9.5, 16, 20), 4);
        p.setPen(QPen(blue.darker(130), 1.8, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
        p.setBrush(Qt::NoBrush);
        QPainterPath turn;
        turn.moveTo(7, 25);
        turn.quadTo(7, 29.5, 12, 29.5);
        p.drawPath(turn);
        QPainterPath head;
        head.moveTo(10, 27.2);
        head.lineTo(13, 29.5);
        head.lineTo(10, 31.5);
        p.drawPath(head);
    });
    icon("tb_watch.png", [](QPainter& p) {
        page(p, QRectF(3.5, 2.5, 19, 24), 5);
        magnifier(p, QPointF(18, 18), 6.6);
    });
    icon("tb_help.png", [](QPainter& p) {
        // A closed book seen from the front, with a question mark on its cover.
        const QRectF cover(6.5, 3.5, 21, 25);
        p.setPen(outline());
        p.setBrush(paper);
        p.drawRoundedRect(QRectF(8.5, 5.5, 20, 25), 1.5, 1.5);  // the pages
        p.setBrush(vertical(cover, QColor(0x3c, 0x7c, 0xd4), QColor(0x1c, 0x48, 0x90)));
        p.drawRoundedRect(cover, 1.5, 1.5);
        p.setBrush(QColor(0x14, 0x34, 0x6c));
        p.drawRect(QRectF(6.5, 3.5, 3.5, 25));  // the spine
        QFont f(QStringLiteral("DejaVu Sans"));
        f.setPixelSize(19);
        f.setBold(true);
        p.setFont(f);
        p.setPen(QColor(0xff, 0xe0, 0x66));
        p.drawText(QRectF(10, 3.5, 17.5, 25), Qt::AlignCenter, QStringLiteral("?"));
    });
    icon("tb_exit.png", [](QPainter& p) {
        door(p, QRectF(3.5, 3.5, 15, 25), true);
        arrow(p, QPointF(22.5, 16), 0, halt, 17, 5.5, 12);
    });
    icon("tb_open.png", [](QPainter& p) {
        // An open folder: the back with its tab, a sheet, and the front flap tilted open.
        QPainterPath back;
        back.moveTo(2.5, 8);
        back.lineTo(10, 8);
        back.lineTo(12.5, 5.5);
        back.lineTo(23, 5.5);
        back.lineTo(23, 9.5);
        back.lineTo(2.5, 9.5);
        back.closeSubpath();
        p.setPen(outline());
        p.setBrush(QColor(0xd8, 0xa0, 0x30));
        p.drawRect(QRectF(2.5, 8, 21, 18.5));
        p.drawPath(back);
        page(p, QRectF(8.5, 3.5, 14, 14), 2);
        QPainterPath front;
        front.moveTo(2.5, 26.5);
        front.lineTo(7.5, 13.5);
        front.lineTo(30, 13.5);
        front.lineTo(24.5, 26.5);
        front.closeSubpath();
        p.setBrush(
            vertical(QRectF(2, 13, 28, 14), QColor(0xff, 0xd8, 0x70), QColor(0xe8, 0xa8, 0x30)));
        p.drawPath(front);
    });

    // The review set: record navigation, find, save and leave.
    icon("fa_home.png", [](QPainter& p) {
        p.setPen(outline());
        p.setBrush(blue.darker(120));
        p.drawRoundedRect(QRectF(6, 3.5, 20, 3), 1, 1);
        arrow(p, QPointF(16, 18.5), 90, blue, 21);
    });
    icon("fa_back.png", [](QPainter& p) { arrow(p, QPointF(16, 16), 180, blue, 24); });
    icon("fa_forward.png", [](QPainter& p) { arrow(p, QPointF(16, 16), 0, blue, 24); });
    icon("fa_end.png", [](QPainter& p) {
        p.setPen(outline());
        p.setBrush(blue.darker(120));
        p.drawRoundedRect(QRectF(6, 25.5, 20, 3), 1, 1);
        arrow(p, QPointF(16, 13.5), 270, blue, 21);
    });
    icon("fa_find.png", [](QPainter& p) { magnifier(p, QPointF(13, 13), 9); });
    icon("fa_save.png", [](QPainter& p) {
        // A 3.5-inch diskette.
        QPainterPath body;
        body.moveTo(3.5, 3.5);
        body.lineTo(25.5, 3.5);
        body.lineTo(28.5, 6.5);
        body.lineTo(28.5, 28.5);
        body.lineTo(3.5, 28.5);
        body.closeSubpath();
        p.setPen(outline());
        p.setBrush(
            vertical(QRectF(3, 3, 26, 26), QColor(0x40, 0x58, 0x78), QColor(0x22, 0x32, 0x48)));
        p.drawPath(body);
        p.setBrush(
            vertical(QRectF(9, 3.5, 14, 9), QColor(0xe8, 0xec, 0xf0), QColor(0xa8, 0xb2, 0xbc)));
        p.drawRect(QRectF(9.5, 3.5, 13, 9));  // the shutter
        p.setBrush(QColor(0x22, 0x32, 0x48));
        p.setPen(Qt::NoPen);
        p.drawRect(QRectF(17.5, 5, 3, 6));
        p.setPen(outline(1));
        p.setBrush(paper);
        p.drawRect(QRectF(7.5, 16.5, 17, 12));  // the label
        p.setPen(QPen(steel, 1));
        p.drawLine(QPointF(10, 20.5), QPointF(22, 20.5));
        p.drawLine(QPointF(10, 24), QPointF(19, 24));
    });
    icon("fa_exit.png", [](QPainter& p) { door(p, QRectF(8.5, 3.5, 15, 25), false); });
}

void drawLamps() {
    // 24 x 28: the lamp's picture 360 x 420 twips.
    auto lamp = [](const char* name, bool lit) {
        QImage image = canvas(24, 28);
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        const QPointF c(12, 14);
        const qreal r = 9.5;
        // The bezel.
        p.setPen(QPen(ink, 1));
        p.setBrush(
            vertical(QRectF(0, 0, 24, 28), QColor(0xf0, 0xf2, 0xf4), QColor(0x80, 0x8a, 0x94)));
        p.drawEllipse(c, r + 1.8, r + 1.8);
        if (lit) {
            QRadialGradient glow(c - QPointF(3, 3.5), r * 1.5);
            glow.setColorAt(0, QColor(0xff, 0xd0, 0xc0));
            glow.setColorAt(0.35, QColor(0xff, 0x3a, 0x24));
            glow.setColorAt(1, QColor(0x9a, 0x08, 0x04));
            p.setBrush(glow);
            p.setPen(QPen(QColor(0x60, 0x04, 0x02), 0.9));
            p.drawEllipse(c, r, r);
        } else {
            p.setBrush(QColor(0xb4, 0xba, 0xc0));
            p.setPen(QPen(QColor(0x50, 0x58, 0x60), 0.9));
            p.drawEllipse(c, r, r);
            // The hatching of an unlit lamp, clipped to its disc.
            QPainterPath disc;
            disc.addEllipse(c, r - 0.5, r - 0.5);
            p.setClipPath(disc);
            p.setPen(QPen(QColor(0x70, 0x78, 0x80), 1));
            for (int k = -24; k < 24; k += 3) p.drawLine(QPointF(k, 28), QPointF(k + 28, 0));
            p.setClipping(false);
        }
        p.setPen(Qt::NoPen);
        p.setBrush(QColor(255, 255, 255, lit ? 170 : 120));
        p.drawEllipse(QPointF(c.x() - 3.2, c.y() - 3.6), 2.8, 2.0);
        p.end();
        save(image, name);
    };
    lamp("lamp_off.png", false);
    lamp("lamp_on.png", true);
}

void drawSwitches() {
    // 49 x 17: the switch's 735 x 255 twips.
    auto slide = [](const char* name, bool on) {
        QImage image = canvas(49, 17);
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF track(0.5, 2.5, 48, 12);
        p.setPen(QPen(ink, 1));
        p.setBrush(vertical(track, QColor(0x2a, 0x30, 0x36), QColor(0x50, 0x58, 0x60)));
        p.drawRoundedRect(track, 6, 6);
        // The lit side of the slot shows the state in words.
        QFont f(QStringLiteral("DejaVu Sans"));
        f.setPixelSize(8);
        f.setBold(true);
        p.setFont(f);
        if (on) {
            p.setPen(QColor(0x7c, 0xf0, 0x80));
            p.drawText(QRectF(3, 2.5, 22, 12), Qt::AlignCenter, QStringLiteral("ON"));
        } else {
            p.setPen(QColor(0xb0, 0xb8, 0xc0));
            p.drawText(QRectF(24, 2.5, 23, 12), Qt::AlignCenter, QStringLiteral("OFF"));
        }
        const QRectF knob(on ? 25.5 : 0.5, 0.5, 23, 16);
        p.setPen(QPen(ink, 1));
        p.setBrush(vertical(knob, QColor(0xfa, 0xfb, 0xfc), QColor(0xa4, 0xae, 0xb8)));
        p.drawRoundedRect(knob, 4, 4);
        p.setPen(QPen(QColor(0x70, 0x7a, 0x84), 1));
        for (int i = -1; i <= 1; ++i)
            p.drawLine(QPointF(knob.center().x() + i * 3.5, 4.5),
                       QPointF(knob.center().x() + i * 3.5, 12.5));
        p.end();
        save(image, name);
    };
    slide("switch_off.png", false);
    slide("switch_on.png", true);
}

void drawPortIcons() {
    auto port = [](const char* name, int number) {
        QImage image = canvas(32, 32);
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF plate(1.5, 1.5, 29, 29);
        p.setPen(QPen(teal.darker(170), 1));
        p.setBrush(vertical(plate, tealLight, teal.darker(120)));
        p.drawRoundedRect(plate, 5, 5);
        connector(p, QRectF(4, 5, 24, 11), number == 1);
        QFont f(QStringLiteral("DejaVu Sans"));
        f.setPixelSize(13);
        f.setBold(true);
        p.setFont(f);
        p.setPen(Qt::white);
        p.drawText(QRectF(1.5, 16.5, 29, 14), Qt::AlignCenter, QString::number(number));
        p.end();
        save(image, name);
    };
    port("port1.png", 1);
    port("port2.png", 2);
}

// The dialogs' picture buttons: a mark and a word on a raised face.
void drawDialogButtons() {
    auto button = [](const char* name, int w, int h, const char* word,
                     const std::function<void(QPainter&, const QRectF&)>& mark) {
        QImage image = canvas(w, h);
        QPainter p(&image);
        p.setRenderHint(QPainter::Antialiasing);
        const QRectF face(0.5, 0.5, w - 1, h - 1);
        p.setPen(QPen(QColor(0x6b, 0x78, 0x86), 1));
        p.setBrush(vertical(face, QColor(0xf7, 0xf9, 0xfb), QColor(0xd5, 0xdc, 0xe4)));
        p.drawRoundedRect(face, 4, 4);
        const qreal side = h * 0.5;
        const QRectF markArea(h * 0.3, (h - side) / 2, side, side);
        mark(p, markArea);
        QFont f(QStringLiteral("DejaVu Sans"));
        f.setPixelSize(static_cast<int>(h * 0.36));
        f.setBold(true);
        p.setFont(f);
        p.setPen(ink);
        p.drawText(QRectF(markArea.right() + h * 0.2, 0, w - markArea.right() - h * 0.3, h),
                   Qt::AlignVCenter | Qt::AlignLeft, QString::fromLatin1(word));
        p.end();
        save(image, name);
    };
    const auto tick = [](QPainter& p, const QRectF& r) {
        p.setPen(QPen(QColor(0x2e, 0x8b, 0x3a), r.width() * 0.18, Qt::SolidLine, Qt::RoundCap,
                      Qt::RoundJoin));
        p.drawPolyline(QPolygonF({QPointF(r.left(), r.center().y()),
                                  QPointF(r.left() + r.width() * 0.4, r.bottom()),
                                  QPointF(r.right(), r.top())}));
    };
    const auto cross = [](QPainter& p, const QRectF& r) {
        p.setPen(QPen(QColor(0xb8, 0x2b, 0x2b), r.width() * 0.18, Qt::SolidLine, Qt::RoundCap));
        p.drawLine(r.topLeft(), r.bottomRight());
        p.drawLine(r.topRight(), r.bottomLeft());
    };
    button("setup_ok.png", 97, 41, "OK", tick);
    button("setup_cancel.png", 97, 41, "Cancel", cross);
    // The conversion and watch dialogs' smaller buttons.
    button("ok.png", 81, 27, "OK", tick);
    button("cancel.png", 81, 27, "Cancel", cross);
    button("setup_default.png", 80, 33, "Default", [](QPainter& p, const QRectF& r) {
        p.setPen(QPen(teal.darker(130), r.width() * 0.16, Qt::SolidLine, Qt::RoundCap));
        p.setBrush(Qt::NoBrush);
        p.drawArc(r, 60 * 16, 300 * 16);
        p.setBrush(teal.darker(130));
        p.setPen(Qt::NoPen);
        const QPointF tip(r.center().x() + r.width() * 0.25, r.top() + r.height() * 0.07);
        p.drawPolygon(QPolygonF({tip + QPointF(-r.width() * 0.3, -r.height() * 0.12),
                                 tip + QPointF(r.width() * 0.12, -r.height() * 0.3),
                                 tip + QPointF(r.width() * 0.05, r.height() * 0.22)}));
    });
}

void drawCursor() {
    QImage image = canvas(32, 32);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath pointer;
    pointer.moveTo(2, 2);
    pointer.lineTo(2, 22);
    pointer.lineTo(7, 17.5);
    pointer.lineTo(10.5, 25.5);
    pointer.lineTo(14, 24);
    pointer.lineTo(10.5, 16);
    pointer.lineTo(17, 16);
    pointer.closeSubpath();
    p.setPen(QPen(Qt::white, 3, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPath(pointer);
    p.setPen(QPen(ink, 1.2, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(vertical(QRectF(2, 2, 15, 24), tealLight, teal.darker(130)));
    p.drawPath(pointer);
    // A small bit frame beside the pointer: the program's mark.
    p.setPen(QPen(ink, 1.2));
    p.setBrush(Qt::NoBrush);
    QPainterPath wave;
    wave.moveTo(17, 29);
    wave.lineTo(20, 29);
    wave.lineTo(20, 25);
    wave.lineTo(24, 25);
    wave.lineTo(24, 29);
    wave.lineTo(27, 29);
    wave.lineTo(27, 25);
    wave.lineTo(30, 25);
    p.drawPath(wave);
    p.end();
    save(image, "splash_cursor.png");
}

// One UART frame after another: start bit low, eight data bits LSB first, stop bit high.
QPainterPath bitTrace(const QByteArray& text, qreal x, qreal high, qreal low, qreal bit) {
    QPainterPath trace;
    trace.moveTo(x, high);
    qreal level = high;
    auto to = [&](qreal y) {
        if (y != level) {
            trace.lineTo(x, y);
            level = y;
        }
        x += bit;
        trace.lineTo(x, level);
    };
    for (char c : text) {
        to(low);
        for (int b = 0; b < 8; ++b) to((static_cast<unsigned char>(c) >> b) & 1 ? high : low);
        to(high);
        to(high);
    }
    return trace;
}

void drawGrid(QPainter& p, const QRectF& area, qreal step, const QColor& minor,
              const QColor& major) {
    int i = 0;
    for (qreal x = area.left(); x <= area.right(); x += step, ++i) {
        p.setPen(QPen(i % 5 ? minor : major, 1));
        p.drawLine(QPointF(x + 0.5, area.top()), QPointF(x + 0.5, area.bottom()));
    }
    i = 0;
    for (qreal y = area.top(); y <= area.bottom(); y += step, ++i) {
        p.setPen(QPen(i % 5 ? minor : major, 1));
        p.drawLine(QPointF(area.left(), y + 0.5), QPointF(area.right(), y + 0.5));
    }
}

void drawSplash() {
    const int w = 628, h = 414;
    QImage image = canvas(w, h, false);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QLinearGradient sky(0, 0, w, h);
    sky.setColorAt(0, QColor(0x0c, 0x1c, 0x2c));
    sky.setColorAt(0.6, QColor(0x0e, 0x34, 0x44));
    sky.setColorAt(1, QColor(0x06, 0x4a, 0x4c));
    p.fillRect(image.rect(), sky);

    // The scope screen: a grid with two traces of a conversation on the line.
    const QRectF screen(34, 150, w - 68, 150);
    p.setPen(QPen(QColor(0x3c, 0x6c, 0x74), 1.2));
    p.setBrush(QColor(0x04, 0x14, 0x18, 200));
    p.drawRoundedRect(screen, 6, 6);
    p.save();
    p.setClipRect(screen.adjusted(2, 2, -2, -2));
    drawGrid(p, screen.adjusted(6, 5, 0, 0), 12, QColor(0x12, 0x36, 0x3a),
             QColor(0x1e, 0x52, 0x56));
    p.setBrush(Qt::NoBrush);
    for (int glow = 3; glow >= 0; --glow) {
        const qreal width = glow == 0 ? 1.6 : 1.6 + glow * 2.2;
        const int alpha = glow == 0 ? 255 : 40;
        p.setPen(QPen(QColor(0x5c, 0xf0, 0xd0, alpha), width, Qt::SolidLine, Qt::FlatCap,
                      Qt::MiterJoin));
        p.drawPath(bitTrace("AT+CSQ\r", screen.left() + 10, 172, 200, 4.0));
        p.setPen(QPen(QColor(0xff, 0xc0, 0x4c, alpha), width, Qt::SolidLine, Qt::FlatCap,
                      Qt::MiterJoin));
        p.drawPath(bitTrace("\r\nOK\r\n", screen.left() + 326, 248, 276, 3.4));
    }
    p.restore();
    QFont small(QStringLiteral("DejaVu Sans Mono"));
    small.setPixelSize(11);
    p.setFont(small);
    p.setPen(QColor(0x5c, 0xf0, 0xd0));
    p.drawText(QPointF(screen.left() + 10, screen.top() + 14),
               QStringLiteral("TxD  Port 1  AT+CSQ<CR>"));
    p.setPen(QColor(0xff, 0xc0, 0x4c));
    p.drawText(QPointF(screen.left() + 10, screen.bottom() - 8),
               QStringLiteral("RxD  Port 2  <CR><LF>OK<CR><LF>"));

    // The title.
    QFont title(QStringLiteral("DejaVu Sans"));
    title.setPixelSize(58);
    title.setBold(true);
    title.setLetterSpacing(QFont::AbsoluteSpacing, 2);
    QPainterPath word;
    word.addText(QPointF(34, 92), title, QStringLiteral("Tarvoline"));
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 110));
    p.drawPath(word.translated(2, 3));
    p.setBrush(vertical(QRectF(0, 40, 10, 60), QColor(0xf4, 0xfb, 0xfc), QColor(0x9c, 0xd8, 0xd8)));
    p.drawPath(word);
    QFont subtitle(QStringLiteral("DejaVu Sans"));
    subtitle.setPixelSize(17);
    p.setFont(subtitle);
    p.setPen(QColor(0x9c, 0xd8, 0xd8));
    p.drawText(QPointF(38, 124), QStringLiteral("Serial line monitor  \u00b7  RS-232 analyser"));

    // Two connectors and the monitor between them.
    const qreal cy = 86;
    connector(p, QRectF(w - 210, cy - 16, 44, 20), true);
    connector(p, QRectF(w - 82, cy - 16, 44, 20), false);
    p.setPen(QPen(QColor(0x9c, 0xd8, 0xd8), 2));
    p.drawLine(QPointF(w - 162, cy - 6), QPointF(w - 86, cy - 6));
    p.setBrush(teal);
    p.setPen(QPen(QColor(0xcc, 0xf4, 0xf0), 1.2));
    p.drawEllipse(QPointF(w - 124, cy - 6), 7, 7);
    p.setFont(small);
    p.setPen(QColor(0xb8, 0xcc, 0xd4));
    p.drawText(QRectF(w - 226, cy + 8, 76, 16), Qt::AlignCenter, QStringLiteral("Port 1 DTE"));
    p.drawText(QRectF(w - 110, cy + 8, 100, 16), Qt::AlignCenter, QStringLiteral("Port 2 DCE"));

    // The footer.
    p.setPen(QPen(QColor(0x2c, 0x5c, 0x64), 1));
    p.drawLine(QPointF(34, 330.5), QPointF(w - 34, 330.5));
    QFont note(QStringLiteral("DejaVu Sans"));
    note.setPixelSize(12);
    p.setFont(note);
    p.setPen(QColor(0xb8, 0xcc, 0xd4));
    p.drawText(QRectF(34, 340, 420, 18), Qt::AlignLeft | Qt::AlignVCenter,
               QStringLiteral("Transparent and Host modes  \u00b7  ASCII and hexadecimal"));
    p.drawText(QRectF(34, 358, 420, 18), Qt::AlignLeft | Qt::AlignVCenter,
               QStringLiteral("Captures as .tvl, Access and Excel files"));
    p.setPen(QColor(0x5c, 0xf0, 0xd0));
    p.drawText(QRectF(w - 154, 340, 120, 18), Qt::AlignRight | Qt::AlignVCenter,
               QStringLiteral("Version 1.0"));
    p.setPen(QColor(0xe0, 0xec, 0xf0));
    p.drawText(QRectF(w - 334, 380, 300, 18), Qt::AlignRight | Qt::AlignVCenter,
               QStringLiteral("Click or press any key to begin"));
    p.end();
    save(image, "splash.jpg", 92);
}

// The window's background: a drafting sheet, one tint per screen size. Its
// grid divides the picture evenly, so that it tiles without a seam.
void drawBackground(const char* name, QColor tint, qreal step) {
    const int w = 640, h = 480;
    QImage image = canvas(w, h, false);
    QPainter p(&image);
    p.fillRect(image.rect(), tint);
    drawGrid(p, QRectF(0, 0, w - 1, h - 1), step, QColor(255, 255, 255, 26),
             QColor(255, 255, 255, 56));
    p.end();
    save(image, name, 92);
}

// The application icon, 256 x 256 on the 32-unit grid of the toolbar icons: a
// D-sub face on the teal plate of the port pictures, with the line's two
// directions under it.
void drawAppIcon() {
    QImage image = canvas(256, 256);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(8, 8);
    const QRectF plate(1.5, 1.5, 29, 29);
    p.setPen(QPen(teal.darker(170), 0.5));
    p.setBrush(vertical(plate, tealLight, teal.darker(120)));
    p.drawRoundedRect(plate, 5, 5);
    connector(p, QRectF(4, 4.5, 24, 11), true);
    arrow(p, QPointF(16, 19.5), 0, go, 20, 2.6, 6);
    arrow(p, QPointF(16, 25.5), 180, amber, 20, 2.6, 6);
    p.end();
    save(image, "tarvoline_icon.png");
}

}  // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: tarvoline-assets FOLDER\n");
        return 2;
    }
    out = QDir(QString::fromLocal8Bit(argv[1]));
    if (!out.mkpath(QStringLiteral("."))) {
        std::fprintf(stderr, "tarvoline-assets: cannot make %s\n", argv[1]);
        return 1;
    }
    drawIcons();
    drawLamps();
    drawSwitches();
    drawPortIcons();
    drawAppIcon();
    drawDialogButtons();
    drawCursor();
    drawSplash();
    drawBackground("main_background.jpg", QColor(0x66, 0x80, 0x96), 16);
    drawBackground("Setup.jpg", QColor(0x5c, 0x7a, 0x92), 16);
    drawBackground("Setup2.jpg", QColor(0x5c, 0x7a, 0x92), 16);
    drawBackground("Setup3.jpg", QColor(0x5c, 0x7a, 0x92), 16);
    drawBackground("Setup4.jpg", QColor(0x5c, 0x7a, 0x92), 16);
    return failures ? 1 : 0;
}
