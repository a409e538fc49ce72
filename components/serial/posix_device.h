// A SerialDevice on a terminal file descriptor: a serial device node or the
// master end of a pseudo-terminal.
//
// One thread per device ("the line thread") waits in poll() on the fd and on an
// eventfd that wakes it. It reads eagerly into an input buffer, so the
// kernel's buffer never overruns while the UI thread is busy, and stops
// reading while the buffer holds its limit. Output goes to the fd from the
// writing thread while nothing is queued, so that a byte costs no thread
// switch; what the fd does not take at once is queued, and the line thread
// writes the queue in call order. It polls TIOCMGET every 10 ms where the fd
// has modem lines. Everything it tells the port goes through the Poster to
// the UI thread; a posted call holds only shared state, so one that runs
// after the device is gone does nothing. Each chunk read or written, and each
// modem change found, goes to the line's tap as it happens.
//
// A line that hangs up or vanishes (POLLHUP, POLLERR, EIO, ENXIO, ENODEV, end
// of file) stops being read and is reported lost once: what was buffered can
// still be taken, new writes are dropped. A device opened by its path lets go
// of the node at once (so that a re-plugged adapter gets the same name) and
// opens the path again every 250 ms; when it opens with the same line
// settings and the DTR/RTS last asked for, the line is back. A master end
// (adopted) is back when its far end is open again. Close puts back the line
// settings the device had when it was opened, and lifts its exclusive hold.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "components/serial/input_buffer.h"
#include "components/serial/line_tap.h"
#include "components/serial/serial_port.h"
#include "components/serial/termios_line.h"

namespace tvl {

class PosixDevice : public SerialDevice {
public:
    // Opens a device node exclusively (TIOCEXCL and flock), applies the line and
    // the DTR/RTS levels. `name` is what deviceName() reports (the path when empty).
    // Throws SerialError: missing, busy, no terminal, or the line refused.
    static std::unique_ptr<PosixDevice> open(const std::string& path, const LineSettings& line,
                                             bool dtr, bool rts, DeviceEvents events, Poster poster,
                                             std::string name = {});

    // Takes over an open terminal fd (closed by the device, also when this throws).
    static std::unique_ptr<PosixDevice> adopt(int fd, std::string name, const LineSettings& line,
                                              bool dtr, bool rts, DeviceEvents events,
                                              Poster poster);

    ~PosixDevice() override;
    PosixDevice(const PosixDevice&) = delete;
    PosixDevice& operator=(const PosixDevice&) = delete;

    int handle() const override { return fd_; }
    std::size_t inBufferCount() const override;
    std::size_t read(char* into, std::size_t max) override;
    void write(std::string_view bytes) override;
    void setDTR(bool on) override;
    void setRTS(bool on) override;
    std::uint32_t modemStatus() const override { return modem_.load(); }
    std::string deviceName() const override { return name_; }

    // The line hung up or vanished, and is not back.
    bool hungUp() const { return hungUp_.load(); }
    bool lineUp() const override { return !hungUp_.load(); }
    std::uint64_t takeUndelivered() override { return undelivered_.exchange(0); }
    // How many times the line thread has woken: a line that is quiet or gone
    // wakes it rarely.
    std::uint64_t wakeups() const { return wakeups_.load(); }
    // Bytes queued for writing that the fd has not yet taken.
    std::size_t outBufferCount() const;

    // Output the line does not take is queued up to this many bytes; beyond
    // that, new output is dropped and counted, so that a line nobody reads (a
    // virtual port with no client, a device that holds CTS off) cannot take
    // all memory. 16 MiB is hours of output at serial speeds.
    static constexpr std::size_t kOutputLimit = 16u << 20;
    void setOutputLimit(std::size_t bytes) { outputLimit_ = bytes; }
    std::uint64_t droppedOutput() const { return dropped_.load(); }

    // Input the program has not taken is held up to this many bytes; there
    // the line is not read until the program takes some, and the kernel holds
    // the writer back: a pseudo-terminal's writer waits, nothing is lost. A
    // real line brings a fraction of this while the pump runs, which always
    // outpaces it; a flood into a virtual port cannot take all memory.
    static constexpr std::size_t kInputLimit = 4u << 20;

private:
    struct Shared;

    PosixDevice(int fd, std::string name, DeviceEvents events, Poster poster);
    void start(const LineSettings& line, bool dtr, bool rts);
    void run();
    void readAvailable(short revents);
    void writeQueued();
    // Writes what the fd takes of bytes now and tells the tap; the bytes
    // taken. `error` is the errno that stopped it, 0 when the fd was full.
    std::size_t writeNow(std::string_view bytes, int& error);
    void pollModem();
    void hangUp(int error);
    void comeBack();
    void takeBack(int fd);
    void post(std::function<void(const DeviceEvents&)> event);
    void wake();
    void setLine(int bit, bool on);
    LineLevels levels() const;

    int fd_;
    std::string path_;  // empty for an adopted fd
    LineSettings line_;
    FoundLine found_;  // the line as it was when opened
    std::atomic<bool> dtr_{false};
    std::atomic<bool> rts_{false};
    std::string lastRefusal_;  // the line thread's: why the path last failed to come back
    int wake_ = -1;
    std::string name_;
    Poster poster_;
    std::shared_ptr<Shared> shared_;
    std::shared_ptr<LineTap> tap_;  // told what is read, written and polled
    std::thread thread_;
    std::atomic<bool> stop_{false};
    std::atomic<bool> hungUp_{false};
    std::atomic<std::uint64_t> wakeups_{0};
    std::atomic<std::uint32_t> modem_{0};
    std::atomic<bool> modemLines_{false};  // TIOCMGET works on this fd

    // The UI thread takes input a few bytes at a time while the line thread
    // reads in chunks: the count is an atomic so that asking costs no lock.
    InputBuffer in_;

    // Held by write() across its non-blocking write to the fd, so that a
    // hang-up (which empties the queue under it) finds every byte either
    // written, queued or counted as undelivered.
    std::mutex outMutex_;
    std::string out_;      // queued by write(), under outMutex_
    std::string sending_;  // the line thread's: taken from out_, not yet written
    std::size_t sendingHead_ = 0;
    std::atomic<std::size_t> outCount_{0};  // out_ and the rest of sending_
    std::size_t outputLimit_ = kOutputLimit;
    std::atomic<std::uint64_t> dropped_{0};
    std::atomic<std::uint64_t> undelivered_{0};  // lost with the line
};

}  // namespace tvl
