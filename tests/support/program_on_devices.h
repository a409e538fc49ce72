// A whole headless program on this computer's devices, for the tests that run
// it over pseudo-terminals, virtual ports and network ports: device nodes
// under <folder>/dev, virtual ports in <folder> itself, and the headless loop
// as its user-interface thread, driving the pump's timer as the desktop does.
// (Header only: tests/support builds no test of its own.)
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "app/frm_main.h"
#include "app/frm_setup.h"
#include "app/program.h"
#include "components/serial/device_rule.h"
#include "line/transfer_pump.h"
#include "platform/headless_loop.h"
#include "platform/quiet_platform.h"
#include "platform/timer_driver.h"
#include "setup/setup.h"
#include "tests/support/scratch_folder.h"

namespace tvl::testing {

class UiLoop : public HeadlessLoop {
public:
    // Runs until done() holds or the limit passes; false on the limit.
    bool runUntil(Program& program, const std::function<bool()>& done,
                  std::chrono::milliseconds limit) {
        if (!driver_) {
            Timer& timer = *program.FrmMain->tmrTarvoline;
            driver_ =
                std::make_unique<TimerDriver>(timer, [&program] { return tickHasWork(program); });
            drive(*driver_);
            program.mscComControl1.OnReadable = [this] { readable(); };
            program.mscComControl2.OnReadable = [this] { readable(); };
        }
        timerEnabled();
        return HeadlessLoop::runUntil(done, limit);
    }

private:
    std::unique_ptr<TimerDriver> driver_;
};

struct ProgramOnDevices {
    // The program up to its main window, its lines traced by `trace` if given.
    explicit ProgramOnDevices(LineTrace* trace = nullptr) {
        ProgramParts parts;
        parts.platform = &platform;
        parts.trace = trace;
        parts.line1 = parts.line2 = &devices;
        program = std::make_unique<Program>(std::move(parts));
        Main(*program);
        program->frmSplash->Image1->Click();
    }

    // Setup in Host mode between these port numbers, with what `choose` sets
    // besides, then OK.
    void setUpHost(const char* port1, const char* port2,
                   const std::function<void(FrmSetup&)>& choose = {}) {
        mnuSetup_Click(*program);
        FrmSetup& setup = *program->frmSetup;
        setup.optMode[1]->choose();
        setup.txtComPort[0]->setText(port1);
        setup.txtComPort[1]->setText(port2);
        if (choose) choose(setup);
        setup.cmdOK->Click();
    }

    bool until(const std::function<bool()>& done,
               std::chrono::milliseconds limit = std::chrono::seconds(15)) {
        return ui.runUntil(*program, done, limit);
    }

    // Declared first, so that the program goes before what it uses.
    ScratchFolder folder;
    UiLoop ui;
    QuietPlatform platform;
    SystemDevices devices{ui.poster(), folder / "dev", folder.path()};
    std::unique_ptr<Program> program;
};

}  // namespace tvl::testing
