// Driving the pump's timer: back-to-back ticks while bytes wait, bounded
// slices, no tick at all while there is nothing to do, and a Stop that ends
// the batch.
#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "platform/form.h"
#include "platform/quiet_platform.h"
#include "platform/timer_driver.h"
#include "tests/support/program_on_lines.h"

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
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Idle);  // the last 200 go in this one
    EXPECT_EQ(r.waiting, 0);
    EXPECT_EQ(r.ticks, 1000);
    EXPECT_EQ(d.ticks, 1000u);
    EXPECT_EQ(d.slices, 3u);
    // A slow tick still runs alone: a slice always gets at least one.
    r.waiting = 2;
    r.tickCost = 5ms;
    d.runSlice();
    EXPECT_EQ(r.ticks, 1001);
    // Nothing waits: no slice is due, and one run anyway (bytes reported and
    // already taken) is one tick and then idle. Bytes arriving make it due.
    r.waiting = 0;
    EXPECT_FALSE(d.due());
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Idle);
    EXPECT_EQ(r.ticks, 1002);
    EXPECT_TRUE(d.readable());
    r.waiting = 1;
    EXPECT_TRUE(d.due());
    // A stopped timer ticks not at all and the port is not watched: the bytes
    // wait there until the next Start.
    r.timer->Enabled = false;
    r.waiting = 5;
    EXPECT_FALSE(d.due());
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

    // A slice starts at the stride the last one reached: the bytes of a chunk
    // that arrived at once reach a batched handler in one call.
    Rig batched;
    TimerDriver b = batched.driver();
    std::vector<int> asked;
    batched.timer->Ticks = [&](int n) {
        asked.push_back(n);
        const int ran = std::max(1, std::min(n, batched.waiting));
        batched.waiting = std::max(0, batched.waiting - ran);
        batched.now += ran * 100ns;
        return ran;
    };
    batched.waiting = 5000;
    EXPECT_EQ(b.runSlice(), TimerDriver::Next::Idle);
    asked.clear();
    batched.waiting = 115;
    EXPECT_EQ(b.runSlice(), TimerDriver::Next::Idle);
    ASSERT_EQ(asked.size(), 1u);
    EXPECT_GE(asked[0], 115);

    // A call that costs 3 µs whatever its ticks (its output written to the
    // line) is asked for more ticks at a time all the same: 100,000 fast
    // ticks go in one slice, not 1,300 of them one call each.
    Rig writing;
    TimerDriver w = writing.driver();
    writing.timer->Ticks = [&](int n) {
        const int ran = std::max(1, std::min(n, writing.waiting));
        writing.waiting -= ran;
        writing.now += 3us + ran * 30ns;
        return ran;
    };
    writing.waiting = 100'000;
    EXPECT_EQ(w.runSlice(), TimerDriver::Next::Idle);
}

// The pump's timer in a Host-mode run: due when a Setup left the receive
// counters to reset (a key typed before the first tick counted into them) or
// when a port has bytes, and otherwise not run at all.
TEST(TimerDriver, APumpWithNothingToDoIsNeverDueYetResetsAndRelaysWhenItHasWork) {
    testing::ProgramOnLines<QuietPlatform> rig;
    rig.make();
    FrmMain& f = rig.start();
    rig.openPorts();
    Program& p = *rig.program;
    SharedState& s = p.state;
    s.OperationMode = 1;
    s.CounterInitDone[1] = 0;
    s.ReceiveCount[0] = 7;
    Timer& timer = *f.tmrTarvoline;
    timer.Enabled = true;
    TimerDriver d(timer, [&p] { return tickHasWork(p); });
    ASSERT_TRUE(d.due());
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Idle);
    EXPECT_EQ(s.ReceiveCount[0], 0);
    EXPECT_FALSE(d.due());

    rig.line1.feed("AB");
    rig.line2.feed("C");
    ASSERT_TRUE(d.due());
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Idle);
    EXPECT_EQ(rig.line2.takeWritten(), "AB");
    EXPECT_EQ(rig.line1.takeWritten(), "C");
    EXPECT_EQ(f.txtCommunication[0]->Text(), "AB");
    EXPECT_EQ(s.ReceiveCount[0], 2);
    EXPECT_FALSE(d.due());
    const std::uint64_t ticks = d.ticks;
    timer.Enabled = false;
    rig.line1.feed("D");  // waits for the next Start
    EXPECT_FALSE(d.due());
    EXPECT_EQ(d.runSlice(), TimerDriver::Next::Stopped);
    EXPECT_EQ(d.ticks, ticks);
}

}  // namespace
}  // namespace tvl
