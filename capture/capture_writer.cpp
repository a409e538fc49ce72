#include "capture/capture_writer.h"

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/capture_store.h"

namespace tvl {

CaptureStore* captureStore(const Program& program) {
    switch (program.state.SavingMode) {
        case 1:
            return program.KelMDB.get();
        case 2:
            return program.KelXLS.get();
        case 3:
            return program.KelTVL.get();
        default:
            return nullptr;
    }
}

namespace {
void storeFailed(Program& program, const StoreError& error) {
    program.storeFailed = true;
    if (program.state.RunState == 1 && program.startStop) program.startStop();
    program.platform.MsgBox(std::string("The capture could not be written, so the run was "
                                        "stopped. Records written before are kept.\n\n") +
                                error.what(),
                            "Tarvoline", vbOKOnly);
}
}  // namespace

void syncCapture(Program& program) {
    CaptureStore* store = captureStore(program);
    if (program.storeFailed || !store) return;
    try {
        store->SyncStore();
    } catch (const StoreError& error) {
        storeFailed(program, error);
    }
}

void writeRecord(Program& program) {
    if (program.storeFailed || !captureStore(program)) return;
    try {
        switch (program.state.SavingMode) {
            case 1:
                program.KelMDB->OpenStore();
                program.KelMDB->AppendRecord();
                program.KelMDB->CloseStore();
                break;
            case 2:
                program.KelXLS->AppendRecord();
                break;
            case 3:
                program.KelTVL->OpenStore();
                program.KelTVL->AppendRecord(0);
                program.KelTVL->CloseStore();
                break;
            default:
                break;
        }
    } catch (const StoreError& error) {
        storeFailed(program, error);
    }
}

bool flushWrites(const Program& program, int i) {
    if (!captureStore(program)) return false;
    switch (program.state.MonitorChoice) {
        case 2:  // pane 1 fills Port 1's column, pane 3 Port 2's
            return i == 1 || i == 3;
        case 0:
        case 1:
            return i == monitoredPane(program.state.MonitorChoice);
        default:
            return false;
    }
}

void WriteFlush(Program& program, int i) {
    if (!flushWrites(program, i)) return;
    SharedState& s = program.state;
    CaptureStore* store = captureStore(program);
    const FrmMain& main = *program.FrmMain;
    const std::string& text = main.txtCommunication[i]->Text();
    if (s.MonitorChoice == 2) {
        // The other column takes a blank when its pane is empty, and in a
        // database when never given.
        std::string& column = i == 1 ? store->PortText1 : store->PortText2;
        std::string& other = i == 1 ? store->PortText2 : store->PortText1;
        column = text;
        if ((s.SavingMode == 1 && other.empty()) || main.txtCommunication[4 - i]->Text().empty())
            other.assign(1, ' ');
    } else if (s.MonitorChoice == 0) {
        store->PortText1 = text;
    } else {
        store->PortText2 = text;
    }
    writeRecord(program);
}

}  // namespace tvl
