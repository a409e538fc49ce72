// The Setup dialog "Tarvoline Setup": mode, monitor choice, saving, display
// and line settings. Its OK is the only writer of the settings in the shared
// state and the only place that opens the serial ports; it prepares the
// capture store first and leaves the main window ready for Start.
//
//   frmSetup lives in Program::frmSetup: null while unloaded. Showing it loads
//   it first when it is unloaded (Form_Load); a successful OK only hides it, so
//   the choices are kept for the next Setup; Cancel and closing the window
//   unload it (Form_Unload), and the choices are lost.
//
// Handlers registered on the form by name: Form_Load, Form_Unload,
// cmdOK_Click, cmdCancel_Click, cmdDefault_Click, optMode_Click(Index). The
// view closes the dialog's window by running Form_Unload.
#pragma once

#include <array>
#include <optional>
#include <string>

#include "app/frm_setup.h"

namespace tvl {

class Program;

// The number a port box's text gives: its numeric value rounded down. No value
// for text that is not a number (the empty text included) or that no port
// number can hold.
std::optional<int> portNumberOf(const std::string& text);

// The Setup command of the main window (menu entry and toolbar button).
void mnuSetup_Click(Program& program);

// The dialog's handlers.
void frmSetup_Form_Load(Program& program);
void frmSetup_Form_Unload(Program& program);  // also unloads the form
void frmSetup_optMode_Click(Program& program, int index);
void frmSetup_cmdDefault_Click(Program& program);
void frmSetup_cmdOK_Click(Program& program);
void frmSetup_cmdCancel_Click(Program& program);

// Registers the Setup command on the main window.
void bindSetup(Program& program);

}  // namespace tvl
