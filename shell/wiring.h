// Wiring: the main window's events bound to the subsystems' handlers, each
// also registered by its name for scenarios and tests.
#pragma once

namespace tvl {

class Program;

// Binds FrmMain's panes, switches, timer, ports and commands, and lets every
// subsystem register its own commands; run once the window stands.
void bindMainWindow(Program& program);

}  // namespace tvl
