// The whole program on the Qt desktop: the desktop, the serial lines behind
// the two ports, the capture stores, and the Program built from them, with the
// ports' events and the pump's timer wired to the event loop.
#pragma once

#include <memory>

#include "components/serial/simulated_line.h"
#include "platform/qt/qt_desktop.h"
#include "shell/program.h"

namespace tvl {

struct QtProgram {
    // line1, line2: the backends behind the two ports; nullptr takes the simulated lines.
    explicit QtProgram(SerialDeviceFactory* line1 = nullptr, SerialDeviceFactory* line2 = nullptr);
    ~QtProgram();

    // Runs a function on the user-interface thread, later, as a dispatched event.
    Poster poster();

    QtDesktop desktop;
    SimulatedLines simulated;
    SimulatedLine simulated1{simulated};
    SimulatedLine simulated2{simulated};
    std::unique_ptr<Program> program;
};

}  // namespace tvl
