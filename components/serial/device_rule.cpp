#include "components/serial/device_rule.h"

#include <sys/stat.h>
#include <unistd.h>

#include "components/serial/device_list.h"
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

std::string SystemDevices::devicePath(int number) const {
    const auto node = [this](const char* kind, int index) {
        return deviceFolder_ + "/" + kind + std::to_string(index);
    };
    if (number >= 1 && number <= 99) return node("ttyS", number - 1);
    if (number >= 100 && number <= 199) return node("ttyUSB", number - 100);
    if (number >= 200 && number <= 299) return node("ttyACM", number - 200);
    return {};
}

std::string SystemDevices::describe(int number) const {
    if (isVirtual(number)) return "virtual port: " + virtualPortPath(virtualFolder_, number);
    const std::string path = devicePath(number);
    return path.empty() ? namesNoDevice(number) : path;
}

Presence SystemDevices::presence(int number) const {
    // A virtual port is made at opening; another instance holds its lock file.
    if (isVirtual(number))
        return heldElsewhere(virtualPortPath(virtualFolder_, number) + ".lock") ? Presence::Busy
                                                                                : Presence::Present;
    const std::string path = devicePath(number);
    struct stat st {};
    if (path.empty() || stat(path.c_str(), &st) != 0) return Presence::Missing;
    if (access(path.c_str(), R_OK | W_OK) != 0) return Presence::NotPermitted;
    return heldElsewhere(path) ? Presence::Busy : Presence::Present;
}

std::vector<std::string> SystemDevices::present() const {
    std::vector<std::string> lines;
    for (const auto& device : serialDevices(sysClassTty_, byId_)) {
        std::string line = std::to_string(device.number) + " = /dev/" + device.node;
        if (!device.product.empty()) line += " (" + device.product + ")";
        lines.push_back(line);
    }
    return lines;
}

std::unique_ptr<SerialDevice> SystemDevices::open(int number, const LineSettings& line, bool dtr,
                                                  bool rts, DeviceEvents events) {
    if (isVirtual(number))
        return VirtualPort::open(number, virtualFolder_, line, dtr, rts, std::move(events),
                                 poster_);
    const std::string path = devicePath(number);
    if (path.empty()) throw SerialError(namesNoDevice(number));
    return PosixDevice::open(path, line, dtr, rts, std::move(events), poster_);
}

}  // namespace tvl
