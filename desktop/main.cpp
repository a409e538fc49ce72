// tarvoline: the serial-line monitor on the desktop.
#include <QApplication>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string>

#include "components/serial/device_rule.h"
#include "components/trace/trace_file.h"
#include "desktop/qt_program.h"
#include "platform/qt/window_style.h"

namespace {

constexpr const char* kHelp =
    "Usage: tarvoline [--trace FILE.pcapng] [--help | --version | --list-ports]\n"
    "Tarvoline, a serial-line monitor: it owns two serial ports and shows what\n"
    "the equipment on them says to each other, in a window of its own. Every\n"
    "setting is made in its Setup dialog. --trace writes both lines, timed, to\n"
    "a pcapng file or named pipe that Wireshark reads. See tarvoline(1).\n"
    "  --list-ports  the serial devices present and the ports file's ports,\n"
    "                each with the port number that reaches it\n";

// --help, --version and --list-ports answer on the terminal and open no window.
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
        if (std::strcmp(argv[i], "--list-ports") == 0) {
            const tvl::SystemDevices devices([](std::function<void()>) {});
            for (const auto& line : devices.listing()) std::puts(line.text.c_str());
            return true;
        }
    }
    return false;
}

// The file after --trace; nullptr without one.
const char* tracePath(int argc, char** argv) {
    for (int i = 1; i + 1 < argc; ++i)
        if (std::strcmp(argv[i], "--trace") == 0) return argv[i + 1];
    return nullptr;
}

}  // namespace

int main(int argc, char** argv) {
    if (answeredOnTerminal(argc, argv)) return 0;
    if (std::strcmp(argv[argc - 1], "--trace") == 0) {
        std::fputs("tarvoline: --trace needs a file\n", stderr);
        return 2;
    }
    QApplication app(argc, argv);
    tvl::useProgramLook();

    std::unique_ptr<tvl::TraceFile> trace;
    if (const char* path = tracePath(argc, argv))
        trace = std::make_unique<tvl::TraceFile>(path, [](const std::string& why) {
            std::fprintf(stderr, "tarvoline: %s\n", why.c_str());
        });
    // A start-up that fails still closes what it opened, on the way out.
    try {
        tvl::QtProgram program(tvl::QtProgram::Lines::System, "/dev", trace.get());
        program.exitOnSignals();
        if (trace) {
            // Exit ends the process at once: the trace's last frames go first.
            program.desktop.endHook = [&trace] {
                trace->close();
                std::fflush(nullptr);
                std::_Exit(0);
            };
        }
        tvl::Main(*program.program);
        return app.exec();
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "tarvoline: %s\n", failure.what());
        return 1;
    }
}
