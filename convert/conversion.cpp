#include "convert/conversion.h"

#include <memory>

#include "app/frm_main.h"
#include "app/program.h"
#include "app/sound_cues.h"

namespace tvl {

namespace {

// Shows a dialog over a disabled FrmMain, without a modal wait; one not
// loaded is made first, its events bound and its Form_Load run.
template <class Dialog>
void showOverMain(Program& program, std::unique_ptr<Dialog>& dialog, void (*bind)(Program&),
                  void (*load)(Program&)) {
    program.FrmMain->Enabled = false;
    if (!dialog) {
        dialog = std::make_unique<Dialog>();
        bind(program);
        load(program);
    }
    dialog->Visible = true;
    program.platform.formShown(*dialog);
}

// What both dialogs do as they unload: FrmMain comes back, enabled and
// shown, and the dialog is gone.
template <class Dialog>
void unload(Program& program, std::unique_ptr<Dialog>& dialog) {
    if (!dialog) return;
    if (program.FrmMain) {
        FrmMain& main = *program.FrmMain;
        main.Enabled = true;
        main.Visible = true;
        program.platform.formShown(main);
    }
    program.platform.formUnloaded(*dialog);
    dialog.reset();
}

void bindHostAction(Program& program) {
    FrmHostAction& f = *program.frmHostAction;
    f.bind("cmdOK_Click", f.cmdOk->Click, [&program] { frmHostAction_cmdOK_Click(program); });
    f.bind("cmdCancel_Click", f.cmdCancel->Click,
           [&program] { frmHostAction_cmdCancel_Click(program); });
    f.handle("Form_Load", [&program](const auto&) { frmHostAction_Form_Load(program); });
    f.handle("Form_Unload", [&program](const auto&) { frmHostAction_Form_Unload(program); });
}

void bindFindData(Program& program) {
    FrmFindData& f = *program.frmFindData;
    f.bind("txtFound_Change", f.txtFound, &TextBox::Change,
           [&program](int i) { frmFindData_txtFound_Change(program, i); });
    f.bind("cmdOK_Click", f.cmdOK->Click, [&program] { frmFindData_cmdOK_Click(program); });
    f.bind("cmdCancel_Click", f.cmdCancel->Click,
           [&program] { frmFindData_cmdCancel_Click(program); });
    f.handle("Form_Load", [&program](const auto&) { frmFindData_Form_Load(program); });
    f.handle("Form_Unload", [&program](const auto&) { frmFindData_Form_Unload(program); });
}

}  // namespace

// ---------------------------------------------------------------- Specify Action

std::optional<RowProblem> rowProblem(const std::array<std::string, kValueBoxes>& values) {
    for (int b = 0; b < 2; ++b) {
        for (int r = 0; r < kConversionRows; ++r) {
            const int present = presentBox(b, r), converted = convertedBox(b, r);
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
    showOverMain(program, program.frmHostAction, bindHostAction, frmHostAction_Form_Load);
}

void frmHostAction_Form_Load(Program& program) {
    playDialogOpening(program, program.mciTarvoline2, "Sound");
}

void frmHostAction_cmdOK_Click(Program& program) {
    if (!program.frmHostAction) return;
    FrmHostAction& f = *program.frmHostAction;
    std::array<std::string, kValueBoxes> values;
    for (int k = 0; k < kValueBoxes; ++k) values[k] = f.txtValue[k]->Text();
    // A faulty row stores nothing: the dialog stays open on it.
    if (auto problem = rowProblem(values)) {
        f.setFocus(f.txtValue[problem->box]);
        program.platform.MsgBox(problem->message, f.Caption, vbOKOnly);
        return;
    }

    SharedState& s = program.state;
    for (int b = 0; b < 2; ++b) {
        std::string* present = b == 0 ? s.PresentValue1 : s.PresentValue2;
        std::string* converted = b == 0 ? s.ConvertedValue1 : s.ConvertedValue2;
        for (int r = 0; r < kConversionRows; ++r) {
            present[r] = values[presentBox(b, r)];
            converted[r] = values[convertedBox(b, r)];
            if (present[r].size() > s.MaxPresentLength[b])
                s.MaxPresentLength[b] = static_cast<std::uint8_t>(present[r].size());
        }
    }

    f.Visible = false;
    program.platform.formHidden(f);
    program.FrmMain->Enabled = true;
}

void frmHostAction_cmdCancel_Click(Program& program) { frmHostAction_Form_Unload(program); }

void frmHostAction_Form_Unload(Program& program) { unload(program, program.frmHostAction); }

// ---------------------------------------------------------------- Watch Data

void mnuFindData_Click(Program& program) {
    showOverMain(program, program.frmFindData, bindFindData, frmFindData_Form_Load);
}

void frmFindData_Form_Load(Program& program) {
    playDialogOpening(program, program.mciTarvoline3, "Sound");
}

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

void frmFindData_Form_Unload(Program& program) { unload(program, program.frmFindData); }

// ---------------------------------------------------------------- commands

void bindConversion(Program& program) {
    FrmMain& f = *program.FrmMain;
    f.bind("mnuDataConvertion_Click", f.mnuDataConvertion->Click,
           [&program] { mnuDataConvertion_Click(program); });
    f.bind("mnuFindData_Click", f.mnuFindData->Click, [&program] { mnuFindData_Click(program); });
}

}  // namespace tvl
