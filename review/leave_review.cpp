// Leaving the review: Save and Exit writes the entries back to the file and
// stays in the review; Exit (No Save) turns the window back into the monitor.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>

#include "app/frm_main.h"
#include "app/layout.h"
#include "app/program.h"
#include "components/stores/capture_store.h"
#include "components/stores/file_io.h"
#include "review/review.h"

namespace tvl {

namespace {

// Puts the store's folder and name back, and its stamping of the present
// time, however the save ends.
struct KeepStoreName {
    KelTVL& store;
    std::string folder = store.StoreFolder;
    std::string name = store.StoreName;
    ~KeepStoreName() {
        store.StoreFolder = folder;
        store.StoreName = name;
        store.KeepPortTime = false;
    }
};

// The whole capture is written as a new file beside the reviewed one, made
// durable, and then renamed over it: at every moment the reviewed file is
// either the old capture or the new one, each whole.
void saveCapture(Program& program, const std::string& target, const std::string& fresh) {
    SharedState& s = program.state;
    KelTVL& store = *program.KelTVL;
    KeepStoreName keep{store};
    store.StoreName = fresh.substr(store.StoreFolder.size());

    store.PortTitle1 = s.ReviewHeader1;
    store.PortTitle2 = s.ReviewHeader2;
    store.PortText1 = s.RecordPort1.at(1);
    store.PortText2 = s.RecordPort2.at(1);
    // Every record keeps the time it was first written.
    store.KeepPortTime = true;
    store.PortTime = s.RecordWritten.at(1);
    store.OpenStore();
    store.AppendRecord(1);
    store.CloseStore();

    // The new file is not the capture yet, so its records need not reach the
    // disk one by one: one close makes them all durable before the rename.
    store.OpenStore();
    const auto last = static_cast<std::size_t>(s.RecordCount);
    for (std::size_t i = 3; i <= last; ++i) {
        store.PortText1 = s.RecordPort1.at(i);
        store.PortText2 = s.RecordPort2.at(i);
        store.PortTime = s.RecordWritten.at(i);
        store.AppendRecord(0);
    }
    store.CloseStore();

    if (const int err = fileio::replaceByRename(fresh, target))
        throw StoreError(target + ": cannot replace the file: " + std::strerror(err));
}

}  // namespace

void mnuSaveExit_Click(Program& program) {
    KelTVL& store = *program.KelTVL;
    // The file the capture was read from: the store adds ".tvl" to a name that lacks it.
    const std::string target = store.FilePath();
    const std::string fresh = target + ".new.tvl";
    try {
        saveCapture(program, target, fresh);
    } catch (const std::exception& error) {
        std::remove(fresh.c_str());
        program.platform.MsgBox(
            "The capture could not be saved to " + target + ".\r" + error.what() +
                "\rThe file is as it was before, and the review keeps every edit.",
            "Tarvoline File Save Error", vbOKOnly);
    }
}

void mnuNoSaveExit_Click(Program& program) {
    SharedState& s = program.state;
    FrmMain& f = *program.FrmMain;
    s.RecordIndex = 0;
    f.tbrFileAccess->Visible = false;
    f.tbrTarvoline->Visible = true;
    f.txtCommunication[1]->setText("");
    f.txtCommunication[3]->setText("");
    for (Frame* group : f.fraComMonitor) group->Enabled = false;
    for (Label* label : f.lblUART) label->Visible = true;
    for (Image* lamp : f.imgStatus) lamp->Visible = true;
    for (int i : {0, 2, 1, 3}) f.txtCommunication[i]->Visible = true;
    f.txtPort1->Visible = false;
    f.txtPort2->Visible = false;
    placeMonitorFrames(f);
    s.RecordPort1.assign(1, std::string());
    s.RecordPort2.assign(1, std::string());
    s.RecordWritten.assign(1, std::nullopt);
}

}  // namespace tvl
