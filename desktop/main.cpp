// tarvoline: the serial-line monitor on the desktop.
#include <QApplication>

#include "desktop/qt_program.h"
#include "platform/qt/window_style.h"

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    tvl::useProgramLook();

    tvl::QtProgram program(tvl::QtProgram::Lines::System);

    tvl::Main(*program.program);
    return app.exec();
}
