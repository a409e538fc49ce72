// The number rule, virtual port links, and how the line thread behaves when
// the UI is busy, the far end hangs up, nobody reads, or a writer floods it.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "components/serial/device_rule.h"
#include "components/serial/posix_device.h"
#include "components/serial/virtual_port.h"
#include "tests/serial/line_fixtures.h"

namespace tvl::test {
namespace {

TEST(PortNumberRule, NamesTheDeviceOfEachRangeAndRefusesWhatIsNotThere) {
    HeadlessLoop ui;
    TempFolder folder;
    SystemDevices devices(ui.poster(), folder.path(), "/run/user/7/tarvoline");
    const std::pair<int, std::string> rule[] = {
        {1, folder / "ttyS0"},
        {99, folder / "ttyS98"},
        {100, folder / "ttyUSB0"},
        {199, folder / "ttyUSB99"},
        {200, folder / "ttyACM0"},
        {299, folder / "ttyACM99"},
        {900, "virtual port: /run/user/7/tarvoline/com900"},
        {999, "virtual port: /run/user/7/tarvoline/com999"}};
    for (const auto& [number, device] : rule) EXPECT_EQ(devices.describe(number), device);
    for (int number : {0, -1, 300, 899, 1000}) {
        const std::string expected = "port number " + std::to_string(number) + " names no device";
        EXPECT_EQ(devices.describe(number), expected);
        EXPECT_EQ(refusalOf(devices, number), expected);
    }
    EXPECT_EQ(refusalOf(devices, 101), folder / "ttyUSB1" + ": no such device");
    ::close(::open((folder / "ttyACM0").c_str(), O_CREAT | O_WRONLY, 0600));
    EXPECT_EQ(refusalOf(devices, 200), folder / "ttyACM0" + " is not a serial line");
}

TEST(VirtualPortFolder, FollowsXdgRuntimeDirWhenUsable) {
    const char* saved = std::getenv("XDG_RUNTIME_DIR");
    const std::string before = saved ? saved : "";
    TempFolder runtime;
    const std::string fallback = "/tmp/tarvoline-" + std::to_string(getuid());
    setenv("XDG_RUNTIME_DIR", runtime.path().c_str(), 1);
    EXPECT_EQ(defaultVirtualPortFolder(), runtime / "tarvoline");
    for (std::string unusable : {runtime / "missing", std::string()}) {
        setenv("XDG_RUNTIME_DIR", unusable.c_str(), 1);
        EXPECT_EQ(defaultVirtualPortFolder(), fallback);
    }
    unsetenv("XDG_RUNTIME_DIR");
    EXPECT_EQ(defaultVirtualPortFolder(), fallback);
    if (saved) setenv("XDG_RUNTIME_DIR", before.c_str(), 1);
}

TEST(VirtualPortLink, IsPublishedReplacedWhenStaleAndRemovedOnClose) {
    HeadlessLoop ui;
    TempFolder parent;
    const std::string folder = parent / "tarvoline";  // made by the first open
    const std::string link = folder + "/com901";
    SystemDevices devices(ui.poster(), parent / "dev", folder);
    struct stat st {};
    {
        auto port = devices.open(901, LineSettings{}, false, false, {});
        ASSERT_EQ(stat(folder.c_str(), &st), 0);
        EXPECT_EQ(st.st_mode & 0777, 0700u);
        ASSERT_EQ(stat(link.c_str(), &st), 0) << "no link at " << link;
        EXPECT_TRUE(S_ISCHR(st.st_mode));
        EXPECT_EQ(port->deviceName(), "virtual port: " + link);
    }
    EXPECT_NE(lstat(link.c_str(), &st), 0) << "the link outlived its port";

    // A link left by an instance that died is replaced.
    ASSERT_EQ(symlink("/dev/pts/nothing-here", link.c_str()), 0);
    {
        auto port = devices.open(901, LineSettings{}, false, false, {});
        char target[256] = {};
        ASSERT_GT(readlink(link.c_str(), target, sizeof target - 1), 0);
        EXPECT_EQ(std::string(target), dynamic_cast<VirtualPort&>(*port).terminal());
    }
    // Something that is not a link is not ours to replace.
    ::close(::open(link.c_str(), O_CREAT | O_WRONLY, 0600));
    EXPECT_NE(refusalOf(devices, 901).find("is not a link"), std::string::npos);
    EXPECT_EQ(::access(link.c_str(), F_OK), 0);
}

// A device on the slave end of a pseudo-terminal, whose master the test holds.
TEST(LineThread, ReadsEagerlyWhileTheUiIsBusyAndHoldsOutputNobodyReadsAtItsLimit) {
    HeadlessLoop ui;
    TempFolder folder;
    PtyPair pty;
    symlink(pty.terminal().c_str(), (folder / "ttyUSB0").c_str());
    SystemDevices devices{ui.poster(), folder.path(), folder / "virtual"};
    DeviceEvents events;
    int readable = 0;
    events.readable = [&] { ++readable; };
    const std::unique_ptr<PosixDevice> device(
        static_cast<PosixDevice*>(devices.open(100, LineSettings{}, true, true, events).release()));
    EXPECT_EQ(device->modemStatus(), 0u) << "a pseudo-terminal has no modem lines";
    // The UI runs nothing meanwhile; the writer finishes only if the device keeps reading.
    std::string sent = noise(1 << 20, 7);
    std::size_t written = 0;
    for (std::size_t at = 0; at < sent.size(); at += 509)
        written += writeAll(pty.master(), std::string_view(sent).substr(at, 509));
    ASSERT_EQ(written, sent.size());
    ASSERT_TRUE(waitFor([&] { return device->inBufferCount() >= sent.size(); }));
    EXPECT_EQ(ui.waiting(), 1u) << "readable posts were not coalesced";
    ui.runPosted();
    EXPECT_EQ(readable, 1);
    std::string got(sent.size() + 1, '\0');
    got.resize(device->read(got.data(), got.size()));
    EXPECT_TRUE(got == sent);
    writeAll(pty.master(), "more");  // the next arrival posts again
    ASSERT_TRUE(ui.runUntil([&] { return readable == 2; }));

    // Output with nothing queued is on the line when write returns: no thread in between.
    device->write("now");
    EXPECT_EQ(device->outBufferCount(), 0u);
    EXPECT_EQ(readSome(pty.master(), 3), "now");

    // Output nobody reads stops growing at the limit, keeping the oldest bytes.
    device->setOutputLimit(64 * 1024);
    sent = noise(1 << 20, 3);
    for (std::size_t at = 0; at < sent.size(); at += 4096)
        device->write(std::string_view(sent).substr(at, 4096));
    EXPECT_LE(device->outBufferCount(), 64u * 1024);
    const std::uint64_t dropped = device->droppedOutput();
    EXPECT_GT(dropped, 0u);
    // Once the far end reads, at least a limit's worth of the oldest bytes
    // arrives in order (the line may take more later, after a gap).
    got = readSome(pty.master(), sent.size() - dropped);
    EXPECT_EQ(got.size() + dropped, sent.size());
    ASSERT_GE(got.size(), 64u * 1024);
    EXPECT_TRUE(got.compare(0, 64 * 1024, sent, 0, 64 * 1024) == 0) << "the oldest bytes were lost";
}

TEST(LineThread, AFloodIntoAVirtualPortWaitsAtTheInputLimitAndLosesNothing) {
    HeadlessLoop ui;
    TempFolder folder;
    SystemDevices devices(ui.poster(), folder / "dev", folder.path());
    SerialPort port(devices);
    port.setCommPort(903);
    port.setPortOpen(true);
    const int client = ::open((folder / "com903").c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(client, 0);
    constexpr std::size_t limit = PosixDevice::kInputLimit;
    const std::string sent = noise(3 * limit, 5);
    std::atomic<std::size_t> written{0};
    std::thread writer([&] {
        for (std::size_t at = 0; at < sent.size(); at += 65536)
            written += writeAll(client, std::string_view(sent).substr(at, 65536), 30s);
    });
    ASSERT_TRUE(waitFor([&] { return std::size_t(port.InBufferCount()) >= limit; }));
    // Held at the limit, the line thread rests: a spinning one wakes thousands of times.
    const PosixDevice& line = dynamic_cast<VirtualPort&>(*port.device()).line();
    const std::uint64_t before = line.wakeups();
    std::this_thread::sleep_for(100ms);
    EXPECT_LT(line.wakeups() - before, 10u);
    EXPECT_EQ(std::size_t(port.InBufferCount()), limit);
    EXPECT_LT(written.load(), limit + limit / 2) << "the writer was not held back";
    std::string got;
    waitFor([&] { return (got += port.Input()).size() >= sent.size(); }, 30s);
    writer.join();
    EXPECT_TRUE(got == sent) << got.size() << " bytes, lost or reordered";
    ::close(client);
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
    ASSERT_TRUE(waitFor([&] { return ui.waiting() > 0; }));
    port.reset();
    ui.runPosted();
    EXPECT_FALSE(raised);
    ::close(client);
}

// A spinning line thread wakes millions of times in 600 ms, a resting one a few.
TEST(LineThread, AVirtualPortWhoseClientLeavesRestsAndKeepsWhatItRead) {
    HeadlessLoop ui;
    PtyPair pty;
    const int client = ::open(pty.terminal().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(client, 0);
    const int master = ::dup(pty.master());
    auto device = PosixDevice::adopt(master, "pty", LineSettings{}, false, false, {}, ui.poster());
    writeAll(client, "abc");
    ASSERT_TRUE(ui.runUntil([&] { return device->inBufferCount() == 3; }));
    ::close(client);
    ASSERT_TRUE(ui.runUntil([&] { return device->hungUp(); }));
    const std::uint64_t before = device->wakeups();
    device->write("into the void");
    std::this_thread::sleep_for(600ms);
    EXPECT_LT(device->wakeups() - before, 20u);
    EXPECT_EQ(device->outBufferCount(), 0u) << "writes to a gone line are dropped";
    EXPECT_EQ(device->inBufferCount(), 3u);
}

}  // namespace
}  // namespace tvl::test
