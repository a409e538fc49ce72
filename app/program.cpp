#include "app/program.h"

#include "app/frm_find_data.h"
#include "app/frm_host_action.h"
#include "app/frm_main.h"
#include "app/frm_setup.h"

namespace tvl {

Program::Program(ProgramParts parts)
    : platform(*parts.platform),
      mscComControl1(*parts.line1),
      mscComControl2(*parts.line2),
      KelTVL(parts.makeTVL ? parts.makeTVL() : nullptr),
      KelMDB(parts.makeMDB ? parts.makeMDB() : nullptr),
      KelXLS(parts.makeXLS ? parts.makeXLS() : nullptr),
      mciTarvoline("mciTarvoline", parts.makeSound ? parts.makeSound() : makeNullSoundOutput()),
      mciTarvoline1("mciTarvoline1", parts.makeSound ? parts.makeSound() : makeNullSoundOutput()),
      mciTarvoline2("mciTarvoline2", parts.makeSound ? parts.makeSound() : makeNullSoundOutput()),
      mciTarvoline3("mciTarvoline3", parts.makeSound ? parts.makeSound() : makeNullSoundOutput()),
      parts_(std::move(parts)) {
    mscComControl1.traceInto(parts_.trace, 1);
    mscComControl2.traceInto(parts_.trace, 2);
}

Program::~Program() = default;

Form* Program::form(std::string_view name) const {
    if (FrmMain && sameName(name, FrmMain->name())) return FrmMain.get();
    if (frmSplash && sameName(name, frmSplash->name())) return frmSplash.get();
    if (frmSetup && sameName(name, frmSetup->name())) return frmSetup.get();
    if (frmHostAction && sameName(name, frmHostAction->name())) return frmHostAction.get();
    if (frmFindData && sameName(name, frmFindData->name())) return frmFindData.get();
    return nullptr;
}

std::string Program::programFile(const std::string& name) const {
    return platform.ProgramFolder() + "/" + name;
}

void Program::end() {
    exited = true;
    // The process ends at once, but what the system lends us goes back first:
    // each line drains, takes back the settings found at its opening and lets
    // other programs in; a virtual port's published link goes.
    mscComControl1.setPortOpen(false);
    mscComControl2.setPortOpen(false);
    platform.EndProcess();
}

std::unique_ptr<SoundOutput> Program::makeSound() const {
    return parts_.makeSound ? parts_.makeSound() : makeNullSoundOutput();
}

void showLineState(Program& program) {
    if (!program.FrmMain) return;
    std::string title = "Tarvoline";
    for (const SerialPort* port : {&program.mscComControl1, &program.mscComControl2}) {
        if (!port->PortOpen() || !port->EverLost()) continue;
        title += std::string(" - ") + (port == &program.mscComControl1 ? "Port 1" : "Port 2") +
                 (port->LineLost() ? " lost (" : " is back (") + port->device()->deviceName() + ")";
    }
    program.FrmMain->Caption = title;
}

}  // namespace tvl
