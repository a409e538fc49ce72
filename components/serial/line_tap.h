// Tracing a port's line: the bytes it carried each way and its line levels,
// at the moment they moved.
//
//   LineLevels   the modem inputs (MS_* bits) and the DTR/RTS outputs
//   LineTap      told by the port and its device what moved; one per open port
//   LineTrace    hands a port its tap when the port opens
//
// A tap is called where the bytes move: on a device's line thread, or on the
// user-interface thread for what the port does itself. It takes its own time
// stamps, and it never blocks and never throws, so that a trace cannot change
// what the program does.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "components/serial/serial_port.h"

namespace tvl {

struct LineLevels {
    std::uint32_t inputs = 0;  // MS_* bits
    bool dtr = false;
    bool rts = false;
};

class LineTap {
public:
    virtual ~LineTap() = default;
    virtual void received(std::string_view bytes, LineLevels levels) = 0;     // read from the line
    virtual void transmitted(std::string_view bytes, LineLevels levels) = 0;  // written to it
    virtual void changed(LineLevels levels) = 0;  // an input moved, or DTR/RTS was switched
};

class LineTrace {
public:
    virtual ~LineTrace() = default;
    // The tap of Port `port` (1 or 2), open on `device` with this line format.
    virtual std::shared_ptr<LineTap> tap(int port, const std::string& device,
                                         const LineSettings& line) = 0;
};

}  // namespace tvl
