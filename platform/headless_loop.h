// The event loop of the program without a window, for tests, benchmarks and
// tools: it runs what other threads post, in the order posted, and drives
// the pump's timer through its TimerDriver as the desktop does (a slice of
// ticks when due, the next slice at once while work is left, none while the
// timer has nothing to do, at once when a port reports bytes).
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>

#include "platform/timer_driver.h"

namespace tvl {

class HeadlessLoop {
public:
    using Call = std::function<void()>;
    using Clock = std::chrono::steady_clock;

    // What other threads post through (a serial port's Poster).
    std::function<void(Call)> poster();

    // From now on the loop drives this timer.
    void drive(TimerDriver& driver);
    // A port reported bytes: the next slice runs at once if the timer is enabled.
    void readable();
    // The timer was enabled from outside the loop's ticks: a slice is due now.
    void timerEnabled();

    // Runs until `done` holds (asked between steps) or `limit` passes; false on the limit.
    bool runUntil(const std::function<bool()>& done,
                  std::chrono::milliseconds limit = std::chrono::seconds(10));
    // Runs until `stop` holds; wake() makes a waiting loop look at it.
    void run(const std::atomic<bool>& stop);
    void wake();

    // Runs what is posted now; how many calls ran.
    std::size_t runPosted();
    // Calls posted and not yet run; calls posted since the loop was made.
    std::size_t waiting() const;
    std::uint64_t posted() const;

private:
    // One step: the due slice, or else a wait until something is due or posted.
    void step(Clock::time_point latest, const std::function<bool()>& woken);

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::deque<Call> calls_;
    std::uint64_t posted_ = 0;
    TimerDriver* driver_ = nullptr;
    bool due_ = false;  // a slice is to run once posted calls have run
};

}  // namespace tvl
