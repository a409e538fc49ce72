// The whole program on the Qt desktop: the desktop, the serial lines behind
// the two ports, the capture stores, and the Program built from them, with the
// ports' events and the pump's timer wired to the event loop.
#pragma once

#include <memory>
#include <string>

#include "app/program.h"
#include "components/serial/device_rule.h"
#include "components/serial/simulated_line.h"
#include "platform/qt/qt_desktop.h"

namespace tvl {

struct QtProgram {
    // The ports stand on this system's devices (the port number rule), or on
    // simulated lines for tests and benchmarks.
    // The system's devices are looked for in `deviceFolder`.
    enum class Lines { Simulated, System };
    // `trace`, when given, traces both ports' lines.
    explicit QtProgram(Lines lines = Lines::Simulated, const std::string& deviceFolder = "/dev",
                       LineTrace* trace = nullptr);
    ~QtProgram();

    // SIGTERM, SIGINT and SIGHUP end the program as its Exit command does.
    void exitOnSignals();

    // Runs a function on the user-interface thread, later, as a dispatched event.
    Poster poster();

    QtDesktop desktop;
    SimulatedLines simulated;
    SimulatedLine simulated1{simulated};
    SimulatedLine simulated2{simulated};
    std::unique_ptr<SystemDevices> devices;
    std::unique_ptr<Program> program;
};

}  // namespace tvl
