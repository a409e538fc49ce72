// The whole headless program in Host mode between two virtual ports: what one
// client writes reaches the other client once and in order, both ways at once.
#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "components/serial/device_rule.h"
#include "line/start_stop.h"
#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "tests/e2e/ui_loop.h"

namespace tvl::test {
namespace {

namespace fs = std::filesystem;

// A program at the other end of a virtual port: writes its bytes, reads what comes.
class Client {
public:
    explicit Client(const std::string& path) {
        fd_ = ::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
        if (fd_ >= 0) {
            termios t{};
            tcgetattr(fd_, &t);
            cfmakeraw(&t);
            tcsetattr(fd_, TCSANOW, &t);
        }
    }
    ~Client() {
        if (writer_.joinable()) writer_.join();
        if (fd_ >= 0) ::close(fd_);
    }
    bool ok() const { return fd_ >= 0; }

    void send(std::string bytes) {
        writer_ = std::thread([this, bytes = std::move(bytes)] {
            std::size_t done = 0;
            while (done < bytes.size()) {
                const ssize_t n = ::write(fd_, bytes.data() + done,
                                          std::min<std::size_t>(4096, bytes.size() - done));
                if (n > 0)
                    done += n;
                else if (n < 0 && errno != EINTR && errno != EAGAIN)
                    return;
            }
        });
    }
    // Reads what has arrived without waiting long.
    void collect(std::string& into) {
        pollfd p{fd_, POLLIN, 0};
        char buffer[65536];
        while (::poll(&p, 1, 0) > 0 && (p.revents & POLLIN)) {
            const ssize_t n = ::read(fd_, buffer, sizeof buffer);
            if (n <= 0) return;
            into.append(buffer, n);
        }
    }

private:
    int fd_ = -1;
    std::thread writer_;
};

std::string randomBytes(std::size_t n, unsigned seed) {
    std::mt19937 random(seed);
    std::string out(n, '\0');
    for (char& c : out) c = static_cast<char>(random() & 0xFF);
    return out;
}

// The whole program past its splash, both ports on this system's rule with
// the virtual ports published in a folder of the test's own.
struct VirtualPortRun {
    explicit VirtualPortRun(const std::string& name)
        : folder(fs::temp_directory_path() / (name + "-" + std::to_string(::getpid()))) {
        fs::create_directories(folder);
        devices =
            std::make_unique<SystemDevices>(ui.poster(), "/nonexistent-devices", folder.string());
        ProgramParts parts;
        parts.platform = &platform;
        parts.line1 = devices.get();
        parts.line2 = devices.get();
        program = std::make_unique<Program>(std::move(parts));
        Main(*program);
        program->frmSplash->Image1->Click();
    }
    ~VirtualPortRun() {
        program.reset();  // closes the ports, which unpublish their links
        fs::remove_all(folder);
    }
    std::string link(int number) const {
        return (folder / ("com" + std::to_string(number))).string();
    }

