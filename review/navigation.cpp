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
void writeBack(Program& p) {
    SharedState& s = p.state;
    s.RecordPort1.at(s.RecordIndex) = p.FrmMain->txtPort1->Text();
    s.RecordPort2.at(s.RecordIndex) = p.FrmMain->txtPort2->Text();
}

void showEntry(Program& p) {
    SharedState& s = p.state;
    p.FrmMain->txtPort1->setText(s.RecordPort1.at(s.RecordIndex));
    p.FrmMain->txtPort2->setText(s.RecordPort2.at(s.RecordIndex));
    showRecordTime(p);
}

}  // namespace

void mnuHome_Click(Program& p) {
    if (p.state.RecordIndex != 0) writeBack(p);
    p.state.RecordIndex = 3;
    showEntry(p);
}

void mnuBack_Click(Program& p) {
    writeBack(p);
    SharedState& s = p.state;
    s.RecordIndex -= 1;
    if (s.RecordIndex <= 2) s.RecordIndex = static_cast<std::int32_t>(s.RecordCount);
    showEntry(p);
}

void mnuForward_Click(Program& p) {
    writeBack(p);
    SharedState& s = p.state;
    s.RecordIndex += 1;
    if (s.RecordIndex >= s.RecordCount + 1) s.RecordIndex = 3;
    showEntry(p);
}

void mnuEnd_Click(Program& p) {
    writeBack(p);
    p.state.RecordIndex = static_cast<std::int32_t>(p.state.RecordCount);
    showEntry(p);
}

}  // namespace tvl
