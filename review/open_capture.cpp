// Opening a capture: every record of the .tvl file is read through KelTVL into
// the review arrays, and the main window changes over to the review.
#include <cmath>
#include <stdexcept>
#include <string>

#include "app/frm_main.h"
#include "app/layout.h"
#include "app/program.h"
#include "review/review.h"

namespace tvl {

namespace {

constexpr const char* kFilter = "Kelmar Tarvoline (*.tvl)|*.tvl|All Files (*.*)|*.*";
// The entry counter of the load is a signed 16-bit number.
constexpr double kMostEntries = 32767;

struct LoadFailure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

void enterReviewWindow(FrmMain& f) {
    f.tbrTarvoline->Visible = false;
    f.tbrFileAccess->Visible = true;
    for (Frame* group : f.fraComMonitor) group->Enabled = true;
    for (Label* label : f.lblUART) label->Visible = false;
    for (Image* lamp : f.imgStatus) lamp->Visible = false;
    for (TextBox* pane : f.txtCommunication) pane->Visible = false;
    f.txtPort1->Visible = true;
    f.txtPort2->Visible = true;
    placeReviewFrames(f);
}

// Everything from the dialog to the first record on screen; throws on any failure.
void openCapture(Program& program) {
    const std::string path = program.platform.ShowOpen(program.platform.ProgramFolder(), kFilter);
    if (path.empty()) return;

    KelTVL& store = *program.KelTVL;
    const auto slash = path.rfind('/');
    const std::string folder =
        slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    const std::string file = slash == std::string::npos ? path : path.substr(slash + 1);
    store.StoreFolder = folder;
    if (file.size() < 4) throw LoadFailure("file name shorter than its extension");
    store.StoreName = file.substr(0, file.size() - 4);

    SharedState& s = program.state;
    store.CountRecords();
    s.RecordCount = store.RecordCount();
    store.OpenStore();
    store.ReadTitles();
    store.ReadRecord(1);

    const double n = s.RecordCount;
    if (!(n >= 0) || !std::isfinite(n)) throw LoadFailure("impossible record count");
    const auto entries = static_cast<std::size_t>(n);
    s.RecordPort1.assign(entries + 1, std::string());
    s.RecordPort2.assign(entries + 1, std::string());
    s.RecordWritten.assign(entries + 1, std::nullopt);

    s.ReviewHeader1 = store.PortTitle1;
    s.ReviewHeader2 = store.PortTitle2;
    // Entry 1 stays empty in both columns (assign above): it is not read from the file.

    if (n > kMostEntries) throw LoadFailure("more records than the review holds");
    for (std::size_t i = 2; i <= entries; ++i) {
        store.ReadRecord(0);
        s.RecordPort1[i] = store.PortText1;
        s.RecordPort2[i] = store.PortText2;
        s.RecordWritten[i] = store.PortTime;
    }
    // Entry 1 is what a save writes in the place of the file's first record,
    // so it keeps that record's time.
    if (entries >= 2) s.RecordWritten[1] = s.RecordWritten[2];
    store.CloseStore();

    enterReviewWindow(*program.FrmMain);
    // RecordIndex is still 0: Home writes nothing back. A capture without a
    // data record has no entry 3, and Home fails on it.
    mnuHome_Click(program);
}

}  // namespace

void mnuOpenFile_Click(Program& program) {
    try {
        openCapture(program);
    } catch (const std::exception&) {
        program.platform.MsgBox("The file is corrupt or not found!", "Tarvoline File Open Error",
                                vbOKOnly);
        program.end();
    }
}

}  // namespace tvl
