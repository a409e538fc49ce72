// Stepping through the capture as a ring over entries 3..RecordCount. Every
// step first puts the panes' text into the entry on screen, so navigation is
// also what keeps the user's edits.
#include "app/frm_main.h"
#include "app/program.h"
#include "review/review.h"

namespace tvl {

namespace {

// Entries are reached with at(): an entry the capture does not have is an error
// for the caller, as opening a capture without data records relies on.
void writeBack(Program& program) {
    SharedState& s = program.state;
    s.RecordPort1.at(s.RecordIndex) = program.FrmMain->txtPort1->Text();
    s.RecordPort2.at(s.RecordIndex) = program.FrmMain->txtPort2->Text();
}

void showEntry(Program& program) {
    SharedState& s = program.state;
    program.FrmMain->txtPort1->setText(s.RecordPort1.at(s.RecordIndex));
    program.FrmMain->txtPort2->setText(s.RecordPort2.at(s.RecordIndex));
    showRecordTime(program);
}

}  // namespace

void mnuHome_Click(Program& program) {
    if (program.state.RecordIndex != 0) writeBack(program);
    program.state.RecordIndex = 3;
    showEntry(program);
}

void mnuBack_Click(Program& program) {
    writeBack(program);
    SharedState& s = program.state;
    s.RecordIndex -= 1;
    if (s.RecordIndex <= 2) s.RecordIndex = static_cast<std::int32_t>(s.RecordCount);
    showEntry(program);
}

void mnuForward_Click(Program& program) {
    writeBack(program);
    SharedState& s = program.state;
    s.RecordIndex += 1;
    if (s.RecordIndex >= s.RecordCount + 1) s.RecordIndex = 3;
    showEntry(program);
}

void mnuEnd_Click(Program& program) {
    writeBack(program);
    program.state.RecordIndex = static_cast<std::int32_t>(program.state.RecordCount);
    showEntry(program);
}

}  // namespace tvl
