// Find: the last entry of the capture that holds a text, in either column.
#include <algorithm>

#include "app/frm_main.h"
#include "app/program.h"
#include "review/review.h"

namespace tvl {

namespace {

// A column holds the text when the text stands at one of its positions; the
// empty text stands at every position of a column that is not empty.
bool holds(const std::string& column, const std::string& text) {
    return !column.empty() && column.find(text) != std::string::npos;
}

}  // namespace

std::optional<FindHit> findLastHolding(const SharedState& s, const std::string& text) {
    // Searching from the last entry down and stopping at the first that holds
    // the text gives the same entry as a search of all entries in order.
    const std::size_t stored = std::min(s.RecordPort1.size(), s.RecordPort2.size());
    const double count = s.RecordCount;
    std::size_t last = stored == 0 ? 0 : stored - 1;
    if (count < double(last)) last = count >= 1 ? static_cast<std::size_t>(count) : 0;
    for (std::size_t i = last; i >= 1; --i) {
        if (holds(s.RecordPort2[i], text)) return FindHit{static_cast<int>(i), true};
        if (holds(s.RecordPort1[i], text)) return FindHit{static_cast<int>(i), false};
    }
    return std::nullopt;
}

void mnuFind_Click(Program& program) {
    const std::string text = program.platform.InputBox(
        std::string("Please enter data:") + '\r' + "Note: This is a case sesitive.",
        "Tarvoline Find data");
    const auto hit = findLastHolding(program.state, text);
    if (!hit) {
        program.platform.MsgBox("Sorry but the " + text + " is not found!",
                                "Tarvoline did not found the data.", vbOKOnly);
        return;
    }
    SharedState& s = program.state;
    FrmMain& f = *program.FrmMain;
    s.RecordIndex = hit->entry;
    // The panes are filled in the order of the column that was hit last, and
    // that column's pane takes the focus.
    if (hit->inColumn2) {
        f.txtPort1->setText(s.RecordPort1[hit->entry]);
        f.txtPort2->setText(s.RecordPort2[hit->entry]);
        f.setFocus(f.txtPort2);
    } else {
        f.txtPort2->setText(s.RecordPort2[hit->entry]);
        f.txtPort1->setText(s.RecordPort1[hit->entry]);
        f.setFocus(f.txtPort1);
    }
    showRecordTime(program);
}

}  // namespace tvl
