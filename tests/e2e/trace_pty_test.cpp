// A Host-mode run between two virtual ports, traced: Modbus RTU requests and
// answers with silences between them come back from tshark one frame each,
// decoded, with the user's DTR switch; and a live tshark on a named pipe can
// go away while the run goes on.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <map>

#include "components/trace/trace_file.h"
#include "tests/serial/line_fixtures.h"
#include "tests/support/program_on_devices.h"
#include "tests/support/tshark_trace.h"

namespace tvl::test {
namespace {

// Host mode at 600 baud between com901 and com902, set up as a user does,
// traced into `tracePath`. At 600 baud a frame ends at a 58 ms silence, which a
// busy machine's pauses do not reach; messages go 150 ms apart, more than one's
// wire time (taken to be before its bytes were read) and that silence.
struct TracedHostRun {
    explicit TracedHostRun(const std::string& tracePath)
        : trace(tracePath, [this](const std::string& why) { reports += why; }),
          host(&trace) {
        host.setUpHost("901", "902", [](FrmSetup& setup) { setup.cboBPS->Text = "600"; });
        host.program->FrmMain->mnuStartStop->Click();
        for (int i : {0, 1})
            device[i] = ::open((host.folder / ("com90" + std::to_string(i + 1))).c_str(),
                               O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    }
    ~TracedHostRun() {
        for (int fd : device) ::close(fd);
    }

    // The device on one port writes; true when the other got the bytes.
    bool relay(int from, const std::string& bytes) {
        writeAll(device[from], bytes);
        std::string got;
        const auto arrived = [&] {
            collect(device[1 - from], got);
            return got.size() >= bytes.size();
        };
        host.until(arrived, 10s);
        return got == bytes;
    }
    void pause() {
        host.until([] { return false; }, 150ms);
    }

    std::string reports;  // written on the trace's thread, read after close()
    TraceFile trace;
    testing::ProgramOnDevices host;
    int device[2] = {-1, -1};
};

std::string modbus(std::string pdu) {  // with its CRC
    std::uint16_t crc = 0xFFFF;
    for (unsigned char byte : pdu) {
        crc ^= byte;
        for (int bit = 0; bit < 8; ++bit) crc = (crc & 1) ? (crc >> 1) ^ 0xA001 : crc >> 1;
    }
    return pdu + char(crc & 0xFF) + char(crc >> 8);
}

TEST(TracedHostRun, ModbusRequestsAndAnswersComeBackFromTsharkOneFrameEachDecodedInOrder) {
    TempFolder out;
    const std::string file = out / "modbus.pcapng";
    TracedHostRun run(file);
    std::vector<std::string> requests, answers;
    for (char n = 0; n < 3; ++n) {
        requests.push_back(modbus({1, 3, 0, char(0x10 * n), 0, 2}));
        answers.push_back(modbus({1, 3, 4, 0, n, 0, char(n + 1)}));
        ASSERT_TRUE(run.relay(0, requests.back()));
        run.pause();
        ASSERT_TRUE(run.relay(1, answers.back()));
        run.pause();
    }
    run.host.program->FrmMain->chkUARTControl[0]->setValue(1);  // Port 1 DTR on
    run.trace.close();

    const auto frames = testing::readTrace(file);
    std::map<std::pair<int, int>, std::vector<std::string>> byPortAndWay;
    for (std::size_t i = 0; i < frames.size(); ++i) {
        byPortAndWay[{frames[i].interface, frames[i].event}].push_back(frames[i].bytes);
        if (i > 0) {
            EXPECT_GT(frames[i].time, frames[i - 1].time) << i;
        }
    }
    // Port 1 is interface 0; received 2, transmitted 1, line state 0.
    EXPECT_EQ(byPortAndWay[std::pair(0, 2)], requests);
    EXPECT_EQ(byPortAndWay[std::pair(1, 1)], requests);
    EXPECT_EQ(byPortAndWay[std::pair(1, 2)], answers);
    EXPECT_EQ(byPortAndWay[std::pair(0, 1)], answers);
    EXPECT_EQ(byPortAndWay[std::pair(0, 0)], std::vector<std::string>{""});
    EXPECT_EQ(frames.back().lines, "DTR");
    EXPECT_EQ(frames.front().name, "Port 1 (virtual port: " + (run.host.folder / "com901") + ")");
    const std::string decode = "tshark -r " + file +
                               " -d rtacser.data,mbrtu -Y mbrtu -T fields"
                               " -e modbus.func_code -e modbus.request_frame";
    bool ok = false;
    std::istringstream decoded(testing::runCommand(decode, ok));
    // Function 3 each, read and sent: a request twice, then an answer (naming its request) twice.
    std::string kinds;
    for (std::string row; std::getline(decoded, row);)
        kinds += row.rfind("3\t", 0) ? '?' : row.size() > 2 ? 'A' : 'Q';
    EXPECT_EQ(kinds, "QQAAQQAAQQAA");
    EXPECT_EQ(run.reports, "");
}

TEST(TracedHostRun, ALiveTsharkOnAPipeSeesTheLineAndTheRunOutlivesIt) {
    TempFolder out;
    const std::string pipe = out / "live";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    // tshark and its capture helper in a process group whose number comes first.
    FILE* tshark = ::popen(("echo $$; TMPDIR=" + out.path() + " exec setsid tshark -l -i " + pipe +
                            " -T fields -e data.data 2>/dev/null")
                               .c_str(),
                           "r");
    int group = 0;
    ASSERT_EQ(std::fscanf(tshark, "%d", &group), 1);
    ::fcntl(fileno(tshark), F_SETFL, O_NONBLOCK);
    TracedHostRun run(pipe);

    ASSERT_TRUE(run.relay(0, "hello"));
    std::string printed;
    const auto shown = [&] {
        collect(fileno(tshark), printed);
        return printed.find("68656c6c6f") != std::string::npos;  // "hello", as tshark prints it
    };
    EXPECT_TRUE(run.host.until(shown, 20s)) << printed;
    ::kill(-group, SIGTERM);
    ::pclose(tshark);
    // The trace stops while the lines are quiet; the run goes on.
    EXPECT_TRUE(run.host.until([&] { return !run.trace.running(); }, 10s));
    const std::string more = noise(20000, 3);
    EXPECT_TRUE(run.relay(0, more));
    EXPECT_TRUE(run.relay(1, more));
    run.trace.close();
    EXPECT_EQ(run.reports,
              "trace " + pipe + ": its reader went away; the trace stops, the run goes on");
    EXPECT_EQ(run.host.program->state.ReceiveCount[0], 5 + 20000);
}

}  // namespace
}  // namespace tvl::test
