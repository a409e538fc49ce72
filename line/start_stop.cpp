#include "line/start_stop.h"

#include "app/frm_main.h"
#include "app/program.h"
#include "capture/capture_writer.h"
#include "components/stores/capture_store.h"

namespace tvl {

namespace {

void start(Program& program) {
    FrmMain& f = *program.FrmMain;
    const bool host = program.state.OperationMode == 1;
    for (CheckBox* c : f.chkUARTControl) c->Enabled = true;
    if (!host) {
        for (CheckBox* c : f.chkUARTControl) c->Visible = false;
        for (int i : {4, 10, 5, 11, 16, 22, 17, 23}) f.imgStatus[i]->Visible = false;
        for (int i : {4, 5, 10, 11}) f.lblUART[i]->Visible = false;
        f.txtCommunication[0]->Enabled = false;
        f.txtCommunication[2]->Enabled = false;
    } else {
        for (CheckBox* c : f.chkUARTControl) c->Visible = true;
        for (int i : {4, 5, 16, 17}) f.imgStatus[i]->Visible = true;
        for (int i : {4, 5, 10, 11}) f.lblUART[i]->Visible = true;
        f.txtCommunication[0]->Enabled = true;
        f.txtCommunication[2]->Enabled = true;
    }
    f.tmrTarvoline->Enabled = true;
    f.tbrTarvoline->Buttons(3).Image = 3;
    f.mnuSetup->Enabled = false;
    f.tbrTarvoline->Buttons(1).Enabled = false;
    f.tbrTarvoline->Buttons(3).ToolTipText = "Stop communication";
    program.state.RunState = 1;
}

// The last record of a run; false when there is nothing to write, which ends
// Stop before the panes are cleared.
bool finalWrite(Program& program) {
    CaptureStore* store = captureStore(program);
    if (!store) return true;
    const FrmMain& f = *program.FrmMain;
    const std::string& pane1 = f.txtCommunication[1]->Text();
    const std::string& pane3 = f.txtCommunication[3]->Text();
    switch (program.state.MonitorChoice) {
        case 0:
            if (pane1.empty()) return false;
            store->PortText1 = pane1;
            break;
        case 1:
            if (pane3.empty()) return false;
            store->PortText2 = pane3;
            break;
        case 2:
            store->PortText1 = pane1.empty() ? " " : pane1;
            store->PortText2 = pane3.empty() ? " " : pane3;
            if (pane1.empty() && pane3.empty()) return false;
            break;
        default:
            return true;
    }
    writeRecord(program);
    return true;
}

void stop(Program& program) {
    FrmMain& f = *program.FrmMain;
    program.state.RunState = 0;
    for (CheckBox* c : f.chkUARTControl) c->Enabled = false;
    f.mnuSetup->Enabled = true;
    f.tbrTarvoline->Buttons(1).Enabled = true;
    f.tbrTarvoline->Buttons(3).ToolTipText = "Start communication";
    f.txtCommunication[0]->Enabled = false;
    f.txtCommunication[2]->Enabled = false;
    f.tmrTarvoline->Enabled = false;
    f.tbrTarvoline->Buttons(3).Image = 2;
    const bool wrote = finalWrite(program);
    syncCapture(program);  // the run's records are on disk when Stop returns
    if (!wrote) return;
    for (TextBox* pane : f.txtCommunication) pane->setText("");
}

}  // namespace

void mnuStartStop_Click(Program& program) {
    if (program.state.RunState == 0)
        start(program);
    else if (program.state.RunState == 1)
        stop(program);
}

}  // namespace tvl
