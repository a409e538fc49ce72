// The number rule, virtual port links, and how the line thread behaves when
// the UI is busy, the far end hangs up, or a lot of data passes.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <thread>

#include "components/serial/device_rule.h"
#include "components/serial/posix_device.h"
#include "components/serial/virtual_port.h"
#include "tests/serial/line_fixtures.h"

namespace tvl::test {
namespace {

std::string refusalOf(SerialDeviceFactory& factory, int number) {
    try {
        factory.open(number, LineSettings{}, false, false, {});
    } catch (const SerialError& refusal) {
        return refusal.what();
    }
    return "(opened)";
}

TEST(PortNumberRule, NamesTheDeviceOfEachRange) {
    HeadlessLoop ui;
    // A made-up device folder: the rule is only described here, nothing is opened.
    SystemDevices devices(ui.poster(), "/devices", "/run/user/7/tarvoline");
    EXPECT_EQ(devices.describe(1), "/devices/ttyS0");
    EXPECT_EQ(devices.describe(3), "/devices/ttyS2");
    EXPECT_EQ(devices.describe(99), "/devices/ttyS98");
    EXPECT_EQ(devices.describe(100), "/devices/ttyUSB0");
    EXPECT_EQ(devices.describe(199), "/devices/ttyUSB99");
    EXPECT_EQ(devices.describe(200), "/devices/ttyACM0");
    EXPECT_EQ(devices.describe(299), "/devices/ttyACM99");
    EXPECT_EQ(devices.describe(900), "virtual port: /run/user/7/tarvoline/com900");
    EXPECT_EQ(devices.describe(999), "virtual port: /run/user/7/tarvoline/com999");
    for (int number : {0, -1, 300, 899, 1000}) {
        const std::string expected = "port number " + std::to_string(number) + " names no device";
        EXPECT_EQ(devices.describe(number), expected);
        EXPECT_EQ(refusalOf(devices, number), expected);
    }
}

TEST(PortNumberRule, MissingDevicesAndNonTerminalsAreRefusedByName) {
    HeadlessLoop ui;
    TempFolder folder;
    SystemDevices devices(ui.poster(), folder.path(), folder / "virtual");
    EXPECT_EQ(refusalOf(devices, 8), folder / "ttyS7" + ": no such device");
    EXPECT_EQ(refusalOf(devices, 101), folder / "ttyUSB1" + ": no such device");

    const int file = ::open((folder / "ttyACM0").c_str(), O_CREAT | O_WRONLY, 0600);
    ::close(file);
    EXPECT_EQ(refusalOf(devices, 200), folder / "ttyACM0" + " is not a serial line");
}

TEST(VirtualPortFolder, FollowsXdgRuntimeDirWhenUsable) {
    const char* saved = std::getenv("XDG_RUNTIME_DIR");
    const std::string before = saved ? saved : "";
    TempFolder runtime;
    const std::string fallback = "/tmp/tarvoline-" + std::to_string(getuid());

    setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);
    EXPECT_EQ(defaultVirtualPortFolder(), runtime / "tarvoline");
    setenv("XDG_RUNTIME_DIR", (runtime / "missing").c_str(), 1);
    EXPECT_EQ(defaultVirtualPortFolder(), fallback);
    setenv("XDG_RUNTIME_DIR", "", 1);
    EXPECT_EQ(defaultVirtualPortFolder(), fallback);
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(defaultVirtualPortFolder(), fallback);

