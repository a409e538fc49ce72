// The transfer pump: the handler of tmrTarvoline. Each tick takes at most one
// byte from each port, Port 1 first, shows and counts it, and in Host mode
// sends it (or what the conversion rows make of it) out of the other port.
#pragma once

namespace tvl {

class Program;

// One tick.
void tmrTarvoline_Timer(Program& program);

// Up to `most` ticks back to back, while the timer stays enabled and bytes
// wait: what as many tmrTarvoline_Timer calls give, done in one pass. Input
// is taken and output given in runs, captions are set once, and a pane takes
// a byte without its change handler where the handler would only keep it.
// Returns the ticks run, at least one.
int tmrTarvoline_Ticks(Program& program, int most);

// True while a port has bytes waiting: the timer then ticks back to back.
bool bytesWaiting(const Program& program);

// True while a tick would change something: bytes wait, or the steps every
// tick begins with (the first reset of the receive counters after a Setup,
// InputLen) have something left to do. The timer runs no tick otherwise.
bool tickHasWork(const Program& program);

}  // namespace tvl
