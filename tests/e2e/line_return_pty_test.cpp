// A run in Host mode whose Port 1 is a device node that goes away and comes
// back: a link to a pseudo-terminal whose other end the test holds. Closing
// that end unplugs the adapter; a new pseudo-terminal behind the link plugs it in.
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/serial/line_fixtures.h"
#include "tests/support/program_on_devices.h"

namespace tvl::test {
namespace {

// A Host run between Port 1 (number 5, <folder>/dev/ttyS4) and Port 2 (virtual
// port 902), whose client the test holds.
struct LostLineRun : testing::ProgramOnDevices {
    LostLineRun() {
        ::mkdir(dev().c_str(), 0700);
        plugIn();
        setUpHost("5", "902");
        program->FrmMain->mnuStartStop->Click();
        client = ::open((folder / "com902").c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    }
    ~LostLineRun() { ::close(client); }
    std::string dev() const { return folder / "dev"; }
    // A new device at the same path.
    void plugIn() {
        device = std::make_unique<PtyPair>();
        const std::string node = dev() + "/ttyS4";
        ::unlink(node.c_str());
        ASSERT_EQ(::symlink(device->terminal().c_str(), node.c_str()), 0);
    }

    std::unique_ptr<PtyPair> device;
    int client = -1;
};

TEST(LineReturnOverPseudoTerminals, BytesThatReachedALineArriveOnceAndInOrder) {
    LostLineRun run;
    Program& program = *run.program;
    SerialPort& port1 = program.mscComControl1;
    SharedState& s = program.state;
    const int client = run.client;
    ASSERT_GE(client, 0);

    std::string atClient, atDevice;
    auto until = [&](auto done) {
        return run.until(
            [&] {
                collect(client, atClient);
                if (run.device->master() >= 0) collect(run.device->master(), atDevice);
                return done();
            },
            20s);
    };
    const std::string before = noise(3000, 1), lost = noise(500, 2), after = noise(3000, 3),
                      answer = noise(2000, 4);
    writeAll(run.device->master(), before);
    ASSERT_TRUE(until([&] { return atClient.size() == before.size(); }));

    // Unplugged: the node goes (so that no other terminal given its number
    // meanwhile is taken for it), and the line hangs up.
    ::unlink((run.dev() + "/ttyS4").c_str());
    run.device->closeMaster();
    ASSERT_TRUE(until([&] { return port1.LineLost(); }));
    ASSERT_EQ(run.platform.messages.size(), 1u);
    EXPECT_NE(run.platform.messages[0].find("Port 1 has lost its line: " + run.dev() + "/ttyS4"),
              std::string::npos)
        << run.platform.messages[0];
    // What the client sends meanwhile is shown as sent and reaches no line.
    writeAll(client, lost);
    ASSERT_TRUE(
        until([&] { return s.TransmitCount[1] == static_cast<std::int64_t>(lost.size()); }));
    EXPECT_EQ(s.ReceiveCount[1], 0);

    run.plugIn();
    ASSERT_TRUE(until([&] { return port1.LineUp() && !port1.LineLost(); }));
    EXPECT_EQ(program.FrmMain->Caption, "Tarvoline - Port 1 is back (" + run.dev() + "/ttyS4)");
    writeAll(run.device->master(), after);
    writeAll(client, answer);
    ASSERT_TRUE(until([&] {
        return atClient.size() == before.size() + after.size() && atDevice.size() == answer.size();
    }));
    EXPECT_TRUE(atClient == before + after);
    EXPECT_TRUE(atDevice == answer);
    EXPECT_EQ(s.ReceiveCount[0], static_cast<std::int64_t>(before.size() + after.size()));
    EXPECT_EQ(s.ReceiveCount[1], static_cast<std::int64_t>(answer.size()));
    EXPECT_EQ(run.platform.messages.size(), 1u) << "a return opens no message box";
    // Lost again with nothing on its way: the count keeps what the line took.
    run.device->closeMaster();
    ASSERT_TRUE(until([&] { return port1.LineLost(); }));
    EXPECT_EQ(s.ReceiveCount[1], static_cast<std::int64_t>(answer.size()));
}

// Bytes on their way to a device when it is unplugged never reached it: the
// receive count keeps what the line took, not what was queued.
TEST(LineReturnOverPseudoTerminals, BytesQueuedTowardALostLineComeOffItsCount) {
    LostLineRun run;
    Program& program = *run.program;
    const std::int64_t& count = program.state.ReceiveCount[1];
    // The device reads nothing: all but the pseudo-terminal's ~70 KiB stays queued.
    ASSERT_EQ(writeAll(run.client, noise(512 * 1024, 5)), 512u * 1024);
    ASSERT_TRUE(run.until([&] { return count == 512 * 1024; }, 60s));
    run.device->closeMaster();
    ASSERT_TRUE(run.until([&] { return program.mscComControl1.LineLost(); }, 20s));
    EXPECT_TRUE(count >= 0 && count <= 128 * 1024) << count << " counted as received";
    EXPECT_EQ(program.FrmMain->fraTxRx[1]->Caption, "Receive:  " + std::to_string(count));
}

}  // namespace
}  // namespace tvl::test
