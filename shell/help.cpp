#include "shell/help.h"

#include "platform/platform.h"
#include "shell/frm_main.h"
#include "shell/program.h"

namespace tvl {

void CommonDialogHelp::ShowHelp(Platform& platform) const {
    platform.ShowHelp(HelpFile, HelpCommand, HelpContext);
}

void mnuHelp_Click(Program& program) {
    CommonDialogHelp dialog;
    dialog.HelpFile = "TARVOLINE.hlp";  // a bare name: the help window looks beside the program
    dialog.HelpCommand = cdlHelpContents;
    dialog.ShowHelp(program.platform);
}

void bindHelp(Program& program) {
    FrmMain& f = *program.FrmMain;
    Program* p = &program;
    f.mnuHelp->Click = [p] { mnuHelp_Click(*p); };
    f.handle("mnuHelp_Click", [p](const auto&) { mnuHelp_Click(*p); });
}

}  // namespace tvl
