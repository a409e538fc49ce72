#include "components/serial/device_rule.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "components/serial/device_list.h"
#include "components/serial/network_device.h"
#include "components/serial/posix_device.h"
#include "components/serial/virtual_port.h"

namespace tvl {

namespace {
std::string namesNoDevice(int number) {
    return "port number " + std::to_string(number) + " names no device";
}
}  // namespace

SystemDevices::SystemDevices(Poster poster, std::string deviceFolder, std::string virtualFolder)
    : poster_(std::move(poster)),
      deviceFolder_(std::move(deviceFolder)),
      virtualFolder_(virtualFolder.empty() ? defaultVirtualPortFolder()
                                           : std::move(virtualFolder)) {}

std::string SystemDevices::ruleDevice(int number) const {
    const auto node = [this](const char* kind, int index) {
        return deviceFolder_ + "/" + kind + std::to_string(index);
    };
    if (number >= 1 && number <= 99) return node("ttyS", number - 1);
    if (number >= 100 && number <= 199) return node("ttyUSB", number - 100);
    if (number >= 200 && number <= 299) return node("ttyACM", number - 200);
    return {};
}

std::string SystemDevices::deviceOf(int number) const {
    const PortsFile file = readPortsFile(portsFile_);
    if (const PortsFileEntry* entry = file.find(number)) return entry->device;
    return isVirtual(number) ? std::string() : ruleDevice(number);
}

std::string SystemDevices::describe(int number) const {
    const std::string device = deviceOf(number);
    if (device.empty() && isVirtual(number))
        return "virtual port: " + virtualPortPath(virtualFolder_, number);
    return device.empty() ? namesNoDevice(number) : device;
}

Presence SystemDevices::presence(int number) const {
    const std::string path = deviceOf(number);
    // A virtual port is made at opening; another instance holds its lock file.
    if (path.empty() && isVirtual(number))
        return heldElsewhere(virtualPortPath(virtualFolder_, number) + ".lock") ? Presence::Busy
                                                                                : Presence::Present;
    if (parseNetworkAddress(path)) return Presence::Network;
    struct stat st {};
    if (path.empty() || stat(path.c_str(), &st) != 0) return Presence::Missing;
    if (access(path.c_str(), R_OK | W_OK) != 0) return Presence::NotPermitted;
    return heldElsewhere(path) ? Presence::Busy : Presence::Present;
}

namespace {
// The same device node, whatever links lead to it.
bool sameNode(const std::string& a, const std::string& b) {
    std::error_code error;
    return !a.empty() && !b.empty() && (a == b || std::filesystem::equivalent(a, b, error));
}
}  // namespace

std::vector<PortListing> SystemDevices::listing() const {
    const PortsFile file = readPortsFile(portsFile_);
    std::vector<bool> shown(file.entries.size(), false);
    std::vector<PortListing> lines;
    for (const auto& device : serialDevices(sysClassTty_, byId_)) {
        const std::string node = deviceFolder_ + "/" + device.node;
        PortListing line;
        // The file's number for it, else the rule's, unless the file gives that one elsewhere.
        for (std::size_t i = 0; i < file.entries.size(); ++i) {
            if (shown[i] || !(sameNode(file.entries[i].device, device.byId) ||
                              sameNode(file.entries[i].device, node)))
                continue;
            shown[i] = true;
            if (!line.number) line.number = file.entries[i].number;
        }
        if (!line.number) {  // not in the file: a USB adapter gets a number there when picked
            if (!file.find(device.number)) line.number = device.number;
            if (device.node.rfind("ttyS", 0) != 0 || !line.number)
                line.keep = device.byId.empty() ? node : device.byId;
        }
        std::string detail = device.byId.empty() ? std::string() : device.node;
        if (!device.product.empty()) detail += (detail.empty() ? "" : ", ") + device.product;
        line.text = (line.number ? std::to_string(line.number) : std::string("no number")) + " = " +
                    (device.byId.empty() ? node : device.byId) +
                    (detail.empty() ? "" : " (" + detail + ")");
        lines.push_back(std::move(line));
    }
    for (std::size_t i = 0; i < file.entries.size(); ++i) {
        if (shown[i]) continue;
        const PortsFileEntry& entry = file.entries[i];
        struct stat st {};
        const bool absent =
            !parseNetworkAddress(entry.device) && stat(entry.device.c_str(), &st) != 0;
        lines.push_back(
            {entry.number,
             std::to_string(entry.number) + " = " + entry.device + (absent ? " (not present)" : ""),
             {}});
    }
    for (const auto& problem : file.problems) lines.push_back({0, problem, {}});
    return lines;
}

int SystemDevices::keepNumber(const PortListing& pick) {
    if (pick.keep.empty()) return pick.number;
    const PortsFile file = readPortsFile(portsFile_);
    if (const PortsFileEntry* entry = file.findDevice(pick.keep)) return entry->number;
    const int number = freePortNumber(file);
    if (!number)
        throw SerialError(portsFile_ + ": every number from " + std::to_string(kFirstKeptNumber) +
                          " to " + std::to_string(kLastKeptNumber) + " is taken");
    addToPortsFile(portsFile_, number, pick.keep);
    return number;
}

std::unique_ptr<SerialDevice> SystemDevices::open(int number, const LineSettings& line, bool dtr,
                                                  bool rts, DeviceEvents events) {
    const std::string device = deviceOf(number);
    if (device.empty() && isVirtual(number))
        return VirtualPort::open(number, virtualFolder_, line, dtr, rts, std::move(events),
                                 poster_);
    if (device.empty()) throw SerialError(namesNoDevice(number));
    if (const auto address = parseNetworkAddress(device))
        return NetworkDevice::open(device, *address, line, dtr, rts, std::move(events), poster_);
    return PosixDevice::open(device, line, dtr, rts, std::move(events), poster_);
}

}  // namespace tvl
