#include "components/serial/network_device.h"

#include <gensio/gensio.h>
#include <gensio/gensio_os_funcs.h>
#include <gensio/sergensio.h>
#include <pthread.h>
#include <signal.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cmath>
#include <cstring>

#include "components/serial/gensio_loops.h"
#include "components/serial/line_tap.h"
#include "components/serial/posix_device.h"
#include "components/serial/termios_line.h"

namespace tvl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr unsigned kDTR = 1, kRTS = 2;  // lines to send

gensio_time timeOf(std::chrono::milliseconds span) {
    gensio_time t{};
    t.secs = span.count() / 1000;
    t.nsecs = static_cast<int>(span.count() % 1000 * 1'000'000);
    return t;
}

void quiet(gensio_os_funcs*, gensio_log_levels, const char*, va_list) {}

// What Setup's line format asks of a device server, in RFC 2217's terms: speed,
// data bits, parity, stop bits, flow control, each answered by the value set.
struct AskedLine {
    unsigned values[5];
    static constexpr const char* kWhat[5] = {"speed", "data bits", "parity", "stop bits",
                                             "flow control"};
};

// A value as RFC 2217 gives it, in words where it is a code.
std::string valueText(int which, unsigned value) {
    static const char* const parity[] = {"", "none", "odd", "even", "mark", "space"};
    static const char* const stop[] = {"", "1", "2", "1.5"};
    static const char* const flow[] = {"", "none", "XON/XOFF", "RTS/CTS"};
    if (which == 2 && value >= 1 && value <= 5) return parity[value];
    if (which == 3 && value >= 1 && value <= 3) return stop[value];
    if (which == 4 && value >= 1 && value <= 3) return flow[value];
    return std::to_string(value);
}

AskedLine askedOf(const LineSettings& line) {
    const char* const parities = "NOEMS";  // SERGENSIO_PARITY_NONE is 1, then odd, even...
    const unsigned parity =
        static_cast<unsigned>(std::strchr(parities, line.parity) - parities) + 1;
    const unsigned stop = line.stopBits == 15 ? 3u : static_cast<unsigned>(line.stopBits);
    const unsigned flow = line.handshaking == comXOnXoff ? SERGENSIO_FLOWCONTROL_XON_XOFF
                          : line.handshaking == comRTS   ? SERGENSIO_FLOWCONTROL_RTS_CTS
                                                         : SERGENSIO_FLOWCONTROL_NONE;
    return {{static_cast<unsigned>(line.baud), static_cast<unsigned>(line.dataBits), parity, stop,
             flow}};
}

}  // namespace

// What a posted call may touch: it outlives the device.
struct NetworkDevice::Shared {
    DeviceEvents events;
    std::atomic<bool> alive{true};
    std::atomic<bool> readablePending{false};
};

// The line thread's side: gensio's loop and the connection's state.
struct NetworkDevice::Loop {
    explicit Loop(NetworkDevice& device) : d(device), asked(askedOf(device.line_)) {}

    NetworkDevice& d;
    AskedLine asked;
    gensio_os_funcs* o = nullptr;
    gensio_iod* wakeIod = nullptr;
    gensio_timer* timer = nullptr;  // the answer limit while connecting, the retry while down
    gensio* io = nullptr;
    enum class State { Down, Connecting, Up } state = State::Down;
    unsigned waiting = 0;   // settings not yet answered, a bit each
    bool told = false;      // the loss was reported since the line was last up
    std::string lastWhy;    // what was reported last
    int closing = 0;        // connections whose close is not done
    bool writing = false;   // under outMutex_: the write callback is on
    bool readHeld = false;  // the input buffer is full: the connection is not read
    std::string sending;
    std::size_t sendingHead = 0;

    void start(std::chrono::milliseconds span) {
        o->stop_timer(timer);
        gensio_time t = timeOf(span);
        o->start_timer(timer, &t);
    }

    void connect() {
        const std::string stack = std::string(d.address_.rfc2217 ? "telnet(rfc2217)," : "") +
                                  "tcp," + d.address_.host + "," + std::to_string(d.address_.port);
        int err = str_to_gensio(stack.c_str(), o, &Loop::onEvent, this, &io);
        if (!err) err = gensio_open(io, &Loop::onOpen, this);
        if (err) {
            if (io) gensio_free(io);
            io = nullptr;
            down(gensio_err_to_str(err), false);
            return;
        }
        state = State::Connecting;
        start(d.answerLimit_);
    }

