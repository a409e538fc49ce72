#include "platform/headless_loop.h"

#include <algorithm>

namespace tvl {

std::function<void(HeadlessLoop::Call)> HeadlessLoop::poster() {
    return [this](Call call) {
        {
            std::lock_guard lock(mutex_);
            calls_.push_back(std::move(call));
            ++posted_;
        }
        wake_.notify_one();
    };
}

void HeadlessLoop::drive(TimerDriver& driver) {
    driver_ = &driver;
    due_ = true;
}

void HeadlessLoop::readable() {
    if (driver_ && driver_->readable()) due_ = true;
}

void HeadlessLoop::timerEnabled() { due_ = true; }

std::size_t HeadlessLoop::runPosted() {
    std::deque<Call> now;
    {
        std::lock_guard lock(mutex_);
        now.swap(calls_);
    }
    for (auto& call : now) call();
    return now.size();
}

std::size_t HeadlessLoop::waiting() const {
    std::lock_guard lock(mutex_);
    return calls_.size();
}

std::uint64_t HeadlessLoop::posted() const {
    std::lock_guard lock(mutex_);
    return posted_;
}

void HeadlessLoop::step(Clock::time_point latest, const std::function<bool()>& woken) {
    // What ran since the last slice (a posted call, or the caller between
    // steps) may have given the timer work: the driver is asked every step.
    if (driver_ && (due_ || driver_->due())) {
        due_ = driver_->runSlice() == TimerDriver::Next::Now;
        return;
    }
    std::unique_lock lock(mutex_);
    wake_.wait_until(lock, latest, [&] { return !calls_.empty() || woken(); });
}

bool HeadlessLoop::runUntil(const std::function<bool()>& done, std::chrono::milliseconds limit) {
    const auto end = Clock::now() + limit;
    for (;;) {
        runPosted();
        if (done()) return true;
        const auto now = Clock::now();
        if (now >= end) return false;
        // Waits are short so that `done` is asked again soon.
        step(std::min(end, now + std::chrono::milliseconds(5)), [] { return false; });
    }
}

void HeadlessLoop::run(const std::atomic<bool>& stop) {
    while (!stop) {
        runPosted();
        step(Clock::now() + std::chrono::milliseconds(50), [&] { return bool(stop); });
    }
}

void HeadlessLoop::wake() {
    { std::lock_guard lock(mutex_); }
    wake_.notify_one();
}

}  // namespace tvl
