// How the platform drives a model Timer whose ticks move bytes (tmrTarvoline,
// Interval 1). While the timer is enabled and bytes wait, ticks run back to
// back, each one exactly one tick of the handler, in slices of a few
// milliseconds between which the event loop runs. When nothing waits, ticks
// come at the nominal interval, and bytes arriving bring the next one forward,
// so a byte never waits for the clock. A tick that disables the timer ends its
// slice: no further tick runs.
//
// The driver decides; the platform keeps the clock: after each slice it
// schedules the next one as told, and it calls readable() when a port reports
// bytes.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace tvl {

class Timer;

class TimerDriver {
public:
    using Clock = std::function<std::chrono::nanoseconds()>;

    // bytesWaiting: true while a port has bytes the handler would take.
    TimerDriver(Timer& timer, std::function<bool()> bytesWaiting, Clock clock = steadyClock());

    enum class Next {
        Now,       // bytes still wait: run the next slice once the event loop has had its turn
        Interval,  // nothing waits: run the next slice after the timer's Interval
        Stopped,   // the timer is disabled: nothing to schedule until it is enabled again
    };

    // Runs the ticks that are due now: at least one if the timer is enabled,
    // then more while bytes wait and the slice lasts.
    Next runSlice();

    // Bytes arrived: whether the next slice should run at once (the timer is enabled).
    bool readable() const;

    // How long one slice may go on ticking.
    std::chrono::nanoseconds slice = std::chrono::milliseconds(4);

    // Figures for benchmarks: ticks and slices run so far.
    std::uint64_t ticks = 0;
    std::uint64_t slices = 0;

    static Clock steadyClock();

    // Ticks faster than this are counted off between readings of the clock,
    // up to kMaxStride of them: a slice overruns by at most that many ticks.
    static constexpr std::chrono::nanoseconds kFastTick{1000};
    static constexpr int kMaxStride = 1024;

private:
    Timer& timer_;
    std::function<bool()> bytesWaiting_;
    Clock clock_;
};

}  // namespace tvl
