#include "shell/help.h"

#include "app/frm_main.h"
#include "app/program.h"
#include "platform/platform.h"

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
    f.bind("mnuHelp_Click", f.mnuHelp->Click, [&program] { mnuHelp_Click(program); });
}

}  // namespace tvl
