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

#include "components/serial/termios_line.h"

namespace tvl {

namespace {
using Clock = std::chrono::steady_clock;
constexpr auto kModemInterval = std::chrono::milliseconds(10);
constexpr auto kHungRetry = std::chrono::milliseconds(250);
// On close, queued output gets this long to reach the fd.
constexpr auto kCloseDrain = std::chrono::milliseconds(100);
// The pump writes one byte per tick and port. While a run of bytes is under
// way (the last write took more than one byte), output woken for the next
// byte is held this long, input still read meanwhile, so that the run goes out
// in a few large writes instead of one system call and one thread switch per
// byte. A lone byte goes out at once. (Timers make the hold last 100-150 us.)
constexpr auto kGatherOutput = std::chrono::microseconds(50);
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

[[noreturn]] void refuseOpen(const std::string& path, int error) {
    switch (error) {
        case ENOENT:
        case ENXIO:
        case ENODEV:
            throw SerialError(path + ": no such device");
        case EBUSY:
        case EWOULDBLOCK:
            throw SerialError(path + " is used by another program");
        case EACCES:
        case EPERM:
            throw SerialError(path + ": permission denied (the user may need to be in the " +
                              "dialout group)");
        default:
            throw SerialError(path + ": " + std::strerror(error));
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
      shared_(std::make_shared<Shared>()) {
    shared_->events = std::move(events);
}

std::unique_ptr<PosixDevice> PosixDevice::open(const std::string& path, const LineSettings& line,
                                               bool dtr, bool rts, DeviceEvents events,
                                               Poster poster, std::string name) {
    const int fd = ::open(path.c_str(), O_RDWR | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) refuseOpen(path, errno);
    // flock holds against every other opener, also one with the rights to pass TIOCEXCL.
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        const int error = errno;
        ::close(fd);
        refuseOpen(path, error);
    }
    if (ioctl(fd, TIOCEXCL) != 0) {
        ::close(fd);
        throw SerialError(path + " is not a serial line");
    }
    return adopt(fd, name.empty() ? path : std::move(name), line, dtr, rts, std::move(events),
                 std::move(poster));
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
    ::close(fd_);
}

std::size_t PosixDevice::inBufferCount() const { return inCount_.load(); }

std::size_t PosixDevice::read(char* into, std::size_t max) {
    std::lock_guard lock(inMutex_);
    const std::size_t n = std::min(max, in_.size() - inHead_);
    std::memcpy(into, in_.data() + inHead_, n);
    inHead_ += n;
    if (inHead_ == in_.size()) {
        in_.clear();
        inHead_ = 0;
    }
    inCount_ = in_.size() - inHead_;
    return n;
}

std::size_t PosixDevice::outBufferCount() const { return outCount_.load(); }

void PosixDevice::write(std::string_view bytes) {
    if (bytes.empty() || hungUp_) return;
    bool wasEmpty;
    {
        std::lock_guard lock(outMutex_);
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

void PosixDevice::setLine(int bit, bool on) {
    ioctl(fd_, on ? TIOCMBIS : TIOCMBIC, &bit);  // a pseudo-terminal has no modem lines
}

void PosixDevice::setDTR(bool on) { setLine(TIOCM_DTR, on); }
void PosixDevice::setRTS(bool on) { setLine(TIOCM_RTS, on); }

void PosixDevice::wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] auto written = ::write(wake_, &one, sizeof one);
}

void PosixDevice::run() {
    auto nextModem = Clock::now() + kModemInterval;
    auto nextRetry = Clock::now();
    Clock::time_point drainUntil{};
    Clock::time_point holdUntil{};  // output gathers until then; input is read meanwhile
    for (;;) {
        const bool pending = outBufferCount() > 0;
        if (stop_) {
            if (drainUntil == Clock::time_point{}) drainUntil = Clock::now() + kCloseDrain;
            if (!pending || hungUp_ || Clock::now() >= drainUntil) break;
        }
        const bool hung = hungUp_;
        const bool holding = pending && !stop_ && Clock::now() < holdUntil;
        pollfd fds[2] = {
            {wake_, POLLIN, 0},
            {hung ? -1 : fd_, static_cast<short>(POLLIN | (pending && !holding ? POLLOUT : 0)), 0}};
        Clock::time_point until = Clock::time_point::max();
        if (modemLines_) until = std::min(until, nextModem);
        if (hung) until = std::min(until, nextRetry);
        if (stop_) until = std::min(until, drainUntil);
        if (holding) until = std::min(until, holdUntil);

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
            if (!pending && lastBatch_ > 1) holdUntil = Clock::now() + kGatherOutput;
        }
        if (!hung) {
            if (fds[1].revents & (POLLIN | POLLHUP | POLLERR | POLLNVAL))
                readAvailable(fds[1].revents);
            if (!hungUp_ && (fds[1].revents & POLLOUT)) writeQueued();
        } else if (Clock::now() >= nextRetry) {
            // A line that is back shows no hang-up any more.
            pollfd probe{fd_, POLLIN, 0};
            if (::poll(&probe, 1, 0) >= 0 && !(probe.revents & (POLLHUP | POLLERR | POLLNVAL)))
                hungUp_ = false;
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
        const ssize_t n = ::read(fd_, chunk, sizeof chunk);
        if (n > 0) {
            std::lock_guard lock(inMutex_);
            if (inHead_ > 0 && inHead_ >= in_.size() / 2) {
                in_.erase(0, inHead_);
                inHead_ = 0;
            }
            in_.append(chunk, static_cast<std::size_t>(n));
            inCount_ = in_.size() - inHead_;
            total += static_cast<std::size_t>(n);
            continue;
        }
        if (n == 0) {  // end of file: the other end hung up
            hangUp();
        } else if (errno == EINTR) {
            continue;
        } else if (errno == EAGAIN) {
            if (revents & (POLLHUP | POLLERR | POLLNVAL)) hangUp();
        } else {
            hangUp();  // EIO, ENXIO, ENODEV and anything unexpected alike
        }
        break;
    }
    if (total == 0 || shared_->readablePending.exchange(true)) return;
    poster_([shared = shared_] {
        shared->readablePending = false;
        if (shared->alive && shared->events.readable) shared->events.readable();
    });
}

void PosixDevice::writeQueued() {
    if (sendingHead_ == sending_.size()) {
        sending_.clear();
        sendingHead_ = 0;
        std::lock_guard lock(outMutex_);
        sending_.swap(out_);
        lastBatch_ = sending_.size();
    }
    while (sendingHead_ < sending_.size()) {
        const ssize_t n =
            ::write(fd_, sending_.data() + sendingHead_, sending_.size() - sendingHead_);
        if (n > 0) {
            sendingHead_ += static_cast<std::size_t>(n);
            outCount_ -= static_cast<std::size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno != EAGAIN) hangUp();  // EIO, ENXIO, ENODEV: nothing will take the bytes
        break;
    }
}

void PosixDevice::hangUp() {
    hungUp_ = true;
    std::lock_guard lock(outMutex_);
    out_.clear();
    sending_.clear();
    sendingHead_ = 0;
    outCount_ = 0;
}

void PosixDevice::pollModem() {
    int bits = 0;
    if (ioctl(fd_, TIOCMGET, &bits) != 0) {
        if (vanished(errno)) modemLines_ = false;  // the device is gone; stop asking
        return;
    }
    const std::uint32_t now = modemBitsOf(bits);
    const std::uint32_t before = modem_.exchange(now);
    for (int code : modemChanges(before, now)) {
        poster_([shared = shared_, code] {
            if (shared->alive && shared->events.modemChanged) shared->events.modemChanged(code);
        });
    }
}

}  // namespace tvl
