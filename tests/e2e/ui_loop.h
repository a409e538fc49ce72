// The user-interface thread of a test: the headless loop, driving the
// program's pump timer through its TimerDriver as the desktop does.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

#include "app/frm_main.h"
#include "app/program.h"
#include "line/transfer_pump.h"
#include "platform/headless_loop.h"

namespace tvl::test {

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

}  // namespace tvl::test
