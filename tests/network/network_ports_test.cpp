// Ports on the network: the whole program in Host mode between two device
// servers named in the ports file (ser2net in front of pseudo-terminals, or
// the test's own server where modem lines are wanted), and what a network
// line does when its server does not answer, refuses or drops it.
#include <gtest/gtest.h>
#include <termios.h>

#include <fstream>

#include "components/serial/network_device.h"
#include "line/start_stop.h"
#include "tests/network/network_fixtures.h"
#include "tests/support/program_on_devices.h"

namespace tvl::test {
namespace {

// The program with ports 301 and 302 in its ports file, set up in Host mode
// through the Setup dialog.
struct NetworkRun : testing::ProgramOnDevices {
    NetworkRun(const std::string& port301, const std::string& port302) {
        std::ofstream(folder / "ports") << "301 " << port301 << "\n302 " << port302 << "\n";
        devices.usePortsFile(folder / "ports");
    }
    void setUp(const char* speed, const char* parity, const char* dataBits) {
        setUpHost("301", "302", [&](FrmSetup& setup) {
            setup.cboBPS->Text = speed;
            setup.cboParity->Text = parity;
            setup.cboDataBits->Text = dataBits;
        });
    }
    SerialPort& port(int q) { return q == 0 ? program->mscComControl1 : program->mscComControl2; }
};

speed_t speedOf(const std::string& terminal) {
    const int fd = ::open(terminal.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    termios t{};
    ::tcgetattr(fd, &t);
    ::close(fd);
    return cfgetospeed(&t);
}

// Port 1 speaks RFC 2217, Port 2 raw TCP, both to ser2net.
TEST(NetworkPortsThroughSer2net, HostModeRelaysEveryByteAndTheLineReturnsAfterARestart) {
    PtyPair deviceA, deviceB;
    Ser2net serverA(deviceA.terminal(), true), serverB(deviceB.terminal(), false);
    NetworkRun run(serverA.address(), serverB.address());
    run.setUp("19200", "Even", "7");
    ASSERT_TRUE(run.platform.messages.empty()) << run.platform.messages[0];
    ASSERT_TRUE(run.until([&] { return run.port(0).LineUp() && run.port(1).LineUp(); }));
    // A pseudo-terminal keeps 8 data bits without parity; its speed is the one asked.
    EXPECT_EQ(speedOf(deviceA.terminal()), B19200);
    EXPECT_EQ(speedOf(deviceB.terminal()), B9600) << "raw TCP carries no line settings";

    Program& program = *run.program;
    SharedState& s = program.state;
    mnuStartStop_Click(program);
    std::string atA, atB;
    auto relayed = [&](const std::string& toB, const std::string& toA) {
        writeAll(deviceA.master(), toB);
        writeAll(deviceB.master(), toA);
        return run.until([&] {
            collect(deviceA.master(), atA);
            collect(deviceB.master(), atB);
            return atB.size() >= toB.size() && atA.size() >= toA.size();
        });
    };
    // Every byte value, 0xff (telnet's escape) among them, both ways at once.
    const std::string aToB = allBytes() + noise(3000, 1) + allBytes();
    const std::string bToA = noise(2000, 2) + "\xff\xff\xfa\x2c\xf0" + allBytes();
    ASSERT_TRUE(relayed(aToB, bToA));
    EXPECT_TRUE(atB == aToB);
    EXPECT_TRUE(atA == bToA);
    EXPECT_EQ(s.ReceiveCount[0], static_cast<std::int64_t>(aToB.size()));
    EXPECT_EQ(s.ReceiveCount[1], static_cast<std::int64_t>(bToA.size()));

    // ser2net goes and comes back: one loss, one return, Port 2 untouched.
    serverA.stop();
    ASSERT_TRUE(run.until([&] { return run.port(0).LineLost(); }));
    EXPECT_TRUE(run.port(1).LineUp());
    ASSERT_EQ(run.platform.messages.size(), 1u);
    EXPECT_NE(run.platform.messages[0].find("Port 1 has lost its line: " + serverA.address() +
                                            ": the connection dropped"),
              std::string::npos)
        << run.platform.messages[0];
    run.until([] { return false; }, 1500ms);  // refused reconnections meanwhile are not told
    serverA.start();
    ASSERT_TRUE(run.until([&] { return run.port(0).LineUp() && !run.port(0).LineLost(); }));
    EXPECT_EQ(program.FrmMain->Caption, "Tarvoline - Port 1 is back (" + serverA.address() + ")");
    EXPECT_EQ(run.platform.messages.size(), 1u);
    EXPECT_EQ(speedOf(deviceA.terminal()), B19200) << "the run's settings are sent again";
    atA.clear();
    atB.clear();
    ASSERT_TRUE(relayed("after", "answer"));
    EXPECT_EQ(atB, "after");
    EXPECT_EQ(atA, "answer");
}

TEST(NetworkPortsOnADeviceServer, SwitchesAndRelaysDriveTheRemoteLinesAndModemChangesMoveLamps) {
    DeviceServer serverA, serverB;
    NetworkRun run(serverA.address(), serverB.address());
    run.setUp("115200", "None", "8");
    ASSERT_TRUE(run.until([&] { return run.port(0).LineUp() && run.port(1).LineUp(); }));
    EXPECT_EQ(serverA.heard(), (std::vector<std::string>{"speed 115200", "DTR off", "RTS off"}));
    Program& program = *run.program;
    FrmMain& m = *program.FrmMain;
    mnuStartStop_Click(program);

    m.chkUARTControl[0]->setValue(1);  // Port 1 DTR
    m.chkUARTControl[3]->setValue(1);  // Port 2 RTS
    ASSERT_TRUE(
        run.until([&] { return serverA.heard().size() == 4 && serverB.heard().size() == 4; }));
    EXPECT_EQ(serverA.heard().back(), "DTR on");
    EXPECT_EQ(serverB.heard().back(), "RTS on");

    // Port 1's CTS and DSR come on: in Host mode they drive Port 2's RTS and DTR.
    serverA.setModemState(SERGENSIO_MODEMSTATE_CTS);
    ASSERT_TRUE(run.until([&] { return serverB.heard().size() == 5; }));
    EXPECT_EQ(program.mscComControl1.CommEvent(), comEvCTS);
    serverA.setModemState(SERGENSIO_MODEMSTATE_CTS | SERGENSIO_MODEMSTATE_DSR);
    ASSERT_TRUE(run.until([&] { return serverB.heard().size() == 6; }));
    EXPECT_EQ(serverB.heard(), (std::vector<std::string>{"speed 115200", "DTR off", "RTS off",
                                                         "RTS on", "RTS on", "DTR on"}));
    EXPECT_TRUE(m.imgStatus[lampIndex(1, CTS, true)]->Visible);
    EXPECT_TRUE(m.imgStatus[lampIndex(1, DSR, true)]->Visible);
    std::uint32_t status = 0;
    EXPECT_TRUE(GetCommModemStatus(program.state.CommHandle[0], status));
    EXPECT_EQ(status, MS_CTS_ON | MS_DSR_ON);

    // Port 2's ring, in Transparent mode, moves its RI lamp.
    mnuStartStop_Click(program);
    mnuSetup_Click(program);
    program.frmSetup->optMode[0]->choose();
    program.frmSetup->optMonitor[2]->choose();
    program.frmSetup->cmdOK->Click();
    ASSERT_TRUE(run.until([&] { return run.port(1).LineUp(); }));
    serverB.setModemState(SERGENSIO_MODEMSTATE_RI);
    ASSERT_TRUE(run.until([&] { return m.imgStatus[lampIndex(1, RI, true)]->Visible; }));
    EXPECT_EQ(program.mscComControl2.CommEvent(), comEvRing);
}

struct Heard {
    HeadlessLoop ui;
    std::vector<std::string> lost;
    int back = 0;
    DeviceEvents events() {
        DeviceEvents e;
        e.lost = [this](const std::string& why) { lost.push_back(why); };
        e.back = [this] { ++back; };
        return e;
    }
};

TEST(NetworkLine, ASilentRefusingOrAbsentServerIsALostLineToldOnceWithTheReason) {
    LineSettings line;
    line.baud = 115200;
    const auto open = [](const std::string& device, Heard& heard, LineSettings settings) {
        return NetworkDevice::open(device, *parseNetworkAddress(device), settings, false, false,
                                   heard.events(), heard.ui.poster(), 300ms);
    };
    // Listening, never answering: the connection may come, the settings' answer never does.
    Listener silent;
    const std::string quiet = "rfc2217://127.0.0.1:" + std::to_string(silent.port());
    DeviceServer refusing;
    refusing.answerSpeed(9600);
    const std::string absent = "rfc2217://127.0.0.1:" + std::to_string(freeTcpPort());

    for (const auto& [device, why] :
         {std::pair{quiet, quiet + ": no answer within 300 ms"},
          {refusing.address(),
           refusing.address() + ": the device server does not take speed 115200 (it set 9600)"},
          {absent, absent + ": Connection refused"}}) {
        Heard heard;
        const auto port = open(device, heard, line);
        EXPECT_FALSE(port->lineUp());
        heard.ui.runUntil([] { return false; }, 1500ms);  // tried again, told once
        EXPECT_EQ(heard.lost, std::vector<std::string>{why});
        EXPECT_FALSE(port->lineUp());
    }

    line.handshaking = comRTSXOnXOff;
    Heard heard;
    EXPECT_THROW(open(refusing.address(), heard, line), SerialError);
}

}  // namespace
}  // namespace tvl::test
