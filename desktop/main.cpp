// tarvoline: the serial-line monitor on the desktop.
#include <QApplication>
#include <cstdio>
#include <cstring>
#include <exception>

#include "desktop/qt_program.h"
#include "platform/qt/window_style.h"

namespace {

constexpr const char* kHelp =
    "Usage: tarvoline [--help | --version]\n"
    "Tarvoline, a serial-line monitor: it owns two serial ports and shows what\n"
    "the equipment on them says to each other, in a window of its own. Every\n"
    "setting is made in its Setup dialog. See tarvoline(1).\n";

// --help and --version answer on the terminal and open no window.
bool answeredOnTerminal(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0) {
            std::fputs(kHelp, stdout);
            return true;
        }
        if (std::strcmp(argv[i], "--version") == 0) {
            std::puts("tarvoline " TARVOLINE_VERSION);
            return true;
        }
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    if (answeredOnTerminal(argc, argv)) return 0;
    QApplication app(argc, argv);
    tvl::useProgramLook();
    // A start-up that fails still closes what it opened, on the way out.
    try {
        tvl::QtProgram program(tvl::QtProgram::Lines::System);
        program.exitOnSignals();
        tvl::Main(*program.program);
        return app.exec();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tarvoline: %s\n", failure.what());
        return 1;
    }
}
