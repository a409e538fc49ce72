#include "components/stores/deferred_sync.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "components/stores/capture_store.h"

namespace tvl {

// A duplicated fd, closed when the last holder lets go: the thread can go on
// syncing it while the store moves on to another file.
struct DeferredSync::Target {
    int fd;
    std::string file;
    ~Target() { ::close(fd); }
    // An errno, 0 when synced.
    int sync() const { return ::fdatasync(fd) == 0 ? 0 : errno; }
};

DeferredSync::~DeferredSync() {
    {
        std::lock_guard lock(mutex_);
        stop_ = true;
    }
    wake_.notify_one();
    if (thread_.joinable()) thread_.join();
    if (pending_ && target_) target_->sync();
}

void DeferredSync::watch(int fd, const std::string& file) {
    std::shared_ptr<const Target> next;
    if (fd >= 0) {
        const int copy = ::fcntl(fd, F_DUPFD_CLOEXEC, 0);
        if (copy < 0) throw StoreError(file + ": cannot write: " + std::strerror(errno));
        next.reset(new Target{copy, file});
    }
    std::lock_guard lock(mutex_);
    if (!target_ || !next || target_->file != next->file) {  // a failure belongs to its file
        failure_.clear();
        failed_ = false;
    }
    target_ = std::move(next);
}

void DeferredSync::written() {
    if (pending_.exchange(true)) return;
    std::lock_guard lock(mutex_);
    if (!thread_.joinable()) thread_ = std::thread([this] { run(); });
    wake_.notify_one();
}

void DeferredSync::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        wake_.wait(lock, [&] { return stop_ || pending_; });
        // The writes of the next kDelay join this sync.
        if (wake_.wait_for(lock, kDelay, [&] { return stop_; })) return;
        const std::shared_ptr<const Target> target = target_;
        pending_ = false;
        if (!target) continue;
        lock.unlock();
        const int error = target->sync();
        lock.lock();
        if (error && target == target_ && !failed_) {
            failure_ = target->file + ": cannot write: " + std::strerror(error);
            failed_ = true;
        }
    }
}

void DeferredSync::syncNow() {
    check();
    std::shared_ptr<const Target> target;
    {
        std::lock_guard lock(mutex_);
        target = target_;
    }
    pending_ = false;
    if (!target) return;
    if (const int error = target->sync())
        throw StoreError(target->file + ": cannot write: " + std::strerror(error));
}

void DeferredSync::check() const {
    if (!failed_) return;
    std::lock_guard lock(mutex_);
    throw StoreError(failure_);
}

}  // namespace tvl
