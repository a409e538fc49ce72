// DeferredSync: makes a store's writes durable in the background, so that a
// record costs its write and not a wait for the disk. The store writes on its
// own thread (a kill of the program then loses nothing already written) and
// tells this of each write; one fdatasync, at most kDelay after the first
// write it has not yet covered, covers every write made meanwhile (group
// commit). A failed sync is kept and thrown as a StoreError by check() and
// syncNow(), on the store's thread.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace tvl {

class DeferredSync {
public:
    static constexpr std::chrono::milliseconds kDelay{50};

    DeferredSync() = default;
    ~DeferredSync();  // syncs what is pending
    DeferredSync(const DeferredSync&) = delete;
    DeferredSync& operator=(const DeferredSync&) = delete;

    // The file whose writes are synced from now on, by a duplicate of fd (the
    // caller keeps and closes its own); -1 for none. A write still pending is
    // synced through the new fd: the caller syncs a file it leaves.
    void watch(int fd, const std::string& file);
    // A write was made: it reaches the disk within kDelay.
    void written();
    // Syncs now, on the caller's thread. Throws StoreError.
    void syncNow();
    // Throws the StoreError of a failed background sync.
    void check() const;

private:
    struct Target;
    void run();

    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::shared_ptr<const Target> target_;
    std::string failure_;  // the message of a failed background sync
    std::atomic<bool> failed_{false};
    std::atomic<bool> pending_{false};
    bool stop_ = false;
    std::thread thread_;
};

}  // namespace tvl
