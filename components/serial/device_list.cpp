#include "components/serial/device_list.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>

namespace fs = std::filesystem;

namespace tvl {

namespace {

std::string firstLine(const fs::path& file) {
    std::ifstream in(file);
    std::string line;
    std::getline(in, line);
    return line;
}

// The product name of the USB device a tty hangs under: a few levels up
// from its device folder (port, interface, device).
std::string productOf(const fs::path& ttyFolder) {
    std::error_code error;
    fs::path folder = fs::canonical(ttyFolder / "device", error);
    for (int up = 0; up < 4 && !error && folder.has_parent_path(); ++up) {
        const std::string product = firstLine(folder / "product");
        if (!product.empty()) return product;
        folder = folder.parent_path();
    }
    return {};
}

// by-id names by the node they point at: "ttyUSB0" ->
// "usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0".
std::map<std::string, std::string> byIdNames(const std::string& byId) {
    std::map<std::string, std::string> names;
    std::error_code error;
    for (const auto& link : fs::directory_iterator(byId, error)) {
        std::error_code ignored;
        const fs::path target = fs::canonical(link.path(), ignored);
        if (!ignored) names[target.filename().string()] = link.path().filename().string();
    }
    return names;
}

}  // namespace

int portNumberOfNode(const std::string& node) {
    static const struct {
        const char* prefix;
        int first, base;
    } kRule[] = {{"ttyUSB", 0, 100}, {"ttyACM", 0, 200}, {"ttyS", 1, 0}};
    for (const auto& kind : kRule) {
        const std::string prefix = kind.prefix;
        if (node.rfind(prefix, 0) != 0 || node.size() == prefix.size()) continue;
        const std::string digits = node.substr(prefix.size());
        if (digits.size() > 2 || digits.find_first_not_of("0123456789") != std::string::npos)
            return 0;
        return kind.base + kind.first + std::stoi(digits);
    }
    return 0;
}

std::vector<SerialDeviceEntry> serialDevices(const std::string& sysClassTty,
                                             const std::string& byId) {
    const auto names = byIdNames(byId);
    std::vector<SerialDeviceEntry> found;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(sysClassTty, error)) {
        const std::string node = entry.path().filename().string();
        const int number = portNumberOfNode(node);
        if (number == 0) continue;
        // The kernel lists ttyS0..ttyS31 whether or not a UART answers; type 0 is none.
        if (node.rfind("ttyS", 0) == 0 && firstLine(entry.path() / "type") == "0") continue;
        std::string product = productOf(entry.path());
        if (product.empty() && names.count(node)) product = names.at(node);
        found.push_back({number, node, product});
    }
    std::sort(found.begin(), found.end(),
              [](const auto& a, const auto& b) { return a.number < b.number; });
    return found;
}

bool heldElsewhere(const std::string& path) {
    std::error_code error;
    const fs::path target = fs::canonical(path, error);
    if (error) return false;
    const std::string self = std::to_string(getpid());
    for (const auto& process : fs::directory_iterator("/proc", error)) {
        const std::string pid = process.path().filename().string();
        if (pid == self || pid.find_first_not_of("0123456789") != std::string::npos) continue;
        std::error_code denied;  // another user's processes cannot be looked into
        for (const auto& fd : fs::directory_iterator(process.path() / "fd", denied)) {
            std::error_code gone;
            if (fs::read_symlink(fd.path(), gone) == target) return true;
        }
    }
    return false;
}

}  // namespace tvl
