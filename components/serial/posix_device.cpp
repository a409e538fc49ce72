#include "components/serial/posix_device.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "components/serial/device_list.h"
#include "components/serial/line_tap.h"
#include "components/serial/termios_line.h"

namespace tvl {

namespace {
using Clock = std::chrono::steady_clock;
constexpr auto kModemInterval = std::chrono::milliseconds(10);
constexpr auto kHungRetry = std::chrono::milliseconds(250);
// On close, queued output goes on reaching the fd for as long as the fd takes
// it: the close waits until it has taken nothing for kCloseDrain, and no longer
// than kCloseDrainAtMost in all, so that a stuck line cannot hold the end up.
constexpr auto kCloseDrain = std::chrono::milliseconds(100);
constexpr auto kCloseDrainAtMost = std::chrono::seconds(2);
constexpr std::size_t kReadChunk = 64 * 1024;
constexpr int kReadsPerWake = 16;

bool vanished(int error) {
    return error == EIO || error == ENXIO || error == ENODEV || error == EBADF || error == EPIPE;
}

// A ppoll timeout: what is left until `when`, zero when it has passed.
timespec timeUntil(Clock::time_point when) {
    const auto left = std::max(Clock::duration::zero(), when - Clock::now());
    const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
    return timespec{static_cast<time_t>(ns / 1'000'000'000), static_cast<long>(ns % 1'000'000'000)};
}

// Opens a device node for this program alone: its fd, or -errno.
int openExclusive(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return -errno;
    // flock holds against every other opener, also one with the rights to pass TIOCEXCL.
    int error = flock(fd, LOCK_EX | LOCK_NB) != 0 ? errno : 0;
    // Another program's exclusive hold keeps out an ordinary user at open, but
    // not the administrator: it is asked for, so that the line is never shared.
    int excluded = 0;
    if (!error && ioctl(fd, TIOCGEXCL, &excluded) == 0 && excluded) error = EBUSY;
    if (!error && ioctl(fd, TIOCEXCL) != 0) error = ENOTTY;
    if (!error) return fd;
    ::close(fd);
    return -error;
}

std::string refusal(const std::string& path, int error) {
    switch (error) {
        case ENOENT:
        case ENXIO:
        case ENODEV:
            return path + ": no such device";
        case EBUSY:
        case EWOULDBLOCK: {
            const std::string holder = holderOf(path);
            return path + " is used by another program" +
                   (holder.empty() ? "" : " (" + holder + ")");
        }
        case EACCES:
        case EPERM:
            return path + ": permission denied (the user may need to be in the dialout group)";
        case ENOTTY:
            return path + " is not a serial line";
        default:
            return path + ": " + std::strerror(error);
    }
}

// A device that is not there yet: opening its path again later may work.
bool notBackYet(int error) { return vanished(error) || error == ENOENT; }

std::string lossReason(int error) {
    switch (error) {
        case 0:
            return "the line hung up";
        case EIO:
            return "input/output error (unplugged or reset)";
        case ENXIO:
        case ENODEV:
            return "the device was removed";
        default:
            return std::strerror(error);
    }
}
}  // namespace

// What a posted call may touch: it outlives the device.
struct PosixDevice::Shared {
    DeviceEvents events;
    std::atomic<bool> alive{true};
    std::atomic<bool> readablePending{false};
};

PosixDevice::PosixDevice(int fd, std::string name, DeviceEvents events, Poster poster)
    : fd_(fd),
      name_(std::move(name)),
      poster_(std::move(poster)),
      shared_(std::make_shared<Shared>()),
      tap_(events.tap) {
    shared_->events = std::move(events);
}

std::unique_ptr<PosixDevice> PosixDevice::open(const std::string& path, const LineSettings& line,
                                               bool dtr, bool rts, DeviceEvents events,
                                               Poster poster, std::string name) {
    const int fd = openExclusive(path);
    if (fd < 0) throw SerialError(refusal(path, -fd));
    std::unique_ptr<PosixDevice> device(new PosixDevice(fd, name.empty() ? path : std::move(name),
                                                        std::move(events), std::move(poster)));
    device->path_ = path;
    device->start(line, dtr, rts);  // the destructor closes the fd if this throws
    return device;
}

std::unique_ptr<PosixDevice> PosixDevice::adopt(int fd, std::string name, const LineSettings& line,
                                                bool dtr, bool rts, DeviceEvents events,
                                                Poster poster) {
    std::unique_ptr<PosixDevice> device(
        new PosixDevice(fd, std::move(name), std::move(events), std::move(poster)));
    device->start(line, dtr, rts);  // the destructor closes the fd if this throws
    return device;
}

void PosixDevice::start(const LineSettings& line, bool dtr, bool rts) {
    const int flags = fcntl(fd_, F_GETFL);
    if (flags < 0 || fcntl(fd_, F_SETFL, flags | O_NONBLOCK) != 0)
        throw SerialError(name_ + ": " + std::strerror(errno));
    line_ = line;
    found_ = saveLine(fd_);
    applyLine(fd_, line, isPseudoTerminal(fd_), name_);

    int bits = 0;
    modemLines_ = ioctl(fd_, TIOCMGET, &bits) == 0;  // ENOTTY on a pseudo-terminal
    if (modemLines_) modem_ = modemBitsOf(bits);
    setDTR(dtr);
    setRTS(rts);

    wake_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (wake_ < 0) throw SerialError(name_ + ": " + std::strerror(errno));
    thread_ = std::thread([this] { run(); });
}

PosixDevice::~PosixDevice() {
    shared_->alive = false;
    stop_ = true;
    if (thread_.joinable()) {
        wake();
        thread_.join();
    }
    if (wake_ >= 0) ::close(wake_);
    if (!hungUp_) {
        restoreLine(fd_, found_);
        ioctl(fd_, TIOCNXCL);  // others may open it again, also while another holder stays
    }
    ::close(fd_);
}

std::size_t PosixDevice::inBufferCount() const { return in_.count(); }

std::size_t PosixDevice::read(char* into, std::size_t max) {
    bool wasFull;
    const std::size_t n = in_.take(into, max, kInputLimit, wasFull);
    // The line thread stopped reading at the limit: there is room again.
    if (wasFull && n > 0) wake();
    return n;
}

std::size_t PosixDevice::outBufferCount() const { return outCount_.load(); }

void PosixDevice::write(std::string_view bytes) {
    if (bytes.empty()) return;
    bool wasEmpty;
    {
        std::lock_guard lock(outMutex_);
        // Asked under the lock: a hang-up empties the queue under it, so no
        // byte is left queued behind a lost line for the next device.
        if (hungUp_) {
            undelivered_ += bytes.size();
            return;
        }
        // Nothing queued: the fd takes what it can from this thread at once,
        // so that bytes reach the line without waking the line thread. The
        // rest is queued; a line that failed is found out by the line thread.
        if (outCount_.load() == 0) {
            int failed;
            bytes.remove_prefix(writeNow(bytes, failed));
            if (bytes.empty()) return;
        }
        const std::size_t queued = outCount_.load();
        const std::size_t room = queued < outputLimit_ ? outputLimit_ - queued : 0;
        if (bytes.size() > room) {
            dropped_ += bytes.size() - room;
            bytes = bytes.substr(0, room);
            if (bytes.empty()) return;
        }
        out_.append(bytes);
        wasEmpty = outCount_.fetch_add(bytes.size()) == 0;
    }
    // While bytes are queued the thread is watching for POLLOUT anyway.
    if (wasEmpty) wake();
}

// A pseudo-terminal has no modem lines, and a lost line takes the level when
// it comes back; a line that vanishes meanwhile is reported by the line thread.
void PosixDevice::setLine(int bit, bool on) {
    if (hungUp_ || !modemLines_ || ioctl(fd_, on ? TIOCMBIS : TIOCMBIC, &bit) == 0) return;
    if (vanished(errno)) return;
    throw SerialError(name_ + " refuses to turn " + (bit == TIOCM_DTR ? "DTR" : "RTS") +
                      (on ? " on: " : " off: ") + std::strerror(errno));
}

void PosixDevice::setDTR(bool on) {
    dtr_ = on;
    setLine(TIOCM_DTR, on);
}

void PosixDevice::setRTS(bool on) {
    rts_ = on;
    setLine(TIOCM_RTS, on);
}

void PosixDevice::wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] auto written = ::write(wake_, &one, sizeof one);
}

