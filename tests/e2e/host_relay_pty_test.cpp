// The whole headless program in Host mode between two virtual ports, set up
// as a user does: what each client writes reaches the other once and in
// order, both ways at once, with keys typed in among the traffic.
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/serial/line_fixtures.h"
#include "tests/support/program_on_devices.h"

namespace tvl::test {
namespace {

// A program at the other end of a virtual port: writes its bytes, reads what comes.
class Client {
public:
    explicit Client(const std::string& path)
        : fd_(::open(path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK)) {}
    ~Client() {
        if (writer_.joinable()) writer_.join();
        if (fd_ >= 0) ::close(fd_);
    }
    bool ok() const { return fd_ >= 0; }
    void send(std::string bytes) {
        writer_ = std::thread([this, bytes = std::move(bytes)] { writeAll(fd_, bytes, 60s); });
    }
    void collect(std::string& into) { test::collect(fd_, into); }

private:
    int fd_ = -1;
    std::thread writer_;
};

TEST(HostRelayOverPseudoTerminals, ARunMadeThroughSetupRelaysAndTypesInOrder) {
    testing::ProgramOnDevices run;
    Program& program = *run.program;
    run.setUpHost("901", "902");
    ASSERT_TRUE(run.platform.messages.empty()) << run.platform.messages.front();
    program.FrmMain->mnuStartStop->Click();
    ASSERT_EQ(program.state.RunState, 1);

    // Relayed bytes are 0x00-0x7F, typed keys 0x80-0xFF: Port 2's stream comes apart again.
    Client device1(run.folder / "com901"), device2(run.folder / "com902");
    ASSERT_TRUE(device1.ok() && device2.ok());
    const std::size_t size = 1 << 20;
    std::string toPort2 = noise(size, 11), toPort1 = noise(size, 12), typed, at2, at1;
    for (char& c : toPort2) c &= 0x7F;
    device1.send(toPort2);
    device2.send(toPort1);
    TextBox& pane0 = *program.FrmMain->txtCommunication[0];
    const bool done = run.until(
        [&] {
            if (typed.size() < 500 && at2.size() > typed.size() * 1500) {
                typed.push_back(char(0x80 + typed.size() % 0x80));
                pane0.typeKey(static_cast<unsigned char>(typed.back()));
            }
            device2.collect(at2);
            device1.collect(at1);
            return at2.size() >= size + 500 && at1.size() >= size;
        },
        60s);
    EXPECT_TRUE(done) << "arrived " << at2.size() << " and " << at1.size();
    program.FrmMain->mnuStartStop->Click();
    EXPECT_EQ(program.state.RunState, 0);

    std::string relayed, keys;
    for (char c : at2) (static_cast<unsigned char>(c) < 0x80 ? relayed : keys).push_back(c);
    EXPECT_TRUE(relayed == toPort2) << "relayed " << relayed.size() << " of " << size;
    EXPECT_EQ(keys, typed);
    EXPECT_TRUE(at1 == toPort1) << "Port 2 to Port 1 differs";
    // The Receive counters count everything delivered.
    EXPECT_EQ(program.state.ReceiveCount[0], static_cast<std::int64_t>(size + typed.size()));
    EXPECT_EQ(program.state.ReceiveCount[1], static_cast<std::int64_t>(size));
}

}  // namespace
}  // namespace tvl::test
