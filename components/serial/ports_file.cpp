#include "components/serial/ports_file.h"

#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "components/serial/serial_port.h"

namespace fs = std::filesystem;

namespace tvl {

namespace {

std::optional<int> wholeNumber(const std::string& text, int low, int high) {
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value < low || value > high)
        return std::nullopt;
    return value;
}

// Why DEVICE is not one the program can reach, "" when it is.
std::string deviceProblem(const std::string& device) {
    if (device.find("://") != std::string::npos)
        return parseNetworkAddress(device)
                   ? ""
                   : "\"" + device + "\" is not rfc2217://HOST:PORT or tcp://HOST:PORT";
    return device[0] == '/' ? "" : "\"" + device + "\" is not an absolute path";
}

}  // namespace

const PortsFileEntry* PortsFile::find(int number) const {
    for (const auto& entry : entries)
        if (entry.number == number) return &entry;
    return nullptr;
}

const PortsFileEntry* PortsFile::findDevice(const std::string& device) const {
    for (const auto& entry : entries)
        if (entry.device == device) return &entry;
    return nullptr;
}

std::string defaultPortsFilePath() {
    const char* config = std::getenv("XDG_CONFIG_HOME");
    if (config && config[0] == '/') return std::string(config) + "/tarvoline/ports";
    const char* home = std::getenv("HOME");
    return std::string(home ? home : "") + "/.config/tarvoline/ports";
}

PortsFile readPortsFile(const std::string& path) {
    PortsFile file;
    file.path = path;
    std::ifstream in(path);
    std::string text;
    for (int line = 1; std::getline(in, text); ++line) {
        text = text.substr(0, text.find('#'));
        std::istringstream words(text);
        std::string number, device, more;
        if (!(words >> number)) continue;  // blank or comment
        words >> device >> more;
        const auto problem = [&](const std::string& why) {
            file.problems.push_back(path + ":" + std::to_string(line) + ": " + why);
        };
        const std::optional<int> n = wholeNumber(number, 1, 32767);
        if (!n) {
            problem("\"" + number + "\" is not a port number");
        } else if (device.empty() || !more.empty()) {
            problem("a line is NUMBER DEVICE");
        } else if (const std::string why = deviceProblem(device); !why.empty()) {
            problem(why);
        } else if (const PortsFileEntry* first = file.find(*n)) {
            problem("port " + number + " is given on line " + std::to_string(first->line) +
                    " already");
        } else {
            file.entries.push_back({*n, device, line});
        }
    }
    return file;
}

void addToPortsFile(const std::string& path, int number, const std::string& device) {
    std::error_code error;
    fs::create_directories(fs::path(path).parent_path(), error);
    // A last line without its newline must not run into the new one.
    std::string ending;
    {
        std::ifstream in(path, std::ios::binary);
        std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (!text.empty() && text.back() != '\n') ending = "\n";
    }
    std::ofstream out(path, std::ios::app);
    out << ending << number << ' ' << device << '\n';
    out.flush();
    if (!out) throw SerialError(path + ": cannot be written: " + std::strerror(errno));
}

int freePortNumber(const PortsFile& file) {
    for (int n = kFirstKeptNumber; n <= kLastKeptNumber; ++n)
        if (!file.find(n)) return n;
    return 0;
}

std::optional<NetworkAddress> parseNetworkAddress(const std::string& device) {
    NetworkAddress address;
    std::string rest;
    if (device.rfind("rfc2217://", 0) == 0) {
        address.rfc2217 = true;
        rest = device.substr(10);
    } else if (device.rfind("tcp://", 0) == 0) {
        rest = device.substr(6);
    } else {
        return std::nullopt;
    }
    const auto colon = rest.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    address.host = rest.substr(0, colon);
    if (address.host.front() == '[' && address.host.back() == ']')
        address.host = address.host.substr(1, address.host.size() - 2);
    const std::optional<int> port = wholeNumber(rest.substr(colon + 1), 1, 65535);
    if (!port || address.host.empty() || address.host.find_first_of(",/[] \t") != std::string::npos)
        return std::nullopt;
    address.port = *port;
    return address;
}

}  // namespace tvl
