// Driving the pump's timer: back-to-back ticks while bytes wait, bounded
// slices, the nominal interval when idle, and a Stop that ends the batch.
#include <gtest/gtest.h>

#include "platform/form.h"
#include "platform/timer_driver.h"

namespace tvl {
namespace {

using namespace std::chrono_literals;

struct Rig {
    Rig() {
        timer = form.add<Timer>(nullptr, "tmrTarvoline");
        timer->Interval = 1;
        timer->Enabled = true;
        // Each tick takes one waiting byte and costs 10 µs of the fake clock.
        timer->Tick = [this] {
            ++ticks;
            if (waiting > 0) --waiting;
            now += tickCost;
            if (stopAt && ticks == stopAt) timer->Enabled = false;
        };
    }
    TimerDriver driver() {
        return TimerDriver(
            *timer, [this] { return waiting > 0; },
            [this] {
                ++clockReads;
                return now;
            });
    }
    Form form{"FrmMain"};
    Timer* timer;
    int waiting = 0;
    int ticks = 0;
    int stopAt = 0;
    std::chrono::nanoseconds tickCost = 10us;
    std::chrono::nanoseconds now{};
    int clockReads = 0;
};

TEST(TimerDriver, TicksBackToBackWhileBytesWaitInBoundedSlicesUntilAStop) {
    Rig r;
    TimerDriver d = r.driver();
    r.waiting = 1000;
    // A 4 ms slice at 10 µs a tick: 400 ticks, then the event loop's turn.
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Now);
    EXPECT_EQ(r.ticks, 400);
    EXPECT_EQ(r.waiting, 600);
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Now);
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Interval);  // the last 200 go in this one
    EXPECT_EQ(r.waiting, 0);
    EXPECT_EQ(r.ticks, 1000);
    EXPECT_EQ(d.ticks, 1000u);
    EXPECT_EQ(d.slices, 3u);
    // A slow tick still runs alone: a slice always gets at least one.
    r.waiting = 2;
    r.tickCost = 5ms;
    d.runSlice();
    EXPECT_EQ(r.ticks, 1001);
    // Nothing waits: still one tick, so the handler's own rules run at the
    // nominal rate. A stopped timer ticks not at all and the port is not
    // watched: the bytes wait there until the next Start.
    r.waiting = 0;
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Interval);
    EXPECT_EQ(r.ticks, 1002);
    EXPECT_TRUE(d.readable());
    r.timer->Enabled = false;
    r.waiting = 5;
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Stopped);
    EXPECT_EQ(r.ticks, 1002);
    EXPECT_EQ(r.waiting, 5);
    EXPECT_FALSE(d.readable());

    // A watched text passes on the seventh tick of a slice: the batch ends there.
    Rig stopping;
    stopping.waiting = 100;
    stopping.stopAt = 7;
    EXPECT_EQ(stopping.driver().runSlice(), TimerDriver::Next::Stopped);
    EXPECT_EQ(stopping.ticks, 7);
    EXPECT_EQ(stopping.waiting, 93);
}

TEST(TimerDriver, FastTicksReadTheClockSeldomYetKeepTheSliceWhenTheyTurnSlow) {
    Rig r;
    TimerDriver d = r.driver();
    r.tickCost = 100ns;
    r.waiting = 1'000'000;
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Now);
    // 4 ms of 100 ns ticks, give or take the ticks counted off between readings.
    EXPECT_GE(r.ticks, 40'000);
    EXPECT_LE(r.ticks, 40'000 + TimerDriver::kMaxStride);
    EXPECT_LT(r.clockReads, r.ticks / 8);

    // Ticks that turn slow in the middle of a slice (a capture record written
    // to disk) still end it: at most one stride of ticks past its length.
    r.ticks = 0;
    r.timer->Tick = [&] {
        ++r.ticks;
        --r.waiting;
        r.now += r.ticks <= 20'000 ? 100ns : 1ms;
    };
    d.runSlice();
    EXPECT_GE(r.ticks, 20'002);
    EXPECT_LE(r.ticks, 20'000 + TimerDriver::kMaxStride);
}

}  // namespace
}  // namespace tvl
