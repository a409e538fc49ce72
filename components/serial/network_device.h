// A SerialDevice on the network, through gensio: rfc2217://HOST:PORT is a
// device server spoken to with RFC 2217 (telnet(rfc2217),tcp,HOST,PORT), which
// takes the line settings and DTR/RTS and tells the modem lines; tcp://HOST:PORT
// carries bytes only, its modem lines standing still as on a virtual port.
//
// The device has a line thread of its own that runs gensio's event loop (its
// own selector, so that no other thread's work runs on it) and an eventfd in
// that loop by which the UI thread wakes it for output and DTR/RTS. Every gensio
// call is made on the line thread; the UI thread only queues and reads buffers.
//
// Opening never waits for the network: the line is down until the server has
// answered and acknowledged the line settings. A server that does not answer
// within the answer limit, a connection that drops, or a setting the server
// does not take is a lost line, reported once with the reason, and the server
// is tried again every second; the line is back when it answers again, with
// the settings and the DTR/RTS last asked for.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "components/serial/input_buffer.h"
#include "components/serial/ports_file.h"
#include "components/serial/serial_port.h"

namespace tvl {

class NetworkDevice : public SerialDevice {
public:
    static constexpr std::chrono::milliseconds kAnswerLimit{5000};
    static constexpr std::chrono::milliseconds kRetry{1000};

    // Throws SerialError for a line a device server cannot be asked for
    // (RFC 2217 takes one kind of flow control, not XON/XOFF and RTS/CTS both)
    // or when the event loop cannot be made.
    static std::unique_ptr<NetworkDevice> open(
        const std::string& device, const NetworkAddress& address, const LineSettings& line,
        bool dtr, bool rts, DeviceEvents events, Poster poster,
        std::chrono::milliseconds answerLimit = kAnswerLimit);
    ~NetworkDevice() override;
    NetworkDevice(const NetworkDevice&) = delete;
    NetworkDevice& operator=(const NetworkDevice&) = delete;

    int handle() const override { return wake_; }
    std::size_t inBufferCount() const override { return in_.count(); }
    std::size_t read(char* into, std::size_t max) override;
    void write(std::string_view bytes) override;
    void setDTR(bool on) override;
    void setRTS(bool on) override;
    bool lineUp() const override { return up_.load(); }
    std::uint64_t takeUndelivered() override { return undelivered_.exchange(0); }
    std::uint32_t modemStatus() const override { return modem_.load(); }
    std::string deviceName() const override { return name_; }

private:
    struct Loop;
    struct Shared;

    NetworkDevice(std::string name, NetworkAddress address, LineSettings line, bool dtr, bool rts,
                  DeviceEvents events, Poster poster, std::chrono::milliseconds answerLimit);
    void wake();
    void post(std::function<void(const DeviceEvents&)> event);

    std::string name_;
    NetworkAddress address_;
    LineSettings line_;
    std::chrono::milliseconds answerLimit_;
    Poster poster_;
    std::shared_ptr<Shared> shared_;
    int wake_ = -1;
    std::unique_ptr<Loop> loop_;  // the line thread's
    std::thread thread_;

    std::atomic<bool> stop_{false};
    std::atomic<bool> up_{false};
    std::atomic<bool> dtr_, rts_;
    std::atomic<unsigned> linesAsked_{0};  // DTR/RTS changed since the line thread last sent them
    std::atomic<std::uint32_t> modem_{0};
    std::atomic<std::uint64_t> undelivered_{0};  // given while the line was down, or lost with it

    InputBuffer in_;
    std::mutex outMutex_;
    std::string out_;

    friend struct Loop;
};

}  // namespace tvl
