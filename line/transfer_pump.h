// The transfer pump: the handler of tmrTarvoline. Each tick takes at most one
// byte from each port, Port 1 first, shows and counts it, and in Host mode
// sends it (or what the conversion rows make of it) out of the other port.
#pragma once

namespace tvl {

class Program;

void tmrTarvoline_Timer(Program& program);

// True while a port has bytes waiting: the timer then ticks back to back.
bool bytesWaiting(const Program& program);

}  // namespace tvl