void PosixDevice::run() {
    auto nextModem = Clock::now() + kModemInterval;
    auto nextRetry = Clock::now();
    Clock::time_point drainUntil{}, drainEnd{};
    for (;;) {
        const std::size_t queued = outBufferCount();
        const bool pending = queued > 0;
        if (stop_) {
            if (drainEnd == Clock::time_point{}) {
                drainUntil = Clock::now() + kCloseDrain;
                drainEnd = Clock::now() + kCloseDrainAtMost;
            }
            if (!pending || hungUp_ || Clock::now() >= std::min(drainUntil, drainEnd)) break;
        }
        const bool hung = hungUp_;
        // At the input limit the fd rests, even for a hang-up or for output,
        // until the program takes input (which wakes the thread); what the line
        // says meanwhile is read later, in order. Only the close writes past it.
        const bool full = inBufferCount() >= kInputLimit;
        const bool rest = hung || (full && !stop_);
        const short events = (full ? 0 : POLLIN) | (pending ? POLLOUT : 0);
        pollfd fds[2] = {{wake_, POLLIN, 0}, {rest ? -1 : fd_, events, 0}};
        Clock::time_point until = Clock::time_point::max();
        if (modemLines_) until = std::min(until, nextModem);
        if (hung) until = std::min(until, nextRetry);
        if (stop_) until = std::min({until, drainUntil, drainEnd});

        timespec wait{};
        const bool timed = until != Clock::time_point::max();
        if (timed) wait = timeUntil(until);
        const int ready = ::ppoll(fds, 2, timed ? &wait : nullptr, nullptr);
        ++wakeups_;
        if (ready < 0 && errno != EINTR) {
            // Not expected with valid fds; never spin on it.
            std::this_thread::sleep_for(kModemInterval);
            continue;
        }
        if (fds[0].revents & POLLIN) {
            std::uint64_t count;
            [[maybe_unused]] auto got = ::read(wake_, &count, sizeof count);
        }
        if (!hung) {
            if (!full && (fds[1].revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL)))
                readAvailable(fds[1].revents);
            if (!hungUp_ && (fds[1].revents & POLLOUT)) {
                writeQueued();
                if (stop_ && outBufferCount() < queued) drainUntil = Clock::now() + kCloseDrain;
            }
        } else if (Clock::now() >= nextRetry) {
            comeBack();
            nextRetry = Clock::now() + kHungRetry;
        }
        if (modemLines_ && Clock::now() >= nextModem) {
            pollModem();
            nextModem = Clock::now() + kModemInterval;
        }
    }
}

