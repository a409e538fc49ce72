// The serial port component: the MSComm-like member set the program uses, the
// kernel32-like GetCommModemStatus and CloseHandle, and the interface of the
// backends behind it.
//
//   SerialPort            one port (mscComControl1, mscComControl2): properties,
//                         Input/Output, DTR/RTS, OnComm
//   SerialDevice          one open line behind a port (a backend)
//   SerialDeviceFactory   opens the device of a port number (the real rule, or
//                         the simulated lines of tests and scenarios)
//   parseLineSettings     the settings string and handshaking, checked once for
//                         every backend
//   GetCommModemStatus, CloseHandle   by the handle that CommID gave
//
// Everything here is called on the user-interface thread. A backend that reads
// on a thread of its own hands its events to the UI thread through Poster.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tvl {

// A refusal of the component: a busy or missing device, a setting the line
// cannot take. Setup OK catches it.
struct SerialError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// CommEvent codes raised through OnComm.
enum CommEventCode : int { comEvCTS = 3, comEvDSR = 4, comEvCD = 5, comEvRing = 6 };

// Bits of the modem status word.
enum ModemStatusBit : std::uint32_t {
    MS_CTS_ON = 0x10,   // I: Clear To Send
    MS_DSR_ON = 0x20,   // I: Data Set Ready
    MS_RING_ON = 0x40,  // I: Ring Indicator
    MS_RLSD_ON = 0x80,  // I: Carrier Detect
};

// Handshaking values.
enum Handshake : int { comNone = 0, comXOnXoff = 1, comRTS = 2, comRTSXOnXOff = 3 };

// A line format checked against what Linux can do.
struct LineSettings {
    long baud = 9600;
    char parity = 'N';  // N, E, O, M, S
    int dataBits = 8;   // 5..8
    int stopBits = 1;   // 1, 2 (1.5 is written as 15)
    int handshaking = comNone;
};

// Parses "115200,N,8,1" and a handshaking number. The parity letter is taken
// case-blind. Throws SerialError for text that is malformed or that Linux
// cannot do (4 data bits, 1.5 stop bits with more than 5 data bits, an
// unknown parity letter, a speed that is not a positive whole number, a
// handshaking number outside 0..3).
LineSettings parseLineSettings(const std::string& settings, int handshaking);

class LineTap;
class LineTrace;

// Runs a function on the user-interface thread, later. Safe from any thread.
using Poster = std::function<void(std::function<void()>)>;

// What an open device tells its port. All are called on the UI thread.
struct DeviceEvents {
    std::function<void(int commEvent)> modemChanged;  // codes 3..6
    std::function<void()> readable;                   // bytes arrived
    // The line went away (hang-up, unplugged), or came back and cannot be
    // taken; the text names the device and the reason.
    std::function<void(const std::string& why)> lost;
    std::function<void()> back;  // the line is there again, with the DTR/RTS last asked for
    // Not an event: told, where the bytes move, what the line carried and
    // every change of its inputs (line_tap.h). Null when nothing is traced.
    std::shared_ptr<LineTap> tap;
};

// Whether the device of a port number is there for this program to open. A
// network port is known only by connecting, which Setup does not do.
enum class Presence { Present, Busy, NotPermitted, Missing, Network };

// One line of Setup's device list.
struct PortListing {
    int number = 0;    // the number that reaches it; 0 for none (a ports file problem)
    std::string text;  // what the list shows
    std::string keep;  // a USB adapter's stable name that has no number in the ports file yet
};

// One open line behind a port.
class SerialDevice {
public:
    virtual ~SerialDevice() = default;
    virtual int handle() const = 0;                             // CommID
    virtual std::size_t inBufferCount() const = 0;              // bytes waiting
    virtual std::size_t read(char* into, std::size_t max) = 0;  // takes waiting bytes
    virtual void write(std::string_view bytes) = 0;  // queued, never blocks; dropped while lost
    // Throw SerialError when the device refuses the change; a lost line
    // takes the level when it comes back.
    virtual void setDTR(bool on) = 0;
    virtual void setRTS(bool on) = 0;
    virtual bool lineUp() const { return true; }    // false from a loss to the return
    // Bytes given to write() that the line never took, because it went away
    // while they were queued or being given: what came since the last call.
    virtual std::uint64_t takeUndelivered() { return 0; }
    virtual std::uint32_t modemStatus() const = 0;  // MS_* bits
    virtual std::string deviceName() const = 0;     // what the port number resolved to
};

