#include "components/trace/trace_file.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <mutex>
#include <string_view>
#include <vector>

#include "components/trace/pcapng.h"

namespace tvl {

namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

enum Direction { rx = 0, tx = 1 };

// How often a pipe is looked at while the lines are quiet, so that a reader
// that went away is told then, not at the next frame.
constexpr auto kReaderCheck = 250ms;

std::uint8_t rtacLines(LineLevels levels) {
    std::uint8_t lines = 0;
    if (levels.inputs & MS_CTS_ON) lines |= pcapng::rtacCTS;
    if (levels.inputs & MS_RLSD_ON) lines |= pcapng::rtacDCD;
    if (levels.inputs & MS_DSR_ON) lines |= pcapng::rtacDSR;
    if (levels.inputs & MS_RING_ON) lines |= pcapng::rtacRI;
    if (levels.rts) lines |= pcapng::rtacRTS;
    if (levels.dtr) lines |= pcapng::rtacDTR;
    return lines;
}

// One character on the wire: start bit, data bits, parity, stop bits.
Clock::duration characterTime(const LineSettings& line) {
    const double stop = line.stopBits == 15 ? 1.5 : line.stopBits;
    const double bits = 1 + line.dataBits + (line.parity == 'N' ? 0 : 1) + stop;
    return std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(bits / static_cast<double>(std::max(1L, line.baud))));
}

// The file, or a named pipe with a reader, opened without waiting: -errno
// when it cannot be opened, -ENXIO while a pipe has no reader.
int openTrace(const std::string& path) {
    const int fd =
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NONBLOCK | O_CLOEXEC, 0644);
    return fd >= 0 ? fd : -errno;
}

std::string writeFailure(int error) {
    return error == EPIPE ? "its reader went away" : std::strerror(error);
}

bool isPipe(int fd) {
    struct stat st {};
    return fstat(fd, &st) == 0 && S_ISFIFO(st.st_mode);
}

bool readerGone(int fd) {
    pollfd out{fd, 0, 0};
    return ::poll(&out, 1, 0) == 1 && (out.revents & POLLERR);
}

}  // namespace

// What the taps and the writer share; the taps hold it, so that a port that
// outlives the trace still finds it.
struct TraceFile::Core {
    // An interface's description, or one frame.
    struct Entry {
        bool interface = false;
        std::uint32_t channel = 0;
        pcapng::RtacEvent event = pcapng::rtacStatusChange;
        std::int64_t micros = 0;  // when it began
        std::uint8_t lines = 0;
        std::string bytes;               // the frame's, or the interface's name
        bool open = false;               // more chunks may join
        Clock::time_point silentFrom{};  // when its last byte left the wire
    };
    struct Channel {
        int port = 0;
        std::string device;
        Clock::duration character{};
        Entry* open[2] = {nullptr, nullptr};
    };

    std::string path;
    Report report;
    int fd = -ENXIO;  // the file's, once open
    const Clock::time_point steadyStart = Clock::now();
    const std::int64_t epochStart = std::chrono::duration_cast<std::chrono::microseconds>(
                                        std::chrono::system_clock::now().time_since_epoch())
                                        .count();

    std::mutex mutex;
    std::condition_variable wake;
    std::deque<Entry> entries;  // in the order they began; a deque keeps open frames in place
    std::vector<Channel> channels;
    std::size_t backlog = 0;  // bytes in entries
    bool closing = false;
    std::string failure;  // why the trace stopped early
    std::atomic<bool> stopped{false};

    std::int64_t micros(Clock::time_point t) const {
        return epochStart +
               std::chrono::duration_cast<std::chrono::microseconds>(t - steadyStart).count();
    }
    static Clock::duration gap(const Channel& c) { return c.character * 7 / 2; }
    // When the writer ends a frame the line has been silent after.
    static Clock::time_point due(const Entry& frame, const Channel& c) {
        return frame.silentFrom + gap(c) + kLateChunk;
    }

    // Under the lock.
    void end(Entry*& frame) {
        if (frame) frame->open = false;
        frame = nullptr;
    }
    Entry& push(std::uint32_t channel, pcapng::RtacEvent event, Clock::time_point at,
                LineLevels levels) {
        Entry& entry = entries.emplace_back();
        entry.channel = channel;
        entry.event = event;
        entry.micros = micros(at);
        entry.lines = rtacLines(levels);
        return entry;
    }
    void fail(std::string why) {
        if (failure.empty()) failure = std::move(why);
        stopped = true;
        wake.notify_one();
    }

