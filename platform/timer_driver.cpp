#include "platform/timer_driver.h"

#include <algorithm>

#include "platform/control.h"

namespace tvl {

TimerDriver::TimerDriver(Timer& timer, std::function<bool()> work, Clock clock)
    : timer_(timer), work_(std::move(work)), clock_(std::move(clock)) {}

TimerDriver::Clock TimerDriver::steadyClock() {
    return [] { return std::chrono::steady_clock::now().time_since_epoch(); };
}

TimerDriver::Next TimerDriver::runSlice() {
    if (!timer_.Enabled) return Next::Stopped;
    ++slices;
    const auto start = clock_();
    auto checked = start;
    // Reading the clock costs a fair part of a fast tick: while ticks take
    // under kFastTick each, the clock is read only every `stride` ticks, and
    // a timer that can run many ticks at once is asked for them in one call.
    // A call that cost a few microseconds whatever its ticks (its output
    // written to the line) counts as fast, so a fixed cost per call does not
    // hold the stride at one tick a call.
    // The stride carries over from the last slice, so that the bytes of a
    // chunk that arrived at once go through in one call, not in doubling runs.
    int& stride = stride_;
    int left = stride;
    for (;;) {
        const int ran = timer_.fire(left);
        ticks += static_cast<std::uint64_t>(ran);
        left -= ran;
        if (!timer_.Enabled || !work_()) break;
        if (left > 0) continue;
        const auto now = clock_();
        if (now - start >= slice) break;
        const auto took = now - checked;
        stride = took < kQuickCall || took < stride * kFastTick ? std::min(stride * 2, kMaxStride) : 1;
        left = stride;
        checked = now;
    }
    if (!timer_.Enabled) return Next::Stopped;
    return work_() ? Next::Now : Next::Idle;
}

bool TimerDriver::readable() const { return timer_.Enabled; }

bool TimerDriver::due() const { return timer_.Enabled && work_(); }

}  // namespace tvl
