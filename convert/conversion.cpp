#include "convert/conversion.h"

#include "app/frm_main.h"
#include "app/program.h"

namespace tvl {

namespace {

// A dialog opens: "\loadform.wav" through the dialog's own player, sounded
// without a wait after an opening Close.
void loadSound(Program& program, MciPlayer& player) {
    player.setNotify(false);
    player.setWait(true);
    player.setCommand("Close");
    player.setDeviceType("WaveAudio");
    player.setShareable(false);
    player.setFileName(program.programFile("loadform.wav"));
    player.setCommand("Open");
    player.setNotify(true);
    player.setWait(false);
    player.setCommand("Sound");
}

// What both dialogs do as they unload: FrmMain comes back, enabled and shown.
void giveBackMain(Program& program) {
    if (!program.FrmMain) return;
    FrmMain& main = *program.FrmMain;
    main.Enabled = true;
    main.Visible = true;
    program.platform.formShown(main);
}

// Shows a dialog over a disabled FrmMain, without a modal wait.
void showOverMain(Program& program, Form& dialog) {
    dialog.Visible = true;
    program.platform.formShown(dialog);
}

void bindHostAction(Program& p) {
    FrmHostAction& f = *p.frmHostAction;
    f.bind("cmdOK_Click", f.cmdOk->Click, [&p] { frmHostAction_cmdOK_Click(p); });
    f.bind("cmdCancel_Click", f.cmdCancel->Click, [&p] { frmHostAction_cmdCancel_Click(p); });
    f.handle("Form_Load", [&p](const auto&) { frmHostAction_Form_Load(p); });
    f.handle("Form_Unload", [&p](const auto&) { frmHostAction_Form_Unload(p); });
}

void bindFindData(Program& p) {
    FrmFindData& f = *p.frmFindData;
    f.bind("txtFound_Change", f.txtFound, &TextBox::Change,
           [&p](int i) { frmFindData_txtFound_Change(p, i); });
    f.bind("cmdOK_Click", f.cmdOK->Click, [&p] { frmFindData_cmdOK_Click(p); });
    f.bind("cmdCancel_Click", f.cmdCancel->Click, [&p] { frmFindData_cmdCancel_Click(p); });
    f.handle("Form_Load", [&p](const auto&) { frmFindData_Form_Load(p); });
    f.handle("Form_Unload", [&p](const auto&) { frmFindData_Form_Unload(p); });
}

}  // namespace

// ---------------------------------------------------------------- Specify Action

std::optional<RowProblem> rowProblem(const std::array<std::string, 20>& values) {
    for (int b = 0; b < 2; ++b) {
        for (int r = 0; r < 5; ++r) {
            const int present = 10 * b + r, converted = 10 * b + 5 + r;
            const std::string row =
                "Port " + std::to_string(b + 1) + ", row " + std::to_string(r + 1);
            for (int box : {present, converted}) {
                if (values[box].size() <= MaxRowValueLength) continue;
                return RowProblem{box, row + ": the " + (box == present ? "Present" : "Converted") +
                                           " Value has " + std::to_string(values[box].size()) +
                                           " characters; a value holds at most 255."};
            }
            if (values[present].empty() && !values[converted].empty())
                return RowProblem{present, row +
                                               ": a Converted Value needs a Present Value. "
                                               "Fill in the Present Value, or clear the row."};
        }
    }
    return std::nullopt;
}

void mnuDataConvertion_Click(Program& program) {
    program.FrmMain->Enabled = false;
    if (!program.frmHostAction) {
        program.frmHostAction = std::make_unique<FrmHostAction>();
        bindHostAction(program);
        frmHostAction_Form_Load(program);
    }
    showOverMain(program, *program.frmHostAction);
}

void frmHostAction_Form_Load(Program& program) { loadSound(program, program.mciTarvoline2); }

void frmHostAction_cmdOK_Click(Program& program) {
    if (!program.frmHostAction) return;
    FrmHostAction& f = *program.frmHostAction;
    std::array<std::string, 20> values;
    for (int k = 0; k < 20; ++k) values[k] = f.txtValue[k]->Text();
    // A faulty row stores nothing: the dialog stays open on it.
    if (auto problem = rowProblem(values)) {
        f.focus = f.txtValue[problem->box];
        program.platform.MsgBox(problem->message, f.Caption, vbOKOnly);
        return;
    }

    SharedState& s = program.state;
    for (int r = 0; r < 5; ++r) {
        s.PresentValue1[r] = values[r];
        if (values[r].size() > s.MaxPresentLength[0])
            s.MaxPresentLength[0] = static_cast<std::uint8_t>(values[r].size());
    }
    for (int r = 0; r < 5; ++r) s.ConvertedValue1[r] = values[5 + r];
    for (int r = 0; r < 5; ++r) {
        s.PresentValue2[r] = values[10 + r];
        if (values[10 + r].size() > s.MaxPresentLength[1])
            s.MaxPresentLength[1] = static_cast<std::uint8_t>(values[10 + r].size());
    }
    for (int r = 0; r < 5; ++r) s.ConvertedValue2[r] = values[15 + r];

    f.Visible = false;
    program.platform.formHidden(f);
    program.FrmMain->Enabled = true;
}

void frmHostAction_cmdCancel_Click(Program& program) { frmHostAction_Form_Unload(program); }

void frmHostAction_Form_Unload(Program& program) {
    if (!program.frmHostAction) return;
    giveBackMain(program);
    program.platform.formUnloaded(*program.frmHostAction);
    program.frmHostAction.reset();
}

// ---------------------------------------------------------------- Watch Data

void mnuFindData_Click(Program& program) {
    program.FrmMain->Enabled = false;
    if (!program.frmFindData) {
        program.frmFindData = std::make_unique<FrmFindData>();
        bindFindData(program);
        frmFindData_Form_Load(program);
    }
    showOverMain(program, *program.frmFindData);
}

void frmFindData_Form_Load(Program& program) { loadSound(program, program.mciTarvoline3); }

void frmFindData_txtFound_Change(Program& program, int Index) {
    if (Index == 0 || Index == 1) program.state.WatchArmed[Index] = 1;
}

void frmFindData_cmdOK_Click(Program& program) {
    if (!program.frmFindData) return;
    program.state.WatchString[0] = program.frmFindData->txtFound[0]->Text();
    program.state.WatchString[1] = program.frmFindData->txtFound[1]->Text();
    frmFindData_Form_Unload(program);
}

void frmFindData_cmdCancel_Click(Program& program) {
    if (!program.frmFindData) return;
    program.state.WatchArmed[0] = 0;
    program.state.WatchArmed[1] = 0;
    frmFindData_Form_Unload(program);
}

void frmFindData_Form_Unload(Program& program) {
    if (!program.frmFindData) return;
    giveBackMain(program);
    program.platform.formUnloaded(*program.frmFindData);
    program.frmFindData.reset();
}

// ---------------------------------------------------------------- commands

void bindConversion(Program& program) {
    FrmMain& f = *program.FrmMain;
    Program& p = program;
    f.bind("mnuDataConvertion_Click", f.mnuDataConvertion->Click,
           [&p] { mnuDataConvertion_Click(p); });
    f.bind("mnuFindData_Click", f.mnuFindData->Click, [&p] { mnuFindData_Click(p); });
}

}  // namespace tvl