    static void onOpen(gensio* io, int err, void* data) {
        auto& loop = *static_cast<Loop*>(data);
        if (io != loop.io) return;
        if (err) {
            loop.down(gensio_err_to_str(err), false);
            return;
        }
        loop.readHeld = false;
        gensio_set_read_callback_enable(io, true);
        sergensio* serial = gensio_to_sergensio(io);
        if (!serial) {
            loop.up();
            return;
        }
        // The server answers each setting with the value it set.
        sergensio_modemstate(serial, 0xff);
        static const sergensio_done done[5] = {&settled<0>, &settled<1>, &settled<2>, &settled<3>,
                                               &settled<4>};
        using Setter = int (*)(sergensio*, unsigned, sergensio_done, void*);
        static const Setter setters[5] = {sergensio_baud, sergensio_datasize, sergensio_parity,
                                          sergensio_stopbits, sergensio_flowcontrol};
        loop.waiting = 0x1f;
        for (int i = 0; i < 5; ++i)
            if (setters[i](serial, loop.asked.values[i], done[i], &loop) != 0)
                loop.waiting &= ~(1u << i);
        loop.sendLines(kDTR | kRTS);
        if (!loop.waiting) loop.up();
    }

    template <int Which>
    static void settled(sergensio*, int err, unsigned value, void* data) {
        auto& loop = *static_cast<Loop*>(data);
        // An error is a connection closing: the answer limit or the read tells of it.
        if (err || loop.state != State::Connecting || !(loop.waiting & (1u << Which))) return;
        loop.waiting &= ~(1u << Which);
        const unsigned want = loop.asked.values[Which];
        // Speeds within 2% pass, as on a local line: a UART's divisor gives what it can.
        const bool taken =
            Which == 0 ? std::abs(double(value) - want) <= want * 0.02 : value == want;
        if (!taken) {
            loop.down(std::string("the device server does not take ") + AskedLine::kWhat[Which] +
                          " " + valueText(Which, want) + " (it set " + valueText(Which, value) +
                          ")",
                      true);
            return;
        }
        if (!loop.waiting) loop.up();
    }

    // The DTR/RTS levels last asked for, of the lines named.
    void sendLines(unsigned lines) {
        lines |= d.linesAsked_.exchange(0);
        sergensio* serial = io ? gensio_to_sergensio(io) : nullptr;
        if (!serial) return;
        if (lines & kDTR)
            sergensio_dtr(serial, d.dtr_ ? SERGENSIO_DTR_ON : SERGENSIO_DTR_OFF, nullptr, nullptr);
        if (lines & kRTS)
            sergensio_rts(serial, d.rts_ ? SERGENSIO_RTS_ON : SERGENSIO_RTS_OFF, nullptr, nullptr);
    }

    void up() {
        state = State::Up;
        o->stop_timer(timer);
        lastWhy.clear();
        d.up_ = true;
        if (told)
            d.post([](const DeviceEvents& events) {
                if (events.back) events.back();
            });
        told = false;
        if (d.linesAsked_) sendLines(0);
        startWriting();
    }

    // The connection is gone, or never came: closed, reported once (a refused
    // setting once for each reason), and tried again after a while.
    void down(const std::string& why, bool refused) {
        close();
        state = State::Down;
        {
            // Under the lock that write() asks it under: no byte stays queued for the next line.
            std::lock_guard lock(d.outMutex_);
            d.up_ = false;
            d.undelivered_ += d.out_.size() + (sending.size() - sendingHead);
            d.out_.clear();
            writing = false;
        }
        sending.clear();
        sendingHead = 0;
        if (!told || (refused && why != lastWhy)) {
            d.post([why = d.name_ + ": " + why](const DeviceEvents& events) {
                if (events.lost) events.lost(why);
            });
        }
        told = true;
        lastWhy = why;
        start(kRetry);
    }

    void close() {
        gensio* old = io;
        io = nullptr;
        if (!old) return;
        ++closing;
        if (gensio_close(old, &Loop::onClosed, this) != 0) {
            gensio_free(old);
            --closing;
        }
    }

    static void onClosed(gensio* io, void* data) {
        gensio_free(io);
        --static_cast<Loop*>(data)->closing;
    }

    static void onTimer(gensio_timer*, void* data) {
        auto& loop = *static_cast<Loop*>(data);
        if (loop.state == State::Connecting) {
            loop.down("no answer within " + std::to_string(loop.d.answerLimit_.count()) + " ms",
                      false);
        } else if (loop.state == State::Down && !loop.d.stop_) {
            loop.connect();
        }
    }

