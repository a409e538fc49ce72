#include "components/serial/device_list.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
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

// The number of a pseudo-terminal's slave end (/dev/pts/N), -1 for any other file.
int ptyIndex(const fs::path& file) {
    struct stat st {};
    if (stat(file.c_str(), &st) != 0 || !S_ISCHR(st.st_mode)) return -1;
    const unsigned major = ::major(st.st_rdev);
    if (major < 136 || major > 143) return -1;
    return static_cast<int>((major - 136) * 256 + ::minor(st.st_rdev));
}

// The pseudo-terminal a master fd belongs to, from its fdinfo; -1 when unknown.
int masterIndex(const fs::path& fdinfo) {
    std::ifstream in(fdinfo);
    for (std::string line; std::getline(in, line);)
        if (line.rfind("tty-index:", 0) == 0) return std::atoi(line.c_str() + 10);
    return -1;
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
        const auto name = names.find(node);
        found.push_back({number, node, productOf(entry.path()),
                         name == names.end() ? std::string() : byId + "/" + name->second});
    }
    std::sort(found.begin(), found.end(),
              [](const auto& a, const auto& b) { return a.number < b.number; });
    return found;
}

std::string holderOf(const std::string& path) {
    std::error_code error;
    const fs::path target = fs::canonical(path, error);
    if (error) return {};
    const int pty = ptyIndex(target);
    const std::string self = std::to_string(getpid());
    for (const auto& process : fs::directory_iterator("/proc", error)) {
        const std::string pid = process.path().filename().string();
        if (pid == self || pid.find_first_not_of("0123456789") != std::string::npos) continue;
        bool opened = false, farEnd = false;
        std::error_code denied;  // another user's processes cannot be looked into
        for (const auto& fd : fs::directory_iterator(process.path() / "fd", denied)) {
            std::error_code gone;
            const fs::path file = fs::read_symlink(fd.path(), gone);
            if (file == target) opened = true;
            if (pty >= 0 && (file == "/dev/ptmx" || file == "/dev/pts/ptmx"))
                farEnd =
                    farEnd || masterIndex(process.path() / "fdinfo" / fd.path().filename()) == pty;
        }
        if (opened && !farEnd) return firstLine(process.path() / "comm") + ", process " + pid;
    }
    return {};
}

}  // namespace tvl
