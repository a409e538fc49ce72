#include "platform/qt/window_style.h"

#include <QApplication>

#include "platform/control.h"
#include "platform/form.h"

namespace tvl {

namespace {
QFont font(const char* family, double points, bool bold = false) {
    QFont f(QString::fromLatin1(family));
    f.setPointSizeF(points);
    f.setBold(bold);
    f.setStyleHint(QFont::SansSerif);
    return f;
}
}  // namespace

void useProgramLook() {
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication::setFont(font("DejaVu Sans", 8.25));
}

QColor systemColour(int index) {
    switch (index) {
        case 5:
            return QColor(0xff, 0xff, 0xff);
        case 12:
            return QColor(0xb4, 0xbc, 0xc4);
        case 13:
            return QColor(0x0b, 0x3d, 0x91);
        case 15:
            return QColor(0xe8, 0xeb, 0xee);
        default:
            return QColor(0, 0, 0);
    }
}

ControlStyle styleOf(const Control& c) {
    ControlStyle s;
    const std::string& name = c.name();
    if (c.form().name() == "frmSplash") {
        if (name == "Image1") {
            s.cursorFile = "splash_cursor.png";
            s.cursorHotSpot = QPoint(2, 2);
        }
        return s;
    }
    if (name == "fraTxRx") {
        s.font = font("DejaVu Sans", 9.75);
        s.background = systemColour(12);
    } else if (name == "fraComMonitor") {
        s.background = systemColour(15);
    } else if (name == "txtCommunication" || name == "txtPort1" || name == "txtPort2") {
        s.font = font("DejaVu Sans Mono", 8.5);
        s.font->setStyleHint(QFont::Monospace);
    } else if ((name == "Label1" || name == "Label2") && c.form().name() == "FrmMain") {
        s.font = font("DejaVu Sans Condensed", 12, true);
        s.foreground = QColor(Qt::white);
    } else if (name == "lblHeading") {
        s.font = font("DejaVu Sans Condensed", 8.25);  // the Port 2 heading's words fill its frame
    } else if (name == "lblUART") {
        s.font = font("DejaVu Sans", 8, true);
        s.foreground = systemColour(13);
    }
    return s;
}

WindowStyle windowStyleOf(const Form& form) {
    WindowStyle w;
    if (form.name() == "frmSplash") {
        w.splash = true;
        w.sizable = false;
    } else if (form.name() != "FrmMain") {
        w.dialog = true;
        w.sizable = false;
    }
    return w;
}

}  // namespace tvl
