// The dialogs of conversion and watch: "Specify Action" (frmHostAction) fills
// the conversion rows, "Watch Data" (frmFindData) the watched texts.
//
// Both are shown without a modal wait over a disabled FrmMain, and give it
// back on every way out. A dialog's window close box unloads it: the view
// calls the dialog's "Form_Unload" handler, which does what unloading does
// and nothing of Cancel.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "app/frm_find_data.h"
#include "app/frm_host_action.h"

namespace tvl {

class Program;

// What keeps the twenty boxes of the conversion dialog from being stored: the
// box to put right (an index of txtValue) and the message naming its row.
struct RowProblem {
    int box;
    std::string message;
};
// The first faulty row, Port 1 rows top down, then Port 2; nothing when all
// can be stored. values[k] is the text of txtValue(k).
std::optional<RowProblem> rowProblem(const std::array<std::string, kValueBoxes>& values);

// Registers the Data Conversion and Watch data commands on the main window.
void bindConversion(Program& program);

// The commands and handlers, as the menus, buttons and scenarios call them.
// A dialog's Form_Unload unloads it: FrmMain is enabled and shown, and the
// dialog is gone; its close box calls it directly, Cancel after its own work.
void mnuDataConvertion_Click(Program& program);
void frmHostAction_Form_Load(Program& program);
void frmHostAction_cmdOK_Click(Program& program);
void frmHostAction_cmdCancel_Click(Program& program);
void frmHostAction_Form_Unload(Program& program);

void mnuFindData_Click(Program& program);
void frmFindData_Form_Load(Program& program);
void frmFindData_txtFound_Change(Program& program, int Index);
void frmFindData_cmdOK_Click(Program& program);
void frmFindData_cmdCancel_Click(Program& program);
void frmFindData_Form_Unload(Program& program);

}  // namespace tvl
