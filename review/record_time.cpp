// The time of the entry on screen, in a label on the review toolbar: the
// review's panes and captions stay as they are, and the time is there to see
// at every step.
#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/tvl_format.h"
#include "review/review.h"

namespace tvl {

void showRecordTime(Program& program) {
    const SharedState& s = program.state;
    const auto i = static_cast<std::size_t>(s.RecordIndex);
    const auto time = i < s.RecordWritten.size() ? s.RecordWritten[i] : std::nullopt;
    std::string text = "No time recorded";
    if (time) {
        // "2026-11-24T05:20:30.123456Z" reads as "2026-11-24 05:20:30.123456 UTC".
        text = FormatRecordTime(*time);
        text[10] = ' ';
        text.back() = ' ';
        text = "Written " + text + "UTC";
    }
    program.FrmMain->lblRecordTime->Caption = text;
}

}  // namespace tvl