    void data(std::uint32_t channel, Direction direction, std::string_view bytes,
              LineLevels levels) {
        if (stopped || bytes.empty()) return;
        std::lock_guard lock(mutex);
        if (stopped) return;
        const Clock::time_point now = Clock::now();
        Channel& c = channels[channel];
        Entry*& frame = c.open[direction];
        const std::size_t size = bytes.size();
        const Clock::duration wire = c.character * static_cast<long>(size);
        // Received bytes were on the wire before they were read; written ones
        // go on the wire after the bytes written before them. A frame the
        // writer may have ended already is over, whenever it runs.
        if (frame && ((direction == rx ? now - wire : now) - frame->silentFrom >= gap(c) ||
                      now >= due(*frame, c)))
            end(frame);
        bool begun = false;
        while (!bytes.empty()) {
            if (frame && frame->bytes.size() == kFrameLimit) end(frame);
            if (!frame) {
                frame = &push(channel, direction == rx ? pcapng::rtacRxStart : pcapng::rtacTxStart,
                              now, levels);
                frame->open = begun = true;
            }
            const std::size_t part = std::min(bytes.size(), kFrameLimit - frame->bytes.size());
            frame->bytes.append(bytes.substr(0, part));
            bytes.remove_prefix(part);
        }
        frame->silentFrom = direction == rx ? now : std::max(now, frame->silentFrom) + wire;
        backlog += size;
        if (backlog > kBacklogLimit)
            fail("its reader falls more than " + std::to_string(kBacklogLimit >> 20) +
                 " MiB behind");
        else if (begun)
            wake.notify_one();
    }

    void changed(std::uint32_t channel, LineLevels levels) {
        if (stopped) return;
        std::lock_guard lock(mutex);
        if (stopped) return;
        push(channel, pcapng::rtacStatusChange, Clock::now(), levels);
        wake.notify_one();
    }
};

class TraceFile::Tap : public LineTap {
public:
    Tap(std::shared_ptr<Core> core, std::uint32_t channel)
        : core_(std::move(core)), channel_(channel) {}
    void received(std::string_view bytes, LineLevels levels) override {
        core_->data(channel_, rx, bytes, levels);
    }
    void transmitted(std::string_view bytes, LineLevels levels) override {
        core_->data(channel_, tx, bytes, levels);
    }
    void changed(LineLevels levels) override { core_->changed(channel_, levels); }

private:
    std::shared_ptr<Core> core_;
    std::uint32_t channel_;
};

TraceFile::TraceFile(std::string path, Report report) : core_(std::make_shared<Core>()) {
    core_->path = std::move(path);
    core_->report = std::move(report);
    // A file that cannot be written is told at once; a pipe waits for its reader.
    core_->fd = openTrace(core_->path);
    if (core_->fd < 0 && core_->fd != -ENXIO) core_->fail(std::strerror(-core_->fd));
    writer_ = std::thread([this] { run(); });
}

TraceFile::~TraceFile() { close(); }

std::shared_ptr<LineTap> TraceFile::tap(int port, const std::string& device,
                                        const LineSettings& line) {
    Core& core = *core_;
    std::lock_guard lock(core.mutex);
    auto& channels = core.channels;
    auto found = std::find_if(channels.begin(), channels.end(), [&](const Core::Channel& c) {
        return c.port == port && c.device == device;
    });
    if (found == channels.end()) {
        channels.push_back({port, device, {}, {nullptr, nullptr}});
        found = channels.end() - 1;
        if (!core.stopped) {
            Core::Entry& entry = core.entries.emplace_back();
            entry.interface = true;
            entry.channel = static_cast<std::uint32_t>(channels.size() - 1);
            entry.bytes = "Port " + std::to_string(port) + " (" + device + ")";
            core.wake.notify_one();
        }
    }
    for (Core::Entry*& frame : found->open) core.end(frame);  // the line starts anew
    found->character = characterTime(line);
    return std::make_shared<Tap>(core_, static_cast<std::uint32_t>(found - channels.begin()));
}

