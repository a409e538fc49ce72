// What the Setup dialog tells about this computer's serial devices:
//
//   serialDevices      the devices present, from /sys/class/tty (a ttyS with no
//                      UART behind it left out), each with the port number the
//                      rule gives it and, for a USB adapter, its product name
//                      and its stable /dev/serial/by-id name
//   holderOf           which other process has a file open, from /proc
//
// Nothing here opens a device: opening a serial line raises its DTR, which
// resets many boards.
#pragma once

#include <string>
#include <vector>

namespace tvl {

struct SerialDeviceEntry {
    int number = 0;       // the port number that opens it
    std::string node;     // "ttyUSB0"
    std::string product;  // "FT232R USB UART", or empty
    std::string byId;     // "<by-id folder>/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0", or empty
};

// The port number of a node name by the number rule, 0 for none.
int portNumberOfNode(const std::string& node);

std::vector<SerialDeviceEntry> serialDevices(const std::string& sysClassTty = "/sys/class/tty",
                                             const std::string& byId = "/dev/serial/by-id");

// Another process that has the file open, as "socat, process 1234"; empty
// when none that this user may look into has. The process that made a
// pseudo-terminal and holds its master is the far end of the line, not
// another opener, even while it holds the other end too (as socat does).
std::string holderOf(const std::string& path);
inline bool heldElsewhere(const std::string& path) { return !holderOf(path).empty(); }

}  // namespace tvl
