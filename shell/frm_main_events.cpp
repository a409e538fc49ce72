// Binds the main window's events to their handlers, and registers each
// handler by its name for scenarios and tests.
#include <string>

#include "convert/conversion_dialogs.h"
#include "display/traffic_panes.h"
#include "line/port_events.h"
#include "line/start_stop.h"
#include "line/transfer_pump.h"
#include "review/review.h"
#include "setup/frm_setup.h"
#include "shell/frm_main.h"
#include "shell/help.h"
#include "shell/commands.h"
#include "shell/layout.h"
#include "shell/program.h"
#include "shell/startup.h"

namespace tvl {

namespace {
int argument(const std::vector<std::string>& args, std::size_t n) {
    return n < args.size() ? std::stoi(args[n]) : 0;
}
}  // namespace

void bindFrmMain(FrmMain& f, Program& p) {
    for (int i = 0; i < 4; ++i) {
        f.txtCommunication[i]->Change = [&p, i] { txtCommunication_Change(p, i); };
        f.txtCommunication[i]->KeyPress = [&p, i](int& key) { txtCommunication_KeyPress(p, i, key); };
        f.chkUARTControl[i]->Click = [&p, i] { chkUARTControl_Click(p, i); };
    }
    f.tmrTarvoline->Tick = [&p] { tmrTarvoline_Timer(p); };
    f.mnuStartStop->Click = [&p] { mnuStartStop_Click(p); };
    p.mscComControl1.OnComm = [&p] { mscComControl1_OnComm(p); };
    p.mscComControl2.OnComm = [&p] { mscComControl2_OnComm(p); };

    f.handle("Form_Load", [&p](const auto&) { FrmMain_Form_Load(p); });
    f.handle("tmrTarvoline_Timer", [&p](const auto&) { tmrTarvoline_Timer(p); });
    f.handle("mnuStartStop_Click", [&p](const auto&) { mnuStartStop_Click(p); });
    f.handle("txtCommunication_Change",
             [&p](const auto& a) { txtCommunication_Change(p, argument(a, 0)); });
    f.handle("txtCommunication_KeyPress", [&p](const auto& a) {
        int key = argument(a, 1);
        txtCommunication_KeyPress(p, argument(a, 0), key);
    });
    f.handle("chkUARTControl_Click", [&p](const auto& a) { chkUARTControl_Click(p, argument(a, 0)); });
    f.handle("mscComControl1_OnComm", [&p](const auto&) { mscComControl1_OnComm(p); });
    f.handle("mscComControl2_OnComm", [&p](const auto&) { mscComControl2_OnComm(p); });

    bindLayout(f);
    bindCommands(f, p);
}

// The commands of the other windows register themselves once FrmMain stands.
void bindSubsystems(Program& p) {
    bindSetup(p);
    bindConversion(p);
    bindReview(p);
    bindHelp(p);
}

}  // namespace tvl