void PosixDevice::readAvailable(short revents) {
    char chunk[kReadChunk];
    std::size_t total = 0;
    for (int i = 0; i < kReadsPerWake; ++i) {
        const std::size_t room = kInputLimit - std::min(kInputLimit, inBufferCount());
        if (room == 0) break;
        const ssize_t n = ::read(fd_, chunk, std::min(room, sizeof chunk));
        if (n > 0) {
            if (tap_) tap_->received({chunk, static_cast<std::size_t>(n)}, levels());
            in_.append(chunk, static_cast<std::size_t>(n));
            total += static_cast<std::size_t>(n);
            continue;
        }
        if (n == 0) {  // end of file: the other end hung up
            hangUp(0);
        } else if (errno == EINTR) {
            continue;
        } else if (errno == EAGAIN) {
            if (revents & (POLLHUP | POLLERR | POLLNVAL)) hangUp(0);
        } else {
            hangUp(errno);  // EIO, ENXIO, ENODEV and anything unexpected alike
        }
        break;
    }
    if (total == 0 || shared_->readablePending.exchange(true)) return;
    poster_([shared = shared_] {
        shared->readablePending = false;
        if (shared->alive && shared->events.readable) shared->events.readable();
    });
}

LineLevels PosixDevice::levels() const { return {modem_.load(), dtr_.load(), rts_.load()}; }

void PosixDevice::post(std::function<void(const DeviceEvents&)> event) {
    poster_([shared = shared_, event = std::move(event)] {
        if (shared->alive) event(shared->events);
    });
}