void TraceFile::close() {
    {
        std::lock_guard lock(core_->mutex);
        core_->closing = true;
        core_->wake.notify_one();
    }
    if (writer_.joinable()) writer_.join();
    core_->stopped = true;
}

bool TraceFile::running() const { return !core_->stopped; }

void TraceFile::run() {
    // A reader that goes away makes a write fail with EPIPE on this thread
    // instead of ending the program.
    sigset_t sigpipe;
    sigemptyset(&sigpipe);
    sigaddset(&sigpipe, SIGPIPE);
    pthread_sigmask(SIG_BLOCK, &sigpipe, nullptr);

    Core& core = *core_;
    std::unique_lock lock(core.mutex);
    auto stopOrClose = [&] { return core.stopped || core.closing; };

    int fd = core.fd;
    while (fd == -ENXIO && !stopOrClose()) {  // a pipe waits for its reader
        core.wake.wait_for(lock, 100ms);
        fd = openTrace(core.path);
    }
    if (fd < 0 && fd != -ENXIO) core.fail(std::strerror(-fd));
    const bool fifo = fd >= 0 && isPipe(fd);

    // Writes all of `bytes` without the lock; false, with the trace stopped, when it cannot.
    auto write = [&](std::string_view bytes) {
        lock.unlock();
        const auto giveUp = Clock::now() + kCloseWait;
        int error = 0;
        while (!bytes.empty() && !core.stopped) {
            const ssize_t n = ::write(fd, bytes.data(), bytes.size());
            if (n > 0) {
                bytes.remove_prefix(static_cast<std::size_t>(n));
            } else if (n < 0 && errno == EAGAIN) {
                pollfd out{fd, POLLOUT, 0};
                ::poll(&out, 1, 100);
                if (core.closing && Clock::now() > giveUp) error = ETIMEDOUT;
            } else if (n < 0 && errno != EINTR) {
                error = errno;
            }
            if (error) break;
        }
        lock.lock();
        if (error)
            core.fail(error == ETIMEDOUT ? "its reader does not take the end of it"
                                         : writeFailure(error));
        return !core.stopped;
    };

    if (fd >= 0 && write(pcapng::sectionHeader("Tarvoline"))) {
        std::vector<Core::Entry> ready;
        for (;;) {
            // Frames the line has long been silent after end; at close, all do.
            const auto now = Clock::now();
            Clock::time_point next = Clock::time_point::max();
            for (Core::Channel& c : core.channels) {
                for (Core::Entry*& frame : c.open) {
                    if (!frame) continue;
                    if (core.closing || Core::due(*frame, c) <= now)
                        core.end(frame);
                    else
                        next = std::min(next, Core::due(*frame, c));
                }
            }
            while (!core.entries.empty() && !core.entries.front().open) {
                if (!core.entries.front().interface)
                    core.backlog -= core.entries.front().bytes.size();
                ready.push_back(std::move(core.entries.front()));
                core.entries.pop_front();
            }
            if (!ready.empty()) {
                lock.unlock();
                std::string out;
                for (const Core::Entry& e : ready) {
                    if (e.interface) {
                        out += pcapng::interfaceDescription(pcapng::kLinkRtacSerial, e.bytes);
                        continue;
                    }
                    out += pcapng::enhancedPacket(
                        e.channel, e.micros,
                        pcapng::rtacSerialHeader(e.micros, e.event, e.lines) + e.bytes);
                }
                ready.clear();
                lock.lock();
                if (!write(out)) break;
                continue;
            }
            if (core.closing || core.stopped) break;
            if (fifo) next = std::min(next, Clock::now() + kReaderCheck);
            if (next == Clock::time_point::max())
                core.wake.wait(lock);
            else
                core.wake.wait_until(lock, next);
            if (fifo && readerGone(fd)) core.fail(writeFailure(EPIPE));
        }
    }
    core.stopped = true;
    core.entries.clear();
    for (Core::Channel& c : core.channels) c.open[rx] = c.open[tx] = nullptr;
    const std::string failure = core.failure;
    lock.unlock();
    if (fd >= 0) ::close(fd);
    if (!failure.empty() && core.report)
        core.report("trace " + core.path + ": " + failure + "; the trace stops, the run goes on");
}

}  // namespace tvl
