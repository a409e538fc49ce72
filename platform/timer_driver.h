// How the platform drives a model Timer whose ticks move bytes (tmrTarvoline,
// Interval 1). While the timer is enabled and bytes wait, ticks run back to
// back, each one exactly one tick of the handler, in slices of a few
// milliseconds between which the event loop runs. A tick that would change
// nothing (no byte waits, and the handler's own per-tick work is done) is not
// run at all: a quiet line costs no wake-up. Bytes arriving bring the next
// slice at once, so a byte never waits for a clock; an event that leaves the
// handler work (a Setup that resets the counters) does the same. A tick that
// disables the timer ends its slice: no further tick runs.
//
// The driver decides; the platform keeps the clock: after each slice it
// schedules the next one as told, calls readable() when a port reports bytes,
// and asks due() after every event it runs.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>

namespace tvl {

class Timer;

class TimerDriver {
public:
    using Clock = std::function<std::chrono::nanoseconds()>;

    // work: true while a tick would change something (a port has bytes the
    // handler would take, or the handler's own per-tick work is still to do).
    TimerDriver(Timer& timer, std::function<bool()> work, Clock clock = steadyClock());

    enum class Next {
        Now,      // work is left: run the next slice once the event loop has had its turn
        Idle,     // nothing to do: no slice until bytes arrive or due() says otherwise
        Stopped,  // the timer is disabled: nothing to schedule until it is enabled again
    };

    // Runs the ticks that are due now: at least one if the timer is enabled,
    // then more while work is left and the slice lasts.
    Next runSlice();

    // Bytes arrived: whether the next slice should run at once (the timer is enabled).
    bool readable() const;
    // Whether a slice should run now: the timer is enabled and has work.
    bool due() const;

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
    // Ticks that took less than this since the last reading are fast, however few.
    static constexpr std::chrono::nanoseconds kQuickCall{10'000};

private:
    Timer& timer_;
    std::function<bool()> work_;
    Clock clock_;
    int stride_ = 1;  // ticks between readings of the clock
};

}  // namespace tvl
