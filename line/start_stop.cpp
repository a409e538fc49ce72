#include "line/start_stop.h"

#include "app/frm_main.h"
#include "app/program.h"
#include "capture/capture_writer.h"
#include "components/stores/capture_store.h"

namespace tvl {

namespace {

// The DTR and RTS labels and lamps of both ports: Host mode shows the labels
// and the off lamps; Transparent mode hides them all.
void showOutputLines(FrmMain& f, bool shown) {
    for (int q = 0; q < 2; ++q)
        for (int signal : {DTR, RTS}) {
            f.lblUART[labelIndex(q, signal)]->Visible = shown;
            f.imgStatus[lampIndex(q, signal, false)]->Visible = shown;
            if (!shown) f.imgStatus[lampIndex(q, signal, true)]->Visible = false;
        }
}

void start(Program& program) {
    FrmMain& f = *program.FrmMain;
    const bool host = program.state.OperationMode == 1;
    for (CheckBox* c : f.chkUARTControl) c->Enabled = true;
    if (!host) {
        for (CheckBox* c : f.chkUARTControl) c->Visible = false;
        showOutputLines(f, false);
        f.txtCommunication[0]->Enabled = false;
        f.txtCommunication[2]->Enabled = false;
    } else {
        for (CheckBox* c : f.chkUARTControl) c->Visible = true;
        showOutputLines(f, true);
        f.txtCommunication[0]->Enabled = true;
        f.txtCommunication[2]->Enabled = true;
    }
    f.tmrTarvoline->Enabled = true;
    f.tbrTarvoline->Buttons(monitorButton::StartStop).Image = startStopImage::Stop;
    f.mnuSetup->Enabled = false;
    f.tbrTarvoline->Buttons(monitorButton::Setup).Enabled = false;
    f.tbrTarvoline->Buttons(monitorButton::StartStop).ToolTipText = "Stop communication";
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
    switch (const int choice = program.state.MonitorChoice) {
        case 0:
        case 1: {
            const std::string& text = f.txtCommunication[monitoredPane(choice)]->Text();
            if (text.empty()) return false;
            (choice == 0 ? store->PortText1 : store->PortText2) = text;
            break;
        }
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
    f.tbrTarvoline->Buttons(monitorButton::Setup).Enabled = true;
    f.tbrTarvoline->Buttons(monitorButton::StartStop).ToolTipText = "Start communication";
    f.txtCommunication[0]->Enabled = false;
    f.txtCommunication[2]->Enabled = false;
    f.tmrTarvoline->Enabled = false;
    f.tbrTarvoline->Buttons(monitorButton::StartStop).Image = startStopImage::Start;
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
