// The two command sets of the main window and how they are reached: toolbar
// buttons (with their click sound), the popup menus raised by the right mouse
// button, and Exit.
//
// A command is the handler registered on FrmMain under its menu entry's name
// ("mnuSetup_Click"). The toolbars and the menu entries look it up when they
// are clicked, so a command registered later is reached the same way; a name
// with no handler yet does nothing.
#pragma once

#include <string_view>

namespace tvl {

class FrmMain;
class Program;
struct ToolbarButton;

// The handler name of a toolbar key, in the order of its toolbar; nullptr for
// a key that names no command.
const char* monitorCommand(std::string_view key);  // keys of tbrTarvoline
const char* reviewCommand(std::string_view key);   // keys of tbrFileAccess

// Plays the click sound to its end, then runs the command of the button's Key.
void tbrTarvoline_ButtonClick(Program& program, const ToolbarButton& Button);
// Starts the click sound without waiting, then runs the command of the button's Key.
void tbrFileAccess_ButtonClick(Program& program, const ToolbarButton& Button);

// The popup rules: only the right button (2) raises a menu.
void Form_MouseUp(Program& program, int Button);
void fraComMonitor_MouseUp(Program& program, int Index, int Button);
void tbrTarvoline_MouseUp(Program& program, int Button);
void tbrFileAccess_MouseUp(Program& program, int Button);
void txtPort1_MouseUp(Program& program, int Button);
void txtPort2_MouseUp(Program& program, int Button);

// Gives the workbook store its last call when it is the one in use, then ends
// the process: no question, no Stop, whatever runs.
void mnuExit_Click(Program& program);

// Runs a command by its handler name; false when none is registered.
bool runCommand(FrmMain& form, std::string_view handlerName);

// Binds the toolbars, the menu entries, the mouse-up surfaces and the close
// box of FrmMain, and registers their handlers by name. The close box runs
// the two steps of Exit; it is registered as "Form_QueryUnload".
void bindCommands(FrmMain& form, Program& program);

}  // namespace tvl
