// Help: the Help command opens the program's help file at its contents.
//
// The help file "TARVOLINE.hlp" lies beside the program. It is an HTML page;
// its top is the contents, and help context N is the anchor "context-N"
// (17: a port that Setup could not open).
#pragma once

#include <string>

namespace tvl {

class Platform;
class Program;

// The help part of the main window's common dialog.
struct CommonDialogHelp {
    std::string HelpFile;
    int HelpCommand = 0;  // 3: the contents; 1: the context HelpContext
    int HelpContext = 0;
    void ShowHelp(Platform& platform) const;
};

constexpr int cdlHelpContext = 1;
constexpr int cdlHelpContents = 3;

// Opens "TARVOLINE.hlp" at its contents. No sound: the toolbar button sounds
// its click before it runs this.
void mnuHelp_Click(Program& program);

// Binds FrmMain's mnuHelp and registers "mnuHelp_Click".
void bindHelp(Program& program);

}  // namespace tvl
