// tarvoline: the serial-line monitor on the desktop.
#include <QApplication>
#include <QFont>

#include "desktop/qt_program.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setStyle(QStringLiteral("Fusion"));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(8.25);
    QApplication::setFont(font);

    tvl::QtProgram program(tvl::QtProgram::Lines::System);

    tvl::Main(*program.program);
    return app.exec();
}
