// What Setup learns about this computer's devices without opening them, and
// what closing a port leaves behind.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "components/serial/device_rule.h"
#include "tests/serial/line_fixtures.h"

namespace tvl::test {
namespace {

namespace fs = std::filesystem;

void write(const std::string& file, const std::string& text) {
    fs::create_directories(fs::path(file).parent_path());
    std::ofstream(file) << text << "\n";
}

TEST(DeviceList, NamesEachSerialDeviceWithItsNumberAndProduct) {
    TempFolder tree;
    // A UART, a ttyS with no UART behind it, a USB adapter with a product
    // name two levels up, a modem known only by its by-id link, a console.
    write(tree / "class/ttyS0/type", "4");
    write(tree / "class/ttyS1/type", "0");
    write(tree / "devices/usb1/1-1/product", "FT232R USB UART");
    fs::create_directories(tree / "devices/usb1/1-1/1-1:1.0/ttyUSB0");
    fs::create_directories(tree / "class/ttyUSB0");
    fs::create_directory_symlink(tree / "devices/usb1/1-1/1-1:1.0/ttyUSB0",
                                 tree / "class/ttyUSB0/device");
    fs::create_directories(tree / "class/ttyACM1");
    write(tree / "dev/ttyACM1", "");
    fs::create_directories(tree / "by-id");
    fs::create_symlink(tree / "dev/ttyACM1", tree / "by-id/usb-Arduino_Uno_75830-if00");
    fs::create_directories(tree / "class/tty0");

    HeadlessLoop ui;
    SystemDevices devices(ui.poster());
    devices.listDevicesFrom(tree / "class", tree / "by-id");
    EXPECT_EQ(devices.present(),
              (std::vector<std::string>{"1 = /dev/ttyS0", "100 = /dev/ttyUSB0 (FT232R USB UART)",
                                        "201 = /dev/ttyACM1 (usb-Arduino_Uno_75830-if00)"}));
}

TEST(DevicePresence, PresentBusyAndMissingWithoutOpeningTheDevice) {
    TempFolder folder;
    PtyPair pty;
    const std::string node = folder / "ttyS4";  // port number 5
    ASSERT_EQ(::symlink(pty.terminal().c_str(), node.c_str()), 0);
    HeadlessLoop ui;
    SystemDevices devices(ui.poster(), folder.path(), folder / "virtual");
    EXPECT_EQ(devices.presence(5), Presence::Present);
    EXPECT_EQ(devices.presence(6), Presence::Missing);
    EXPECT_EQ(devices.presence(300), Presence::Missing);

    const pid_t other = fork();  // another program holds the device
    if (other == 0) {
        ::open(node.c_str(), O_RDWR | O_NOCTTY);
        ::pause();
        ::_exit(0);
    }
    EXPECT_TRUE(ui.runUntil([&] { return devices.presence(5) == Presence::Busy; }, 5s));
    ::kill(other, SIGKILL);
    ::waitpid(other, nullptr, 0);
    EXPECT_EQ(devices.presence(5), Presence::Present);
}

TEST(DeviceClose, PutsBackTheLineSettingsItFound) {
    TempFolder folder;
    PtyPair pty;
    ASSERT_EQ(::symlink(pty.terminal().c_str(), (folder / "ttyS4").c_str()), 0);
    auto settingsOfTerminal = [&] {
        const int fd = ::open(pty.terminal().c_str(), O_RDWR | O_NOCTTY);
        termios t{};
        tcgetattr(fd, &t);
        ::close(fd);
        return t;
    };
    const termios found = settingsOfTerminal();
    HeadlessLoop ui;
    SystemDevices devices(ui.poster(), folder.path(), folder / "virtual");
    SerialPort port(devices);
    port.setCommPort(5);
    port.setSettings("300,E,7,2");
    port.setPortOpen(true);
    EXPECT_NE(settingsOfTerminal().c_lflag, found.c_lflag) << "the port runs raw";
    port.setPortOpen(false);
    const termios after = settingsOfTerminal();
    const auto flags = [](const termios& t) {
        return std::tuple(t.c_iflag, t.c_oflag, t.c_cflag, t.c_lflag, cfgetospeed(&t));
    };
    EXPECT_EQ(flags(after), flags(found));
}

}  // namespace
}  // namespace tvl::test
