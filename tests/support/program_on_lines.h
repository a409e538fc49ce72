// A whole headless program on two simulated lines and a platform of the
// test's choosing, for the tests and benchmarks that drive it as a user and
// the desktop would. (Header only: tests/support builds no test of its own.)
#pragma once

#include <memory>
#include <utility>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/serial/simulated_line.h"
#include "line/transfer_pump.h"
#include "platform/timer_driver.h"

namespace tvl::testing {

template <class PlatformType>
struct ProgramOnLines {
    template <class... PlatformArgs>
    explicit ProgramOnLines(PlatformArgs&&... args)
        : platform(std::forward<PlatformArgs>(args)...) {}

    // The program on this platform and these lines; `parts` may name stores and sound.
    Program& make(ProgramParts parts = {}) {
        parts.platform = &platform;
        parts.line1 = &line1;
        parts.line2 = &line2;
        program = std::make_unique<Program>(std::move(parts));
        return *program;
    }

    // Main, then a click on the splash: the main window after its first pass.
    FrmMain& start() {
        Main(*program);
        program->frmSplash->Image1->Click();
        return *program->FrmMain;
    }

    // Port 1 on line1 and Port 2 on line2, open with the default line format.
    void openPorts() {
        program->mscComControl1.setCommPort(1);
        program->mscComControl2.setCommPort(2);
        program->mscComControl1.setPortOpen(true);
        program->mscComControl2.setPortOpen(true);
    }

    // Ticks one at a time while the timer runs and bytes wait.
    void pump() {
        Timer& timer = *program->FrmMain->tmrTarvoline;
        while (timer.Enabled && bytesWaiting(*program)) timer.fire();
    }

    // The ticks as the desktop runs them: the TimerDriver's slices, many at once.
    void pumpInSlices() {
        Timer& timer = *program->FrmMain->tmrTarvoline;
        TimerDriver driver(timer, [this] { return tickHasWork(*program); });
        while (timer.Enabled && bytesWaiting(*program)) driver.runSlice();
    }

    // Declared first, so that the program goes before the platform and lines it uses.
    PlatformType platform;
    SimulatedLines lines;
    SimulatedLine line1{lines};
    SimulatedLine line2{lines};
    std::unique_ptr<Program> program;
};

}  // namespace tvl::testing
