// The ports file: the user's own port numbers, looked up before the number rule.
//
//   # the PLC's adapter keeps its number whichever socket it is in
//   300 /dev/serial/by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0
//   310 rfc2217://plc-gateway:4001
//   311 tcp://127.0.0.1:7000
//
// One NUMBER DEVICE a line, `#` starts a comment. DEVICE is an absolute path,
// rfc2217://HOST:PORT (a device server that takes the line settings and the
// modem lines) or tcp://HOST:PORT (bytes only). A malformed line, or a number
// given a second time, is reported with its line number and left out; every
// other line holds.
//
//   defaultPortsFilePath   $XDG_CONFIG_HOME/tarvoline/ports, else ~/.config/tarvoline/ports
//   readPortsFile          the entries and the problems of a file (none when missing)
//   addToPortsFile         appends one entry, leaving every line there as it was
//   freePortNumber         the first number of 300..899 the file does not use
//   parseNetworkAddress    rfc2217://HOST:PORT or tcp://HOST:PORT, taken apart
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tvl {

struct PortsFileEntry {
    int number = 0;
    std::string device;  // a path or a network address as written
    int line = 0;        // where it stands in the file, from 1
};

struct PortsFile {
    std::string path;
    std::vector<PortsFileEntry> entries;
    std::vector<std::string> problems;  // "<path>:4: ..." one for each line left out
    const PortsFileEntry* find(int number) const;
    const PortsFileEntry* findDevice(const std::string& device) const;
};

std::string defaultPortsFilePath();

PortsFile readPortsFile(const std::string& path);

// Throws SerialError naming the file when it cannot be written.
void addToPortsFile(const std::string& path, int number, const std::string& device);

// The range the number rule leaves free, where new numbers go.
constexpr int kFirstKeptNumber = 300;
constexpr int kLastKeptNumber = 899;
int freePortNumber(const PortsFile& file);  // 0 when every one is taken

struct NetworkAddress {
    bool rfc2217 = false;  // else raw TCP
    std::string host;
    int port = 0;
};
std::optional<NetworkAddress> parseNetworkAddress(const std::string& device);

}  // namespace tvl