    static int onEvent(gensio* io, void* data, int event, int err, unsigned char* buf,
                       gensiods* length, const char* const*) {
        auto& loop = *static_cast<Loop*>(data);
        if (io != loop.io) return GE_NOTSUP;
        switch (event) {
            case GENSIO_EVENT_READ:
                if (err) {
                    loop.down(std::string("the connection dropped: ") + gensio_err_to_str(err),
                              false);
                    return 0;
                }
                loop.received(reinterpret_cast<const char*>(buf), *length);
                return 0;
            case GENSIO_EVENT_WRITE_READY:
                loop.sendQueued();
                return 0;
            case GENSIO_EVENT_SER_MODEMSTATE:
                loop.modemState(*reinterpret_cast<unsigned*>(buf));
                return 0;
            default:
                return GE_NOTSUP;
        }
    }

    LineLevels levels() const { return {d.modem_.load(), d.dtr_.load(), d.rts_.load()}; }

    void received(const char* bytes, std::size_t n) {
        if (n == 0) return;
        if (const auto& tap = d.shared_->events.tap) tap->received({bytes, n}, levels());
        d.in_.append(bytes, n);
        // Held as a device node holds it: the server waits until the program takes some.
        if (d.in_.count() >= PosixDevice::kInputLimit) {
            readHeld = true;
            gensio_set_read_callback_enable(io, false);
        }
        if (d.shared_->readablePending.exchange(true)) return;
        d.poster_([shared = d.shared_] {
            shared->readablePending = false;
            if (shared->alive && shared->events.readable) shared->events.readable();
        });
    }

    void modemState(unsigned state) {
        const std::uint32_t now = state & (MS_CTS_ON | MS_DSR_ON | MS_RING_ON | MS_RLSD_ON);
        const std::uint32_t before = d.modem_.exchange(now);
        if (const auto& tap = d.shared_->events.tap; tap && before != now) tap->changed(levels());
        for (int code : modemChanges(before, now))
            d.post([code](const DeviceEvents& events) {
                if (events.modemChanged) events.modemChanged(code);
            });
    }

    void startWriting() {
        bool queued;
        {
            std::lock_guard lock(d.outMutex_);
            queued = !d.out_.empty() || sendingHead < sending.size();
            writing = queued;
        }
        if (queued && io) gensio_set_write_callback_enable(io, true);
    }

    void sendQueued() {
        if (sendingHead == sending.size()) {
            sending.clear();
            sendingHead = 0;
            std::lock_guard lock(d.outMutex_);
            sending.swap(d.out_);
            if (sending.empty()) {
                writing = false;
                gensio_set_write_callback_enable(io, false);
                return;
            }
        }
        gensiods count = 0;
        const int err = gensio_write(io, &count, sending.data() + sendingHead,
                                     sending.size() - sendingHead, nullptr);
        if (err) {
            down(std::string("the connection dropped: ") + gensio_err_to_str(err), false);
            return;
        }
        if (const auto& tap = d.shared_->events.tap; tap && count > 0)
            tap->transmitted({sending.data() + sendingHead, count}, levels());
        sendingHead += count;
    }

    static void onWake(gensio_iod*, void* data) {
        auto& loop = *static_cast<Loop*>(data);
        std::uint64_t count;
        [[maybe_unused]] auto got = ::read(loop.d.wake_, &count, sizeof count);
        if (loop.state != State::Up) return;
        if (loop.readHeld && loop.d.in_.count() < PosixDevice::kInputLimit) {
            loop.readHeld = false;
            gensio_set_read_callback_enable(loop.io, true);
        }
        if (loop.d.linesAsked_) loop.sendLines(0);
        loop.startWriting();
    }

    void run() {
        // A write to a connection the server closed must fail, not end the program.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        connect();
        while (!d.stop_) gensio_os_funcs_service(o, nullptr);
        // Output already queued gets a moment to leave, then the connection closes.
        const auto until = Clock::now() + std::chrono::milliseconds(200);
        while (state == State::Up && Clock::now() < until) {
            {
                std::lock_guard lock(d.outMutex_);
                if (!writing) break;
            }
            gensio_time slice = timeOf(std::chrono::milliseconds(10));
            gensio_os_funcs_service(o, &slice);
        }
        close();
        const auto closed = Clock::now() + std::chrono::seconds(1);
        while (closing > 0 && Clock::now() < closed) {
            gensio_time slice = timeOf(std::chrono::milliseconds(10));
            gensio_os_funcs_service(o, &slice);
        }
    }

