#include "shell/wiring.h"

#include "app/frm_main.h"
#include "app/layout.h"
#include "app/program.h"
#include "convert/conversion.h"
#include "display/traffic_panes.h"
#include "line/port_events.h"
#include "line/start_stop.h"
#include "line/transfer_pump.h"
#include "review/review.h"
#include "setup/setup.h"
#include "shell/commands.h"
#include "shell/help.h"
#include "shell/startup.h"

namespace tvl {

namespace {

void bindMonitor(FrmMain& f, Program& p) {
    f.bind("txtCommunication_Change", f.txtCommunication, &TextBox::Change,
           [&p](int i) { txtCommunication_Change(p, i); });
    for (int i = 0; i < 4; ++i)
        f.txtCommunication[i]->KeyPress = [&p, i](int& key) {
            txtCommunication_KeyPress(p, i, key);
        };
    f.handle("txtCommunication_KeyPress", [&p](const auto& a) {
        int key = argument(a, 1);
        txtCommunication_KeyPress(p, argument(a, 0), key);
    });
    f.bind("chkUARTControl_Click", f.chkUARTControl, &CheckBox::Click,
           [&p](int i) { chkUARTControl_Click(p, i); });
    f.bind("tmrTarvoline_Timer", f.tmrTarvoline->Tick, [&p] { tmrTarvoline_Timer(p); });
    f.tmrTarvoline->Ticks = [&p](int n) { return tmrTarvoline_Ticks(p, n); };
    f.bind("mnuStartStop_Click", f.mnuStartStop->Click, [&p] { mnuStartStop_Click(p); });
    f.bind("mscComControl1_OnComm", p.mscComControl1.OnComm, [&p] { mscComControl1_OnComm(p); });
    f.bind("mscComControl2_OnComm", p.mscComControl2.OnComm, [&p] { mscComControl2_OnComm(p); });
    f.handle("Form_Load", [&p](const auto&) { FrmMain_Form_Load(p); });
}

}  // namespace

void bindMainWindow(Program& p) {
    FrmMain& f = *p.FrmMain;
    p.startStop = [&p] { mnuStartStop_Click(p); };
    bindMonitor(f, p);
    bindLayout(f);
    bindCommands(f, p);
    bindSetup(p);
    bindConversion(p);
    bindReview(p);
    bindHelp(p);
}

}  // namespace tvl
