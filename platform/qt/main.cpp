// tarvoline: the serial-line monitor on the desktop.
#include <QApplication>
#include <QFont>

#include "platform/qt/qt_program.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setStyle(QStringLiteral("Fusion"));
    QFont font(QStringLiteral("DejaVu Sans"));
    font.setPointSizeF(8.25);
    QApplication::setFont(font);

    // The serial backend behind the two ports. Until the device rule of
    // components/serial is in, both ports stand on simulated lines; switch the
    // real one in here, giving it program.poster() for its events:
    //   tvl::SystemDevices devices(program.poster());  ->  QtProgram program(&devices, &devices);
    tvl::QtProgram program;

    tvl::Main(*program.program);
    return app.exec();
}
