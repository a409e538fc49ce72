// Start and Stop of the monitor: switch the pump's timer, never a port. Stop
// also writes the Receive panes' rest to the store and empties the panes.
#pragma once

namespace tvl {

class Program;

void mnuStartStop_Click(Program& program);

}  // namespace tvl