    fs::path folder;
    UiLoop ui;
    QuietPlatform platform;
    std::unique_ptr<SystemDevices> devices;
    std::unique_ptr<Program> program;
};

TEST(HostRelayOverPseudoTerminals, AMegabyteEachWayArrivesOnceAndInOrder) {
    VirtualPortRun run("tarvoline-e2e");
    Program& program = *run.program;
    UiLoop& ui = run.ui;

    program.state.OperationMode = 1;
    program.state.MonitorChoice = 2;
    program.mscComControl1.setCommPort(901);
    program.mscComControl2.setCommPort(902);
    program.mscComControl1.setSettings("115200,N,8,1");
    program.mscComControl2.setSettings("115200,N,8,1");
    program.mscComControl1.setPortOpen(true);
    program.mscComControl2.setPortOpen(true);
    mnuStartStop_Click(program);
    ASSERT_EQ(program.state.RunState, 1);

    Client device1(run.link(901));
    Client device2(run.link(902));
    ASSERT_TRUE(device1.ok() && device2.ok());

    const std::size_t size = 1 << 20;
    const std::string toPort2 = randomBytes(size, 7), toPort1 = randomBytes(size, 8);
    device1.send(toPort2);
    device2.send(toPort1);
    std::string at2, at1;
    const bool done = ui.runUntil(
        program,
        [&] {
            device2.collect(at2);
            device1.collect(at1);
            return at2.size() >= size && at1.size() >= size;
        },
        std::chrono::seconds(60));
    EXPECT_TRUE(done) << "arrived " << at2.size() << " and " << at1.size() << " of " << size;
    EXPECT_TRUE(at2 == toPort2) << "Port 1 to Port 2 differs";
    EXPECT_TRUE(at1 == toPort1) << "Port 2 to Port 1 differs";
    EXPECT_EQ(program.state.TransmitCount[0], static_cast<std::int64_t>(size));
    EXPECT_EQ(program.state.ReceiveCount[1], static_cast<std::int64_t>(size));
}

// The way a user makes a run: Setup in Host mode on two virtual ports, Start,
// both devices talking while the user types into the Port 1 Transmit pane,
// Stop. Relayed bytes are 0x00-0x7F and typed keys 0x80-0xFF, so the stream
// at Port 2 can be taken apart again: each part must arrive whole and in order.
TEST(HostRelayOverPseudoTerminals, ARunMadeThroughSetupRelaysAndTypesInOrder) {
    VirtualPortRun run("tarvoline-e2e-setup");
    Program& program = *run.program;
    UiLoop& ui = run.ui;
    QuietPlatform& platform = run.platform;

    mnuSetup_Click(program);
    ASSERT_TRUE(program.frmSetup);
    FrmSetup& setup = *program.frmSetup;
    setup.optMode[1]->choose();
    setup.txtComPort[0]->setText("901");
    setup.txtComPort[1]->setText("902");
    setup.cmdOK->Click();
    ASSERT_TRUE(platform.messages.empty()) << platform.messages.front();
    ASSERT_TRUE(program.mscComControl1.PortOpen() && program.mscComControl2.PortOpen());
    program.FrmMain->mnuStartStop->Click();
    ASSERT_EQ(program.state.RunState, 1);

    Client device1(run.link(901));
    Client device2(run.link(902));
    ASSERT_TRUE(device1.ok() && device2.ok());
    const std::size_t size = 200000;
    std::string toPort2 = randomBytes(size, 11), toPort1 = randomBytes(size, 12);
    for (char& c : toPort2) c = static_cast<char>(c & 0x7F);
    device1.send(toPort2);
    device2.send(toPort1);

    std::string typed;
    std::string at2, at1;
    TextBox& pane0 = *program.FrmMain->txtCommunication[0];
    const bool done = ui.runUntil(
        program,
        [&] {
            if (typed.size() < 500 && at2.size() > typed.size() * 300) {  // keys among the traffic
                const char key = static_cast<char>(0x80 + typed.size() % 0x80);
                typed.push_back(key);
                pane0.typeKey(static_cast<unsigned char>(key));
            }
            device2.collect(at2);
            device1.collect(at1);
            return at2.size() >= size + typed.size() && at1.size() >= size && typed.size() == 500;
        },
        std::chrono::seconds(60));
    EXPECT_TRUE(done) << "arrived " << at2.size() << " and " << at1.size();
    program.FrmMain->mnuStartStop->Click();
    EXPECT_EQ(program.state.RunState, 0);

    std::string relayed, keys;
    for (char c : at2) (static_cast<unsigned char>(c) < 0x80 ? relayed : keys).push_back(c);
    EXPECT_TRUE(relayed == toPort2) << "relayed " << relayed.size() << " of " << size;
    EXPECT_EQ(keys, typed);
    EXPECT_TRUE(at1 == toPort1) << "Port 2 to Port 1 differs";
    // The first key after a Setup zeroes the Transmit counters; the Receive
    // counters count everything delivered.
    EXPECT_EQ(program.state.ReceiveCount[0], static_cast<std::int64_t>(size + typed.size()));
    EXPECT_EQ(program.state.ReceiveCount[1], static_cast<std::int64_t>(size));
}

}  // namespace
}  // namespace tvl::test
