// A port whose line goes away during a run, and comes back.
//
//   mscComControl_LineLost   a message box naming the port, its device and
//                            the reason; the run goes on for the other port;
//                            bytes the line never took come off its count
//   mscComControl_LineBack   the DTR/RTS the switches show go to the line again
//   reportLineRefused        a DTR/RTS change a device refused
// Both keep the main window's title telling which port is lost or back.
//
// Bytes that reach no line are neither shown nor counted (the pump's rule).
#pragma once

#include <string>

namespace tvl {

class Program;
struct SerialError;

void mscComControl_LineLost(Program& program, int port);  // port 0 or 1
void mscComControl_LineBack(Program& program, int port);
void reportLineRefused(Program& program, const SerialError& refusal);

}  // namespace tvl
