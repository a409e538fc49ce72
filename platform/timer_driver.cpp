#include "platform/timer_driver.h"

#include "platform/control.h"

namespace tvl {

TimerDriver::TimerDriver(Timer& timer, std::function<bool()> bytesWaiting, Clock clock)
    : timer_(timer), bytesWaiting_(std::move(bytesWaiting)), clock_(std::move(clock)) {}

TimerDriver::Clock TimerDriver::steadyClock() {
    return [] { return std::chrono::steady_clock::now().time_since_epoch(); };
}

TimerDriver::Next TimerDriver::runSlice() {
    if (!timer_.Enabled) return Next::Stopped;
    ++slices;
    const auto start = clock_();
    do {
        timer_.fire();
        ++ticks;
    } while (timer_.Enabled && bytesWaiting_() && clock_() - start < slice);
    if (!timer_.Enabled) return Next::Stopped;
    return bytesWaiting_() ? Next::Now : Next::Interval;
}

bool TimerDriver::readable() const { return timer_.Enabled; }

}  // namespace tvl