    ~Loop() {
        if (timer) {
            o->stop_timer(timer);
            o->free_timer(timer);
        }
        if (wakeIod) {
            o->clear_fd_handlers_norpt(wakeIod);
            gensio_time now{};
            gensio_os_funcs_service(o, &now);  // the selector lets go of it on its next pass
            o->release_iod(wakeIod);
        }
        // A connection still closing would call back into this loop: its loop is not reused.
        if (o && closing == 0) gensioloops::giveBack(o);
    }
};

NetworkDevice::NetworkDevice(std::string name, NetworkAddress address, LineSettings line, bool dtr,
                             bool rts, DeviceEvents events, Poster poster,
                             std::chrono::milliseconds answerLimit)
    : name_(std::move(name)),
      address_(std::move(address)),
      line_(line),
      answerLimit_(answerLimit),
      poster_(std::move(poster)),
      shared_(std::make_shared<Shared>()),
      dtr_(dtr),
      rts_(rts) {
    shared_->events = std::move(events);
}

std::unique_ptr<NetworkDevice> NetworkDevice::open(const std::string& device,
                                                   const NetworkAddress& address,
                                                   const LineSettings& line, bool dtr, bool rts,
                                                   DeviceEvents events, Poster poster,
                                                   std::chrono::milliseconds answerLimit) {
    if (address.rfc2217 && line.handshaking == comRTSXOnXOff)
        throw SerialError(device + ": a device server takes one flow control, XON/XOFF or RTS/CTS");
    std::unique_ptr<NetworkDevice> d(new NetworkDevice(
        device, address, line, dtr, rts, std::move(events), std::move(poster), answerLimit));
    d->wake_ = eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC);
    if (d->wake_ < 0) throw SerialError(device + ": " + std::strerror(errno));
    d->loop_ = std::make_unique<Loop>(*d);
    Loop& loop = *d->loop_;
    int err = gensioloops::take(&loop.o);
    if (!err) {
        gensio_os_funcs_set_vlog(loop.o, quiet);
        err = loop.o->add_iod(loop.o, GENSIO_IOD_PIPE, d->wake_, &loop.wakeIod);
    }
    if (!err)
        err =
            loop.o->set_fd_handlers(loop.wakeIod, &loop, &Loop::onWake, nullptr, nullptr, nullptr);
    if (!err) {
        loop.o->set_read_handler(loop.wakeIod, true);
        loop.timer = loop.o->alloc_timer(loop.o, &Loop::onTimer, &loop);
        if (!loop.timer) err = GE_NOMEM;
    }
    if (err) throw SerialError(device + ": " + gensio_err_to_str(err));
    d->thread_ = std::thread([&loop] { loop.run(); });
    return d;
}

NetworkDevice::~NetworkDevice() {
    shared_->alive = false;
    stop_ = true;
    if (thread_.joinable()) {
        wake();
        thread_.join();
    }
    loop_.reset();
    if (wake_ >= 0) ::close(wake_);
}

void NetworkDevice::wake() {
    const std::uint64_t one = 1;
    [[maybe_unused]] auto written = ::write(wake_, &one, sizeof one);
}

void NetworkDevice::post(std::function<void(const DeviceEvents&)> event) {
    poster_([shared = shared_, event = std::move(event)] {
        if (shared->alive) event(shared->events);
    });
}

std::size_t NetworkDevice::read(char* into, std::size_t max) {
    bool wasFull;
    const std::size_t n = in_.take(into, max, PosixDevice::kInputLimit, wasFull);
    if (wasFull && n > 0) wake();  // the line thread may read again
    return n;
}

void NetworkDevice::write(std::string_view bytes) {
    if (bytes.empty()) return;
    bool wakeUp;
    {
        std::lock_guard lock(outMutex_);
        if (!up_) {  // a lost line drops what it is given
            undelivered_ += bytes.size();
            return;
        }
        out_.append(bytes);
        wakeUp = !loop_->writing;
        loop_->writing = true;
    }
    if (wakeUp) wake();
}

void NetworkDevice::setDTR(bool on) {
    dtr_ = on;
    linesAsked_ |= kDTR;
    wake();
}

void NetworkDevice::setRTS(bool on) {
    rts_ = on;
    linesAsked_ |= kRTS;
    wake();
}

}  // namespace tvl
