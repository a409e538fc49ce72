// Capture writing: the Receive panes' text goes to the store of SavingMode
// one record at a time, when a pane reaches its limit and at Stop.
#pragma once

namespace tvl {

class Program;
class CaptureStore;

// With one port monitored only that port is open, so its traffic stands in the
// other port's Receive pane: pane 3 holds Port 1's bytes, pane 1 Port 2's. That
// pane feeds the monitored port's own column, at the limit and at Stop.
constexpr int monitoredPane(int monitorChoice) { return monitorChoice == 0 ? 3 : 1; }

// The flush of pane i, run with the pane's text still in place.
void WriteFlush(Program& program, int i);

// Whether the flush of pane i gives its text to a store: otherwise the pane
// only empties at its limit.
bool flushWrites(const Program& program, int i);

// The store of SavingMode (KelMDB, KelXLS, KelTVL for 1, 2, 3); nullptr for 0.
CaptureStore* captureStore(const Program& program);

// Writes PortText1 and PortText2 of the store as one record. A store that
// fails stops the run and says so, naming the file; no further record is
// attempted until the next Setup OK prepares a store.
void writeRecord(Program& program);

// Puts everything written to the store of SavingMode on disk, at Stop: a
// failure is told and handled as a failing write.
void syncCapture(Program& program);

}  // namespace tvl
