// A port's input: the line thread appends what it read, the UI thread takes
// it. The count is an atomic so that asking costs no lock, and no lock is held
// across a system call.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstring>
#include <mutex>
#include <string>

namespace tvl {

class InputBuffer {
public:
    std::size_t count() const { return count_.load(); }

    void append(const char* bytes, std::size_t n) {
        std::lock_guard lock(mutex_);
        if (head_ > 0 && head_ >= bytes_.size() / 2) {  // reuse the taken front
            bytes_.erase(0, head_);
            head_ = 0;
        }
        bytes_.append(bytes, n);
        count_ = bytes_.size() - head_;
    }

    // Takes up to `max` bytes into `into`; `wasAtLimit` tells whether the
    // buffer held `limit` or more before, so the reader may read again.
    std::size_t take(char* into, std::size_t max, std::size_t limit, bool& wasAtLimit) {
        std::lock_guard lock(mutex_);
        wasAtLimit = count_ >= limit;
        const std::size_t n = std::min(max, bytes_.size() - head_);
        std::memcpy(into, bytes_.data() + head_, n);
        head_ += n;
        if (head_ == bytes_.size()) {
            bytes_.clear();
            head_ = 0;
        }
        count_ = bytes_.size() - head_;
        return n;
    }

private:
    std::mutex mutex_;
    std::string bytes_;
    std::size_t head_ = 0;
    std::atomic<std::size_t> count_{0};
};

}  // namespace tvl