// Opens the device of a port number.
class SerialDeviceFactory {
public:
    virtual ~SerialDeviceFactory() = default;
    // Throws SerialError when the device is missing, busy or refuses the line.
    // dtr/rts are the levels the port holds when it opens.
    virtual std::unique_ptr<SerialDevice> open(int number, const LineSettings& line, bool dtr,
                                               bool rts, DeviceEvents events) = 0;
    // What a number resolves to, for the Setup dialog ("/dev/ttyS2", "virtual port ...").
    virtual std::string describe(int number) const = 0;
    virtual Presence presence(int number) const = 0;
    // The serial devices on this computer and the ports file's entries, each
    // with the number that reaches it, and the ports file's problems.
    virtual std::vector<PortListing> listing() const { return {}; }
    // The number a pick of the list puts in a port box. A USB adapter with no
    // number in the ports file gets one there first, so that it keeps it.
    // Throws SerialError when the file cannot take it.
    virtual int keepNumber(const PortListing& pick) { return pick.number; }
};

// The component: one instance per port.
class SerialPort {
public:
    explicit SerialPort(SerialDeviceFactory& factory);
    ~SerialPort();
    SerialPort(const SerialPort&) = delete;
    SerialPort& operator=(const SerialPort&) = delete;

    void setCommPort(int number);  // throws SerialError on a number below 1 or while open
    int CommPort() const { return commPort_; }
    void setSettings(const std::string& settings);  // throws SerialError when malformed
    const std::string& Settings() const { return settings_; }
    void setHandshaking(int value);  // throws SerialError outside 0..3
    int Handshaking() const { return handshaking_; }

    void setPortOpen(bool open);  // throws SerialError; a second open of an open port too
    bool PortOpen() const { return device_ != nullptr; }
    int CommID() const;  // throws SerialError when closed

    void setInputLen(int n) { inputLen_ = n; }
    int InputLen() const { return inputLen_; }
    int InBufferCount() const;  // 0 when closed
    std::string Input();        // at most InputLen bytes (0: all waiting)
    // Up to `max` waiting bytes, left waiting until skip() takes them: the
    // pump's batched ticks look at a run of input and take what they used.
    // Valid until the next call on the port.
    std::string_view peek(std::size_t max);
    void skip(std::size_t n);
    void Output(std::string_view bytes);  // dropped when closed: a tick has no error path

    // Also on a closed port: held for the next open. Throws SerialError when
    // the device refuses; the level is still held.
    void setDTREnable(bool on);
    bool DTREnable() const { return dtr_; }
    void setRTSEnable(bool on);
    bool RTSEnable() const { return rts_; }

    int CommEvent() const { return commEvent_; }
    std::function<void()> OnComm;
    // Called when bytes arrive, so that the timer can bring its next tick forward.
    std::function<void()> OnReadable;
    // The open port's line went away, or came back (the port stays open).
    std::function<void()> OnLineLost;
    std::function<void()> OnLineBack;
    bool LineLost() const { return lost_; }
    const std::string& LossReason() const { return lossReason_; }
    bool EverLost() const { return everLost_; }  // since the port was opened
    // Open, and its line there: bytes given to Output reach a line.
    bool LineUp() const { return device_ && device_->lineUp(); }
    // Bytes given to Output that the line never took, because it went away:
    // what came since the last call. Read when the loss is told.
    std::uint64_t takeUndelivered() { return device_ ? device_->takeUndelivered() : 0; }

    std::uint32_t modemStatus() const;  // 0 when closed
    std::string describe(int number) const { return factory_.describe(number); }
    Presence presence(int number) const { return factory_.presence(number); }
    std::vector<PortListing> listing() const { return factory_.listing(); }
    int keepNumber(const PortListing& pick) { return factory_.keepNumber(pick); }
    SerialDevice* device() const { return device_.get(); }

    // From the next open on, the port's line goes into this trace as Port
    // `port`, with its DTR/RTS switches; null: not traced.
    void traceInto(LineTrace* trace, int port) {
        trace_ = trace;
        tracePort_ = port;
    }

private:
    void close();
    void traceLevels(bool dtrBefore, bool rtsBefore);
    friend bool CloseHandle(std::int32_t handle);

    SerialDeviceFactory& factory_;
    std::unique_ptr<SerialDevice> device_;
    int commPort_ = 1;
    std::string settings_ = "9600,N,8,1";
    int handshaking_ = comNone;
    int inputLen_ = 0;
    // Bytes taken from the device in one batch and not yet given out by Input:
    // the pump takes one byte per tick, the device is asked once per batch.
    std::string taken_;
    std::size_t takenHead_ = 0;
    bool dtr_ = false;
    bool rts_ = false;
    int commEvent_ = 0;
    bool lost_ = false;
    bool everLost_ = false;
    std::string lossReason_;
    LineTrace* trace_ = nullptr;
    int tracePort_ = 0;
    std::shared_ptr<LineTap> tap_;  // of the open device
};

// The modem status word of the open port with this handle. False, with status
// 0, for a handle that belongs to no open port.
bool GetCommModemStatus(std::int32_t handle, std::uint32_t& status);

// Closes the open port with this handle. False for a handle of no open port.
bool CloseHandle(std::int32_t handle);

}  // namespace tvl
