#include <cctype>
#include <cstdlib>
#include <sstream>
#include <vector>

#include "components/serial/serial_port.h"

namespace tvl {

namespace {
std::vector<std::string> splitCommas(const std::string& text) {
    std::vector<std::string> parts;
    std::string part;
    std::istringstream in(text);
    while (std::getline(in, part, ',')) parts.push_back(part);
    if (!text.empty() && text.back() == ',') parts.emplace_back();
    return parts;
}

bool wholeNumber(const std::string& text, long& value) {
    if (text.empty() || text.size() > 9) return false;
    for (char c : text)
        if (!std::isdigit(static_cast<unsigned char>(c))) return false;
    value = std::strtol(text.c_str(), nullptr, 10);
    return true;
}
}  // namespace

LineSettings parseLineSettings(const std::string& settings, int handshaking) {
    const auto parts = splitCommas(settings);
    if (parts.size() != 4)
        throw SerialError("settings \"" + settings + "\" are not speed,parity,data bits,stop bits");
    LineSettings line;
    if (!wholeNumber(parts[0], line.baud) || line.baud <= 0)
        throw SerialError("speed \"" + parts[0] + "\" is not a whole number of bits per second");
    if (parts[1].size() != 1) throw SerialError("parity \"" + parts[1] + "\" is not one letter");
    line.parity = static_cast<char>(std::toupper(static_cast<unsigned char>(parts[1][0])));
    if (std::string("NEOMS").find(line.parity) == std::string::npos)
        throw SerialError("parity letter \"" + parts[1] + "\" is not one of N, E, O, M, S");
    long bits = 0;
    if (!wholeNumber(parts[2], bits) || bits < 5 || bits > 8)
        throw SerialError("data bits \"" + parts[2] + "\": Linux takes 5, 6, 7 or 8");
    line.dataBits = static_cast<int>(bits);
    if (parts[3] == "1") {
        line.stopBits = 1;
    } else if (parts[3] == "2") {
        line.stopBits = 2;
    } else if (parts[3] == "1.5") {
        // Linux gives 1.5 stop bits only as CSTOPB with 5 data bits.
        if (line.dataBits != 5)
            throw SerialError("1.5 stop bits: Linux can do them only with 5 data bits");
        line.stopBits = 15;
    } else {
        throw SerialError("stop bits \"" + parts[3] + "\" are not 1, 1.5 or 2");
    }
    if (handshaking < comNone || handshaking > comRTSXOnXOff)
        throw SerialError("handshaking " + std::to_string(handshaking) + " is not 0, 1, 2 or 3");
    line.handshaking = handshaking;
    return line;
}

}  // namespace tvl
