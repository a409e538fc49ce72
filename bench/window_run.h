// The windowed program in a Host-mode run on virtual ports 901 and 902, made
// as a user makes it (the splash, Setup, OK, Start), for the window benchmarks.
#pragma once

#include "app/frm_main.h"
#include "desktop/qt_program.h"
#include "setup/setup.h"

namespace relay {

// Main, then the run through the desktop's dispatch; true once it runs.
inline bool startHostRun(tvl::QtProgram& program) {
    tvl::Program& p = *program.program;
    tvl::Main(p);
    program.desktop.dispatch([&] {
        p.frmSplash->Image1->Click();
        tvl::mnuSetup_Click(p);
        tvl::FrmSetup& setup = *p.frmSetup;
        setup.optMode[1]->choose();
        setup.txtComPort[0]->setText("901");
        setup.txtComPort[1]->setText("902");
        setup.cmdOK->Click();
        p.FrmMain->mnuStartStop->Click();
    });
    return p.state.RunState == 1;
}

}  // namespace relay