void PosixDevice::writeQueued() {
    if (sendingHead_ == sending_.size()) {
        sending_.clear();
        sendingHead_ = 0;
        std::lock_guard lock(outMutex_);
        sending_.swap(out_);
    }
    int error = 0;
    const std::size_t n = writeNow(std::string_view(sending_).substr(sendingHead_), error);
    sendingHead_ += n;
    outCount_ -= n;
    if (error) hangUp(error);  // EIO, ENXIO, ENODEV: nothing takes the bytes
}

std::size_t PosixDevice::writeNow(std::string_view bytes, int& error) {
    error = 0;
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd_, bytes.data() + done, bytes.size() - done);
        if (n > 0) {
            if (tap_) tap_->transmitted(bytes.substr(done, std::size_t(n)), levels());
            done += static_cast<std::size_t>(n);
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            if (n < 0 && errno != EAGAIN) error = errno;
            break;
        }
    }
    return done;
}

void PosixDevice::hangUp(int error) {
    if (hungUp_.exchange(true)) return;
    {
        std::lock_guard lock(outMutex_);
        undelivered_ += outCount_.load();
        out_.clear();
        sending_.clear();
        sendingHead_ = 0;
        outCount_ = 0;
    }
    if (!path_.empty()) {
        // Let go of the node, keeping the fd's number (CommID) for the return.
        const int null = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        if (null >= 0) {
            dup3(null, fd_, O_CLOEXEC);
            ::close(null);
        }
        modemLines_ = false;
    }
    post([why = name_ + ": " + lossReason(error)](const DeviceEvents& events) {
        if (events.lost) events.lost(why);
    });
}

void PosixDevice::comeBack() {
    if (path_.empty()) {
        // A master end is back when its far end is open again.
        pollfd probe{fd_, POLLIN, 0};
        if (::poll(&probe, 1, 0) < 0 || (probe.revents & (POLLHUP | POLLERR | POLLNVAL))) return;
        hungUp_ = false;
        post([](const DeviceEvents& events) {
            if (events.back) events.back();
        });
        return;
    }
    const int fd = openExclusive(path_);
    std::string why;
    if (fd >= 0) {
        try {
            takeBack(fd);
            return;
        } catch (const SerialError& refused) {
            why = refused.what();
        }
    } else if (!notBackYet(-fd)) {
        why = refusal(path_, -fd);
    }
    if (why.empty() || why == lastRefusal_) return;
    lastRefusal_ = why;  // told once; the path is tried again all the same
    post([why = "the device is back but cannot be taken: " + why](const DeviceEvents& events) {
        if (events.lost) events.lost(why);
    });
}

// The node at the path opened again: it takes the line settings and the
// DTR/RTS levels, then the place of the lost fd. Throws SerialError (and
// closes fd) when the device refuses them.
void PosixDevice::takeBack(int fd) {
    const FoundLine found = saveLine(fd);
    int bits = 0;
    bool lines = false;
    try {
        applyLine(fd, line_, isPseudoTerminal(fd), name_);
        lines = ioctl(fd, TIOCMGET, &bits) == 0;
        int dtr = TIOCM_DTR, rts = TIOCM_RTS;
        if (lines && (ioctl(fd, dtr_ ? TIOCMBIS : TIOCMBIC, &dtr) != 0 ||
                      ioctl(fd, rts_ ? TIOCMBIS : TIOCMBIC, &rts) != 0))
            throw SerialError(name_ + " refuses its DTR/RTS levels: " + std::strerror(errno));
    } catch (const SerialError&) {
        ::close(fd);
        throw;
    }
    dup3(fd, fd_, O_CLOEXEC);
    ::close(fd);
    found_ = found;
    modemLines_ = lines;  // lines that changed meanwhile are raised by the next poll
    lastRefusal_.clear();
    hungUp_ = false;
    post([](const DeviceEvents& events) {
        if (events.back) events.back();
    });
}

void PosixDevice::pollModem() {
    int bits = 0;
    if (ioctl(fd_, TIOCMGET, &bits) != 0) {
        if (vanished(errno)) hangUp(errno);
        return;
    }
    const std::uint32_t now = modemBitsOf(bits);
    const std::uint32_t before = modem_.exchange(now);
    if (tap_ && before != now) tap_->changed(levels());
    for (int code : modemChanges(before, now)) {
        poster_([shared = shared_, code] {
            if (shared->alive && shared->events.modemChanged) shared->events.modemChanged(code);
        });
    }
}

}  // namespace tvl
