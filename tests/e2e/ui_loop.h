// The user-interface thread of a test: runs what the line threads post, and
// ticks tmrTarvoline back to back while bytes wait, as the desktop would.
#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/serial/serial_port.h"
#include "line/transfer_pump.h"

namespace tvl::test {

class UiLoop {
public:
    Poster poster() {
        return [this](std::function<void()> f) {
            {
                std::lock_guard lock(mutex_);
                posted_.push_back(std::move(f));
            }
            wake_.notify_one();
        };
    }

    // Runs until done() holds or the limit passes; false on the limit.
    bool runUntil(Program& program, const std::function<bool()>& done,
                  std::chrono::milliseconds limit) {
        const auto end = std::chrono::steady_clock::now() + limit;
        while (!done()) {
            if (std::chrono::steady_clock::now() > end) return false;
            runPosted();
            Timer& timer = *program.FrmMain->tmrTarvoline;
            bool ticked = false;
            for (int i = 0; i < 4096 && timer.Enabled && bytesWaiting(program); ++i) {
                timer.fire();
                ticked = true;
            }
            if (!ticked) {
                std::unique_lock lock(mutex_);
                wake_.wait_for(lock, std::chrono::milliseconds(1),
                               [&] { return !posted_.empty(); });
            }
        }
        return true;
    }

private:
    void runPosted() {
        std::deque<std::function<void()>> now;
        {
            std::lock_guard lock(mutex_);
            now.swap(posted_);
        }
        for (auto& f : now) f();
    }

    std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<std::function<void()>> posted_;
};

}  // namespace tvl::test
