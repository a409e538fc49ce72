// The ports file: the user's numbers ahead of the rule, the device list built
// with it, and the numbers a pick keeps there for USB adapters.
#include <gtest/gtest.h>

#include <filesystem>

#include "components/serial/device_rule.h"
#include "components/serial/ports_file.h"
#include "tests/serial/line_fixtures.h"
#include "tests/support/text_io.h"

namespace tvl::test {
namespace {

namespace fs = std::filesystem;
using testing::readFile, testing::writeFile;

TEST(PortsFile, KeepsGoodLinesReportsBadOnesByLineAndAppendsWithoutLoss) {
    TempFolder folder;
    const std::string path = folder / "ports";
    const std::string text =
        "# adapters and servers\n"
        "300 /dev/serial/by-id/usb-FTDI-if00   # the PLC\n"
        "\n"
        "310 rfc2217://plc-gw.local:4001\n"
        "x12 /dev/ttyS0\n"
        "311 tcp://[::1]:7000\n"
        "312 ttyUSB0\n"
        "313 rfc2217://gw\n"
        "314 /dev/a /dev/b\n"
        "300 /dev/ttyS3";  // no newline at the end
    writeFile(path, text);
    const PortsFile file = readPortsFile(path);
    std::vector<std::tuple<int, std::string, int>> entries;
    for (const auto& e : file.entries) entries.emplace_back(e.number, e.device, e.line);
    EXPECT_EQ(entries, (decltype(entries){{300, "/dev/serial/by-id/usb-FTDI-if00", 2},
                                          {310, "rfc2217://plc-gw.local:4001", 4},
                                          {311, "tcp://[::1]:7000", 6}}));
    EXPECT_EQ(file.problems,
              (std::vector<std::string>{
                  path + ":5: \"x12\" is not a port number",
                  path + ":7: \"ttyUSB0\" is not an absolute path",
                  path + ":8: \"rfc2217://gw\" is not rfc2217://HOST:PORT or tcp://HOST:PORT",
                  path + ":9: a line is NUMBER DEVICE",
                  path + ":10: port 300 is given on line 2 already"}));
    const auto v6 = parseNetworkAddress("tcp://[::1]:7000");
    ASSERT_TRUE(v6);
    EXPECT_EQ(std::tuple(v6->rfc2217, v6->host, v6->port), std::tuple(false, "::1", 7000));
    EXPECT_FALSE(parseNetworkAddress("rfc2217://gw:65536"));

    addToPortsFile(path, freePortNumber(file), "/dev/serial/by-id/usb-Arduino-if00");
    EXPECT_EQ(readFile(path), text + "\n301 /dev/serial/by-id/usb-Arduino-if00\n");
    addToPortsFile(folder / "new/tarvoline/ports", 300, "tcp://gw:1");  // folders made
    EXPECT_EQ(readFile(folder / "new/tarvoline/ports"), "300 tcp://gw:1\n");
    EXPECT_THROW(addToPortsFile(folder / "ports/inside", 300, "tcp://gw:1"), SerialError);
}

TEST(PortsFile, NumbersReachTheirDevicesAheadOfTheRule) {
    TempFolder folder;
    PtyPair pty;
    fs::create_directories(folder / "by-id");
    fs::create_symlink(pty.terminal(), folder / "by-id/usb-FTDI_FT232R_A50285BI-if00-port0");
    const std::string byId = folder / "by-id/usb-FTDI_FT232R_A50285BI-if00-port0";
    // 5 would be ttyS4 by the rule, which is missing; 901 would be a virtual port.
    writeFile(folder / "ports", "5 " + byId + "\n901 tcp://127.0.0.1:9\n");
    HeadlessLoop ui;
    SystemDevices devices(ui.poster(), folder.path(), folder / "virtual");
    devices.usePortsFile(folder / "ports");
    EXPECT_EQ(devices.describe(5), byId);
    EXPECT_EQ(devices.presence(5), Presence::Present);
    EXPECT_EQ(devices.describe(901), "tcp://127.0.0.1:9");
    EXPECT_EQ(devices.presence(901), Presence::Network);
    EXPECT_EQ(devices.describe(6), folder / "ttyS5");

    SerialPort port(devices);
    port.setCommPort(5);
    port.setPortOpen(true);
    EXPECT_EQ(port.device()->deviceName(), byId);
    port.Output("via by-id");
    EXPECT_EQ(readSome(pty.master(), 9), "via by-id");
}

TEST(DeviceList, ShowsStableNamesWithTheirNumbersAndKeepsANumberForAPickedAdapter) {
    TempFolder tree;
    // A UART, a ttyS with no UART behind it, a USB adapter with a product name
    // two levels up, a modem known by its by-id link, a console.
    writeFile(tree / "class/ttyS0/type", "4");
    writeFile(tree / "class/ttyS1/type", "0");
    writeFile(tree / "devices/usb1/1-1/product", "FT232R USB UART");
    fs::create_directories(tree / "devices/usb1/1-1/1-1:1.0/ttyUSB0");
    fs::create_directories(tree / "class/ttyUSB0");
    fs::create_directory_symlink(tree / "devices/usb1/1-1/1-1:1.0/ttyUSB0",
                                 tree / "class/ttyUSB0/device");
    fs::create_directories(tree / "class/ttyACM1");
    fs::create_directories(tree / "class/tty0");
    writeFile(tree / "dev/ttyUSB0", "");
    writeFile(tree / "dev/ttyACM1", "");
    fs::create_directories(tree / "by-id");
    const std::string ftdi = tree / "by-id/usb-FTDI_FT232R_USB_UART_A50285BI-if00-port0";
    const std::string uno = tree / "by-id/usb-Arduino_Uno_75830-if00";
    fs::create_symlink(tree / "dev/ttyUSB0", ftdi);
    fs::create_symlink(tree / "dev/ttyACM1", uno);
    const std::string ports = tree / "config/tarvoline/ports";
    writeFile(ports, "300 " + uno + "\n310 rfc2217://gw:4001\n320 /dev/serial/by-id/gone\nbad\n");

    HeadlessLoop ui;
    SystemDevices devices(ui.poster(), tree / "dev", tree / "virtual");
    devices.listDevicesFrom(tree / "class", tree / "by-id");
    devices.usePortsFile(ports);
    const auto texts = [&] {
        std::vector<std::string> lines;
        for (const auto& line : devices.listing()) lines.push_back(line.text);
        return lines;
    };
    EXPECT_EQ(texts(), (std::vector<std::string>{
                           "1 = " + tree / "dev/ttyS0",
                           "100 = " + ftdi + " (ttyUSB0, FT232R USB UART)",
                           "300 = " + uno + " (ttyACM1)",
                           "310 = rfc2217://gw:4001",
                           "320 = /dev/serial/by-id/gone (not present)",
                           ports + ":4: \"bad\" is not a port number",
                       }));

    // A pick of the adapter keeps a number for it, once; the others keep theirs.
    const auto listing = devices.listing();
    EXPECT_EQ(devices.keepNumber(listing[0]), 1);
    EXPECT_EQ(devices.keepNumber(listing[2]), 300);
    EXPECT_EQ(devices.keepNumber(listing[1]), 301);
    EXPECT_EQ(devices.keepNumber(listing[1]), 301);
    EXPECT_EQ(devices.keepNumber(listing[5]), 0);
    EXPECT_EQ(texts()[1], "301 = " + ftdi + " (ttyUSB0, FT232R USB UART)");
    EXPECT_EQ(readPortsFile(ports).entries.size(), 4u);

    // A file number that takes the rule's number of a UART leaves it none until picked.
    writeFile(ports, "1 tcp://gw:1\n");
    const auto taken = devices.listing();
    EXPECT_EQ(taken[0].text, "no number = " + tree / "dev/ttyS0");
    EXPECT_EQ(devices.keepNumber(taken[0]), 300);
    EXPECT_EQ(devices.describe(300), tree / "dev/ttyS0");
}

}  // namespace
}  // namespace tvl::test
