#include "shell/commands.h"

#include <array>
#include <string>

#include "app/frm_main.h"
#include "app/program.h"
#include "capture/capture_writer.h"
#include "components/stores/capture_store.h"

namespace tvl {

namespace {

struct Command {
    const char* key;
    const char* handler;
};

// Compared exactly, in this order.
constexpr std::array<Command, 7> monitorSet{{
    {"Setup", "mnuSetup_Click"},
    {"StartStop", "mnuStartStop_Click"},
    {"DataConversion", "mnuDataConvertion_Click"},
    {"FindData", "mnuFindData_Click"},
    {"Help", "mnuHelp_Click"},
    {"OpenFile", "mnuOpenFile_Click"},
    {"Exit", "mnuExit_Click"},
}};
constexpr std::array<Command, 7> reviewSet{{
    {"Home", "mnuHome_Click"},
    {"Back", "mnuBack_Click"},
    {"Forward", "mnuForward_Click"},
    {"End", "mnuEnd_Click"},
    {"Find", "mnuFind_Click"},
    {"SaveExit", "mnuSaveExit_Click"},
    {"NoSaveExit", "mnuNoSaveExit_Click"},
}};

template <std::size_t N>
const char* lookUp(const std::array<Command, N>& set, std::string_view key) {
    for (const Command& c : set)
        if (key == c.key) return c.handler;
    return nullptr;
}

void runKey(Program& p, const char* handler) {
    if (handler && p.FrmMain) runCommand(*p.FrmMain, handler);
}

// The menu of the current command set: which set is current is tbrTarvoline.Visible.
void popupCurrent(Program& p, int button) {
    if (button != 2) return;
    FrmMain& f = *p.FrmMain;
    p.platform.PopupMenu(f.tbrTarvoline->Visible ? *f.mnuMenu : *f.mnuFileAccess);
}

void popup(Program& p, int button, Menu& menu) {
    if (button == 2) p.platform.PopupMenu(menu);
}

}  // namespace

const char* monitorCommand(std::string_view key) { return lookUp(monitorSet, key); }
const char* reviewCommand(std::string_view key) { return lookUp(reviewSet, key); }

bool runCommand(FrmMain& form, std::string_view handlerName) {
    const Form::Handler* handler = form.handler(handlerName);
    if (!handler) return false;
    (*handler)({});
    return true;
}

void tbrTarvoline_ButtonClick(Program& p, const ToolbarButton& Button) {
    MciPlayer& player = p.mciTarvoline;
    player.setNotify(false);
    player.setWait(true);
    player.setDeviceType("WaveAudio");
    player.setFileName(p.programFile("button.wav"));
    player.setCommand("Sound");
    player.setCommand("Close");
    runKey(p, monitorCommand(Button.Key));
}

void tbrFileAccess_ButtonClick(Program& p, const ToolbarButton& Button) {
    MciPlayer& player = p.mciTarvoline;
    player.setCommand("Close");
    player.setNotify(false);
    player.setWait(true);
    player.setDeviceType("WaveAudio");
    player.setShareable(false);
    player.setFileName(p.programFile("button.wav"));
    player.setCommand("Open");
    player.setCommand("Play");
    runKey(p, reviewCommand(Button.Key));
}

void Form_MouseUp(Program& p, int Button) { popupCurrent(p, Button); }
void fraComMonitor_MouseUp(Program& p, int /*Index*/, int Button) { popupCurrent(p, Button); }
void tbrTarvoline_MouseUp(Program& p, int Button) { popup(p, Button, *p.FrmMain->mnuMenu); }
void tbrFileAccess_MouseUp(Program& p, int Button) { popup(p, Button, *p.FrmMain->mnuFileAccess); }
void txtPort1_MouseUp(Program& p, int Button) { popup(p, Button, *p.FrmMain->mnuFileAccess); }
void txtPort2_MouseUp(Program& p, int Button) { popup(p, Button, *p.FrmMain->mnuFileAccess); }

void mnuExit_Click(Program& p) {
    // What was written reaches the disk before the process ends.
    if (CaptureStore* store = captureStore(p)) {
        try {
            store->SyncStore();
        } catch (const StoreError&) {
            // The process ends all the same.
        }
    }
    if (p.state.SavingMode == 2 && p.KelXLS) {
        try {
            p.KelXLS->CloseStore();
        } catch (...) {
            // The process ends all the same.
        }
    }
    p.end();
}

void bindCommands(FrmMain& f, Program& p) {
    // A ButtonClick by name takes the button's number.
    f.tbrTarvoline->ButtonClick = [&p](ToolbarButton& b) { tbrTarvoline_ButtonClick(p, b); };
    f.tbrFileAccess->ButtonClick = [&p](ToolbarButton& b) { tbrFileAccess_ButtonClick(p, b); };
    f.handle("tbrTarvoline_ButtonClick", [&f, &p](const auto& a) {
        tbrTarvoline_ButtonClick(p, f.tbrTarvoline->Buttons(argument(a, 0)));
    });
    f.handle("tbrFileAccess_ButtonClick", [&f, &p](const auto& a) {
        tbrFileAccess_ButtonClick(p, f.tbrFileAccess->Buttons(argument(a, 0)));
    });

    // Every menu entry runs its command as it stands when clicked.
    for (Menu* top : {f.mnuMenu, f.mnuFileAccess})
        for (Menu* entry : top->entries) {
            if (entry->Caption == "-" || entry->Click) continue;
            entry->Click = [&f, name = entry->name() + "_Click"] { runCommand(f, name); };
        }

    // A mouse-up by name takes the platform's arguments (Button, Shift, X, Y),
    // with the Index first for a control array.
    f.bind("Form_MouseUp", f.MouseUp, [&p](int button) { Form_MouseUp(p, button); });
    for (int i = 0; i < 2; ++i)
        f.fraComMonitor[i]->MouseUp = [&p, i](int button) { fraComMonitor_MouseUp(p, i, button); };
    f.handle("fraComMonitor_MouseUp",
             [&p](const auto& a) { fraComMonitor_MouseUp(p, argument(a, 0), argument(a, 1)); });
    f.bind("tbrTarvoline_MouseUp", f.tbrTarvoline->MouseUp,
           [&p](int button) { tbrTarvoline_MouseUp(p, button); });
    f.bind("tbrFileAccess_MouseUp", f.tbrFileAccess->MouseUp,
           [&p](int button) { tbrFileAccess_MouseUp(p, button); });
    f.bind("txtPort1_MouseUp", f.txtPort1->MouseUp,
           [&p](int button) { txtPort1_MouseUp(p, button); });
    f.bind("txtPort2_MouseUp", f.txtPort2->MouseUp,
           [&p](int button) { txtPort2_MouseUp(p, button); });
    f.handle("mnuExit_Click", [&p](const auto&) { mnuExit_Click(p); });
    f.handle("Form_QueryUnload", [&p](const auto&) { mnuExit_Click(p); });
}

}  // namespace tvl
