#include "shell/wiring.h"

#include "app/frm_main.h"
#include "app/layout.h"
#include "app/program.h"
#include "convert/conversion.h"
#include "display/traffic_panes.h"
#include "line/line_loss.h"
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

void bindMonitor(FrmMain& f, Program& program) {
    f.bind("txtCommunication_Change", f.txtCommunication, &TextBox::Change,
           [&program](int i) { txtCommunication_Change(program, i); });
    for (int i = 0; i < 4; ++i)
        f.txtCommunication[i]->KeyPress = [&program, i](int& key) {
            txtCommunication_KeyPress(program, i, key);
        };
    f.handle("txtCommunication_KeyPress", [&program](const auto& a) {
        int key = argument(a, 1);
        txtCommunication_KeyPress(program, argument(a, 0), key);
    });
    f.bind("chkUARTControl_Click", f.chkUARTControl, &CheckBox::Click,
           [&program](int i) { chkUARTControl_Click(program, i); });
    f.bind("tmrTarvoline_Timer", f.tmrTarvoline->Tick, [&program] { tmrTarvoline_Timer(program); });
    f.tmrTarvoline->Ticks = [&program](int n) { return tmrTarvoline_Ticks(program, n); };
    f.bind("mnuStartStop_Click", f.mnuStartStop->Click,
           [&program] { mnuStartStop_Click(program); });
    f.bind("mscComControl1_OnComm", program.mscComControl1.OnComm,
           [&program] { mscComControl1_OnComm(program); });
    f.bind("mscComControl2_OnComm", program.mscComControl2.OnComm,
           [&program] { mscComControl2_OnComm(program); });
    program.mscComControl1.OnLineLost = [&program] { mscComControl_LineLost(program, 0); };
    program.mscComControl2.OnLineLost = [&program] { mscComControl_LineLost(program, 1); };
    program.mscComControl1.OnLineBack = [&program] { mscComControl_LineBack(program, 0); };
    program.mscComControl2.OnLineBack = [&program] { mscComControl_LineBack(program, 1); };
    f.handle("Form_Load", [&program](const auto&) { FrmMain_Form_Load(program); });
}

}  // namespace

void bindMainWindow(Program& program) {
    FrmMain& f = *program.FrmMain;
    program.startStop = [&program] { mnuStartStop_Click(program); };
    bindMonitor(f, program);
    bindLayout(f);
    bindCommands(f, program);
    bindSetup(program);
    bindConversion(program);
    bindReview(program);
    bindHelp(program);
}

}  // namespace tvl