    if (saved) setenv("XDG_RUNTIME_DIR", before.c_str(), 1);
}

TEST(VirtualPortLink, IsPublishedReplacedWhenStaleAndRemovedOnClose) {
    HeadlessLoop ui;
    TempFolder parent;
    const std::string folder = parent / "tarvoline";  // created by the first open
    const std::string link = folder + "/com901";
    {
        SystemDevices devices(ui.poster(), parent / "dev", folder);
        auto port = devices.open(901, LineSettings{}, false, false, {});
        struct stat st {};
        ASSERT_EQ(stat(folder.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0700u);
        ASSERT_EQ(stat(link.c_str(), &st), 0) << "no link at " << link;
        EXPECT_TRUE(S_ISCHR(st.st_mode));
        EXPECT_EQ(port->deviceName(), "virtual port: " + link);
    }
    struct stat st {};
    EXPECT_NE(lstat(link.c_str(), &st), 0) << "the link outlived its port";

    // A link left by an instance that died is replaced.
    ASSERT_EQ(symlink("/dev/pts/nothing-here", link.c_str()), 0);
    SystemDevices devices(ui.poster(), parent / "dev", folder);
    {
        auto port = devices.open(901, LineSettings{}, false, false, {});
        auto& vport = dynamic_cast<VirtualPort&>(*port);
        char target[256] = {};
        ASSERT_GT(readlink(link.c_str(), target, sizeof target - 1), 0);
        EXPECT_EQ(std::string(target), vport.terminal());
    }

    // Something that is not a link is not ours to replace.
    const int file = ::open(link.c_str(), O_CREAT | O_WRONLY, 0600);
    ::close(file);
    EXPECT_NE(refusalOf(devices, 901).find("is not a link"), std::string::npos);
    EXPECT_EQ(::access(link.c_str(), F_OK), 0);
}

// A device on the slave end of a pseudo-terminal: the test holds the master.
struct DeviceOnPty {
    DeviceOnPty() {
        symlink(pty.terminal().c_str(), (folder / "ttyUSB0").c_str());
        events.readable = [this] { ++readable; };
        device = std::unique_ptr<PosixDevice>(static_cast<PosixDevice*>(
            devices.open(100, LineSettings{}, true, true, events).release()));
    }
    HeadlessLoop ui;
    TempFolder folder;
    PtyPair pty;
    SystemDevices devices{ui.poster(), folder.path(), folder / "virtual"};
    DeviceEvents events;
    int readable = 0;
    std::unique_ptr<PosixDevice> device;
};

TEST(LineThread, ReadsEagerlyWhileTheUiIsBusyAndPostsOneCallAtATime) {
    DeviceOnPty line;
    EXPECT_EQ(line.device->modemStatus(), 0u) << "a pseudo-terminal has no modem lines";

    // The UI runs nothing meanwhile. A pseudo-terminal buffers far less than
    // this, so the writer finishes only if the device keeps reading.
    const std::string sent = noise(1 << 20, 7);
    std::size_t written = 0;
    std::thread writer([&] {
        for (std::size_t at = 0; at < sent.size(); at += 509)
            written += writeAll(line.pty.master(), std::string_view(sent).substr(at, 509));
    });
    writer.join();
    ASSERT_EQ(written, sent.size());
    while (line.device->inBufferCount() < sent.size()) std::this_thread::sleep_for(1ms);

    EXPECT_EQ(line.ui.waiting(), 1u) << "readable posts were not coalesced";
    line.ui.runPosted();
    EXPECT_EQ(line.readable, 1);

    std::string got(sent.size() + 1, '\0');
    got.resize(line.device->read(got.data(), got.size()));
    EXPECT_EQ(got, sent);

    // The next arrival posts again.
    writeAll(line.pty.master(), "more");
    ASSERT_TRUE(line.ui.runUntil([&] { return line.readable == 2; }));
}

TEST(LineThread, OutputNobodyReadsStopsGrowingAtTheLimitAndKeepsTheOldestBytes) {
    DeviceOnPty line;
    line.device->setOutputLimit(64 * 1024);
    const std::string sent = noise(1 << 20, 3);
    for (std::size_t at = 0; at < sent.size(); at += 4096)
        line.device->write(std::string_view(sent).substr(at, 4096));

    // The far end reads nothing: the pseudo-terminal fills, the queue stays bounded.
    EXPECT_LE(line.device->outBufferCount(), 64u * 1024);
    const std::uint64_t dropped = line.device->droppedOutput();
    EXPECT_GT(dropped, 0u);

    // What was kept arrives whole and in order once the far end reads.
    const std::string got = readSome(line.pty.master(), sent.size() - dropped);
    EXPECT_EQ(got.size() + dropped, sent.size());
    EXPECT_TRUE(got == sent.substr(0, got.size())) << "kept output was reordered or torn";
    EXPECT_EQ(line.device->droppedOutput(), dropped);
}

TEST(LineThread, ACallPostedBeforeCloseDoesNothingAfterIt) {
    HeadlessLoop ui;
    TempFolder folder;
    bool raised = false;
    DeviceEvents events;
    events.readable = [&] { raised = true; };
    SystemDevices devices(ui.poster(), folder / "dev", folder.path());
    auto port = devices.open(950, LineSettings{}, false, false, events);
    const int client = ::open((folder / "com950").c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(client, 0);
    writeAll(client, "bye");
    while (ui.waiting() == 0) std::this_thread::sleep_for(1ms);

    port.reset();
    ui.runPosted();
    EXPECT_FALSE(raised);
    ::close(client);
}

TEST(LineThread, ADeviceWhoseFarEndHangsUpReadsEmptyWithoutSpinning) {
    DeviceOnPty line;
    writeAll(line.pty.master(), "last words");
    ASSERT_TRUE(line.ui.runUntil([&] { return line.device->inBufferCount() == 10; }));
    line.pty.closeMaster();
    ASSERT_TRUE(line.ui.runUntil([&] { return line.device->hungUp(); }));

    const std::uint64_t before = line.device->wakeups();
    line.device->write("into the void");
    line.device->setDTR(false);
    std::this_thread::sleep_for(600ms);
    // A spinning thread wakes millions of times here; a resting one a few.
    EXPECT_LT(line.device->wakeups() - before, 20u);
    EXPECT_EQ(line.device->outBufferCount(), 0u) << "writes to a gone line are dropped";

    std::string got(64, '\0');
    got.resize(line.device->read(got.data(), got.size()));
    EXPECT_EQ(got, "last words");
    EXPECT_EQ(line.device->inBufferCount(), 0u);
}

TEST(LineThread, AMasterWhoseClientLeavesReadsEmptyWithoutSpinning) {
    HeadlessLoop ui;
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    ASSERT_GE(master, 0);
    grantpt(master);
    unlockpt(master);
    char terminal[128];
    ptsname_r(master, terminal, sizeof terminal);
    const int client = ::open(terminal, O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(client, 0);
    auto device = PosixDevice::adopt(master, "pty", LineSettings{}, false, false, {}, ui.poster());

    writeAll(client, "abc");
    ASSERT_TRUE(ui.runUntil([&] { return device->inBufferCount() == 3; }));
    ::close(client);
    ASSERT_TRUE(ui.runUntil([&] { return device->hungUp(); }));
    const std::uint64_t before = device->wakeups();
    std::this_thread::sleep_for(600ms);
    EXPECT_LT(device->wakeups() - before, 20u);
    EXPECT_EQ(device->inBufferCount(), 3u);
}

TEST(VirtualPortTransfer, AMegabyteEachWayArrivesOnceAndInOrder) {
    HeadlessLoop ui;
    TempFolder folder;
    SystemDevices devices(ui.poster(), folder / "dev", folder.path());
    SerialPort port(devices);
    port.setCommPort(901);
    port.setSettings("115200,N,8,1");
    port.setPortOpen(true);
    const int client =
        ::open(virtualPortPath(folder.path(), 901).c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(client, 0);

    const std::string toPort = noise(1 << 20, 1);
    const std::string fromPort = noise(1 << 20, 2);
    std::string atClient;
    std::size_t clientWrote = 0;
    std::thread writer([&] { clientWrote = writeAll(client, toPort, 60s); });
    std::thread reader([&] { atClient = readSome(client, fromPort.size(), 60s); });

    for (std::size_t at = 0; at < fromPort.size(); at += 4093)
        port.Output(std::string_view(fromPort).substr(at, 4093));
    std::string atPort;
    ui.runUntil(
        [&] {
            atPort += port.Input();
            return atPort.size() >= toPort.size();
        },
        60s);
    writer.join();
    reader.join();
    ::close(client);

    EXPECT_EQ(clientWrote, toPort.size());
    EXPECT_EQ(atPort.size(), toPort.size());
    EXPECT_TRUE(atPort == toPort) << "bytes into the port were lost, repeated or reordered";
    EXPECT_EQ(atClient.size(), fromPort.size());
    EXPECT_TRUE(atClient == fromPort) << "bytes out of the port were lost, repeated or reordered";
}

}  // namespace
}  // namespace tvl::test
