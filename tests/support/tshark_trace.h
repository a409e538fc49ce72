// A trace file read back by Wireshark's tshark, one row per frame: what the
// trace writes is what Wireshark sees. (Header only.)
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "tests/support/text_io.h"

namespace tvl::testing {

struct TracedFrame {
    int interface = -1;
    std::string name;   // of the interface
    double time = 0;    // of the frame; its RTAC Serial header holds the same
    int event = -1;     // 0 line state, 1 transmitted, 2 received
    std::string lines;  // those on, as "CTS DCD DSR RTS DTR RI"
    std::string bytes;  // the payload
};

inline std::vector<TracedFrame> readTrace(const std::string& path) {
    std::vector<TracedFrame> frames;
    bool ok = false;
    std::istringstream rows(
        runCommand("tshark -r '" + path +
                       "' -T fields -E separator=/t -e frame.interface_id"
                       " -e frame.interface_name -e frame.time_epoch -e rtacser.timestamp"
                       " -e rtacser.eventtype -e rtacser.cts -e rtacser.dcd -e rtacser.dsr"
                       " -e rtacser.rts -e rtacser.dtr -e rtacser.ring -e data.data 2>/dev/null",
                   ok));
    for (std::string row; std::getline(rows, row);) {
        std::vector<std::string> f;
        std::stringstream fields(row);
        for (std::string field; std::getline(fields, field, '\t');) f.push_back(field);
        f.resize(12);
        TracedFrame frame{
            std::stoi(f[0]), f[1], std::stod(f[2]), std::stoi(f[4], nullptr, 16), {}, {}};
        if (f[3] != f[2]) frame.event = -1;  // the header's time is not the frame's
        static const char* const names[] = {"CTS", "DCD", "DSR", "RTS", "DTR", "RI"};
        for (int line = 0; line < 6; ++line)
            if (f[5 + line] == "1")
                frame.lines += (frame.lines.empty() ? "" : " ") + std::string(names[line]);
        for (std::size_t i = 0; i + 1 < f[11].size(); i += 2)
            frame.bytes.push_back(static_cast<char>(std::stoi(f[11].substr(i, 2), nullptr, 16)));
        frames.push_back(frame);
    }
    return frames;
}

}  // namespace tvl::testing
