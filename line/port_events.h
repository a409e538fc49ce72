// Port events: a change of a modem input moves its lamp and, in Host mode,
// drives the other port's RTS (from CTS) or DTR (from DSR). No data here.
#pragma once

namespace tvl {

class Program;

void mscComControl1_OnComm(Program& program);
void mscComControl2_OnComm(Program& program);

// The control-line switches: chkUARTControl(0..3) drive Port 1 DTR, Port 1
// RTS, Port 2 DTR, Port 2 RTS by hand.
void chkUARTControl_Click(Program& program, int Index);

}  // namespace tvl
