// A trace of the ports' lines that Wireshark reads: a pcapng file, or a named
// pipe a live Wireshark reads from, with one interface per port (link type
// 250, RTAC Serial, named "Port 1 (/dev/ttyUSB0)").
//
// Each chunk a port reads or writes joins the frame of its port and
// direction, as it came from the line; a frame ends where the line fell
// silent for 3.5 characters at the port's speed (the Modbus RTU frame gap),
// and at kFrameLimit bytes. A frame carries the time its first chunk moved
// and the modem lines as they stood then; every change of an input line and
// every DTR/RTS switch is a frame of its own. Frames are written in the order
// they began.
//
// The taps only append to memory under a short lock; a thread of the trace's
// own writes the file, so a slow disk or reader never holds up a port. A
// trace that cannot go on (the file cannot be written, the pipe's reader went
// away or fell kBacklogLimit behind) stops: it is reported once and the taps
// trace nothing more. The program runs on as before. A pipe is looked at four
// times a second while the lines are quiet, so that a reader that went away
// is told then.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "components/serial/line_tap.h"

namespace tvl {

class TraceFile : public LineTrace {
public:
    // Called at most once, on the trace's thread: why the trace stopped early.
    using Report = std::function<void(const std::string& why)>;

    // Starts at once; the file is created, or the pipe opened when a reader comes.
    TraceFile(std::string path, Report report);
    ~TraceFile() override;  // close()
    TraceFile(const TraceFile&) = delete;
    TraceFile& operator=(const TraceFile&) = delete;

    // A port reopened on the same device keeps its interface.
    std::shared_ptr<LineTap> tap(int port, const std::string& device,
                                 const LineSettings& line) override;

    // Ends every frame and writes what is held; then the taps trace nothing.
    // A pipe's reader gets kCloseWait to take the rest.
    void close();

    // Not yet stopped, neither by close() nor by a failure.
    bool running() const;

    static constexpr std::size_t kFrameLimit = 4096;
    static constexpr std::size_t kBacklogLimit = 16u << 20;
    // A frame is written this long after the line fell silent, not at once: a
    // chunk that the kernel hands over late (a USB adapter's latency timer
    // holds bytes up to 16 ms) still joins it.
    static constexpr std::chrono::milliseconds kLateChunk{20};
    static constexpr std::chrono::milliseconds kCloseWait{2000};

private:
    struct Core;
    class Tap;
    void run();

    std::shared_ptr<Core> core_;
    std::thread writer_;
};

}  // namespace tvl
