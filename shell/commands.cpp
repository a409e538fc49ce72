#include "shell/commands.h"

#include <array>
#include <string>

#include "app/frm_main.h"
#include "app/program.h"
#include "app/sound_cues.h"
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

void runKey(Program& program, const char* handler) {
    if (handler && program.FrmMain) runCommand(*program.FrmMain, handler);
}

// The menu of the current command set: which set is current is tbrTarvoline.Visible.
void popupCurrent(Program& program, int button) {
    if (button != 2) return;
    FrmMain& f = *program.FrmMain;
    program.platform.PopupMenu(f.tbrTarvoline->Visible ? *f.mnuMenu : *f.mnuFileAccess);
}

void popup(Program& program, int button, Menu& menu) {
    if (button == 2) program.platform.PopupMenu(menu);
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

void tbrTarvoline_ButtonClick(Program& program, const ToolbarButton& Button) {
    soundMonitorButton(program);
    runKey(program, monitorCommand(Button.Key));
}

void tbrFileAccess_ButtonClick(Program& program, const ToolbarButton& Button) {
    playReviewButton(program);
    runKey(program, reviewCommand(Button.Key));
}

void Form_MouseUp(Program& program, int Button) { popupCurrent(program, Button); }
void fraComMonitor_MouseUp(Program& program, int /*Index*/, int Button) {
    popupCurrent(program, Button);
}
void tbrTarvoline_MouseUp(Program& program, int Button) {
    popup(program, Button, *program.FrmMain->mnuMenu);
}
void tbrFileAccess_MouseUp(Program& program, int Button) {
    popup(program, Button, *program.FrmMain->mnuFileAccess);
}
void txtPort1_MouseUp(Program& program, int Button) {
    popup(program, Button, *program.FrmMain->mnuFileAccess);
}
void txtPort2_MouseUp(Program& program, int Button) {
    popup(program, Button, *program.FrmMain->mnuFileAccess);
}

void mnuExit_Click(Program& program) {
    // What was written reaches the disk before the process ends.
    if (CaptureStore* store = captureStore(program)) {
        try {
            store->SyncStore();
        } catch (const StoreError&) {
            // The process ends all the same.
        }
    }
    if (program.state.SavingMode == 2 && program.KelXLS) {
        try {
            program.KelXLS->CloseStore();
        } catch (...) {
            // The process ends all the same.
        }
    }
    program.end();
}

void bindCommands(FrmMain& f, Program& program) {
    // A ButtonClick by name takes the button's number.
    f.tbrTarvoline->ButtonClick = [&program](ToolbarButton& b) {
        tbrTarvoline_ButtonClick(program, b);
    };
    f.tbrFileAccess->ButtonClick = [&program](ToolbarButton& b) {
        tbrFileAccess_ButtonClick(program, b);
    };
    f.handle("tbrTarvoline_ButtonClick", [&f, &program](const auto& a) {
        tbrTarvoline_ButtonClick(program, f.tbrTarvoline->Buttons(argument(a, 0)));
    });
    f.handle("tbrFileAccess_ButtonClick", [&f, &program](const auto& a) {
        tbrFileAccess_ButtonClick(program, f.tbrFileAccess->Buttons(argument(a, 0)));
    });

    // Every menu entry runs its command as it stands when clicked.
    for (Menu* top : {f.mnuMenu, f.mnuFileAccess})
        for (Menu* entry : top->entries) {
            if (entry->Caption == "-" || entry->Click) continue;
            entry->Click = [&f, name = entry->name() + "_Click"] { runCommand(f, name); };
        }

    // A mouse-up by name takes the platform's arguments (Button, Shift, X, Y),
    // with the Index first for a control array.
    f.bind("Form_MouseUp", f.MouseUp, [&program](int button) { Form_MouseUp(program, button); });
    for (int i = 0; i < 2; ++i)
        f.fraComMonitor[i]->MouseUp = [&program, i](int button) {
            fraComMonitor_MouseUp(program, i, button);
        };
    f.handle("fraComMonitor_MouseUp", [&program](const auto& a) {
        fraComMonitor_MouseUp(program, argument(a, 0), argument(a, 1));
    });
    f.bind("tbrTarvoline_MouseUp", f.tbrTarvoline->MouseUp,
           [&program](int button) { tbrTarvoline_MouseUp(program, button); });
    f.bind("tbrFileAccess_MouseUp", f.tbrFileAccess->MouseUp,
           [&program](int button) { tbrFileAccess_MouseUp(program, button); });
    f.bind("txtPort1_MouseUp", f.txtPort1->MouseUp,
           [&program](int button) { txtPort1_MouseUp(program, button); });
    f.bind("txtPort2_MouseUp", f.txtPort2->MouseUp,
           [&program](int button) { txtPort2_MouseUp(program, button); });
    f.handle("mnuExit_Click", [&program](const auto&) { mnuExit_Click(program); });
    f.handle("Form_QueryUnload", [&program](const auto&) { mnuExit_Click(program); });
}

}  // namespace tvl
