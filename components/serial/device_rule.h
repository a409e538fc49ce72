// The rule from a port number to a device on this system. A number in the
// ports file (ports_file.h) comes first: a path, rfc2217://HOST:PORT or
// tcp://HOST:PORT. Then the fixed rule:
//
//   1..99      <devices>/ttyS<N-1>      (COM1 is /dev/ttyS0)
//   100..199   <devices>/ttyUSB<N-100>
//   200..299   <devices>/ttyACM<N-200>
//   900..999   virtual port N, published at <virtual folder>/comN
//   otherwise  refused: the number names no device
//
// The device folder is /dev and the virtual-port folder defaultVirtualPortFolder();
// both can be given, so that the rule can be pointed at pseudo-terminals.
#pragma once

#include <string>

#include "components/serial/ports_file.h"
#include "components/serial/serial_port.h"

namespace tvl {

class SystemDevices : public SerialDeviceFactory {
public:
    explicit SystemDevices(Poster poster, std::string deviceFolder = "/dev",
                           std::string virtualFolder = {});  // empty: the default folder

    std::unique_ptr<SerialDevice> open(int number, const LineSettings& line, bool dtr, bool rts,
                                       DeviceEvents events) override;
    std::string describe(int number) const override;
    Presence presence(int number) const override;
    std::vector<PortListing> listing() const override;
    int keepNumber(const PortListing& pick) override;

    // What a number reaches: the ports file's device, else the rule's node
    // path; "" for a virtual port or a number of no device.
    std::string deviceOf(int number) const;
    static bool isVirtual(int number) { return number >= 900 && number <= 999; }

    const std::string& virtualFolder() const { return virtualFolder_; }
    void usePortsFile(std::string path) { portsFile_ = std::move(path); }
    const std::string& portsFile() const { return portsFile_; }

    // Where present() looks for devices: /sys/class/tty and /dev/serial/by-id
    // unless given (a made-up tree for tests and screenshots).
    void listDevicesFrom(std::string sysClassTty, std::string byId) {
        sysClassTty_ = std::move(sysClassTty);
        byId_ = std::move(byId);
    }

private:
    std::string ruleDevice(int number) const;  // the node path of the fixed rule

    Poster poster_;
    std::string deviceFolder_;
    std::string virtualFolder_;
    std::string sysClassTty_ = "/sys/class/tty";
    std::string byId_ = "/dev/serial/by-id";
    std::string portsFile_ = defaultPortsFilePath();
};

}  // namespace tvl
