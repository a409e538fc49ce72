// Reviewing a saved capture: the main window turns into two editable panes
// showing one record at a time, with its own toolbar and popup.
//
// The whole capture is held in the shared state: RecordPort1/RecordPort2 have
// entries 0..RecordCount; entry 1 is empty and is what a save writes as the
// file's first record, entry 2 is the file's first record, entries 3..N are the
// data records. RecordIndex is the entry on screen (0: none).
#pragma once

#include <optional>
#include <string>

namespace tvl {

class Program;
struct SharedState;

// Registers the review commands on the main window and binds their menu entries.
void bindReview(Program& program);

// Opens a .tvl capture chosen in the open-file dialog and enters the review.
// A file that cannot be loaded ends the program after a message.
void mnuOpenFile_Click(Program& program);

// Navigation: each writes the panes back into the entry on screen, moves, and
// shows the new entry. Back and Forward wrap around entries 3..RecordCount.
void mnuHome_Click(Program& program);
void mnuBack_Click(Program& program);
void mnuForward_Click(Program& program);
void mnuEnd_Click(Program& program);

// Shows when the entry on screen was written, beside the review toolbar.
void showRecordTime(Program& program);

// Asks for a text and shows the last entry holding it (case counts).
void mnuFind_Click(Program& program);

// Writes the entries back to the reviewed file (replacing it in one step).
void mnuSaveExit_Click(Program& program);
// Leaves the review without writing and turns the window back into the monitor.
void mnuNoSaveExit_Click(Program& program);

// The last entry (1..RecordCount) holding `text` in either column, and whether
// column 2 of that entry holds it. An empty text is held by every column that
// is not empty.
struct FindHit {
    int entry = 0;
    bool inColumn2 = false;
};
std::optional<FindHit> findLastHolding(const SharedState& state, const std::string& text);

}  // namespace tvl
