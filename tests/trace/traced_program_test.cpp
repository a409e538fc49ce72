// A program run traced and not runs alike; the trace holds the bytes read before
// conversion, those written after it, the relay's and the user's switches, and the inputs.
#include <gtest/gtest.h>

#include "components/trace/trace_file.h"
#include "platform/quiet_platform.h"
#include "tests/serial/line_fixtures.h"
#include "tests/support/program_on_lines.h"
#include "tests/support/tshark_trace.h"

namespace tvl::test {
namespace {

// Host mode, Port 1's row 0 turning "AB" into "X": what the run showed and wrote.
std::vector<std::string> hostRun(LineTrace* trace) {
    testing::ProgramOnLines<QuietPlatform> run;
    ProgramParts parts;
    parts.trace = trace;
    run.make(std::move(parts));
    FrmMain& main = run.start();
    // At 300 baud a frame ends at 117 ms of silence, past a busy machine's pauses.
    run.program->mscComControl1.setSettings("300,N,8,1");
    run.program->mscComControl2.setSettings("300,N,8,1");
    run.openPorts();
    SharedState& s = run.program->state;
    s.OperationMode = 1;
    s.CommHandle[0] = run.program->mscComControl1.CommID();
    s.CommHandle[1] = run.program->mscComControl2.CommID();
    s.PresentValue1[0] = "AB";
    s.ConvertedValue1[0] = "X";
    s.MaxPresentLength[0] = 2;
    run.line1.feed("QAB");
    run.line2.feed("ok");
    run.pump();
    run.line2.setInput(MS_CTS_ON, true);  // relayed to Port 1's RTS
    run.program->mscComControl2.setDTREnable(true);
    std::vector<std::string> seen = {run.line1.takeWritten(), run.line2.takeWritten(),
                                     std::to_string(s.TransmitCount[0]),
                                     std::to_string(s.ReceiveCount[0])};
    for (TextBox* pane : main.txtCommunication) seen.push_back(pane->Text());
    return seen;
}

TEST(TracedProgram, HostModeTracesWhatCameBeforeConversionAndWhatWentAfterAndRunsAlike) {
    TempFolder folder;
    int reports = 0;
    std::vector<std::string> traced;
    {
        TraceFile trace(folder / "run.pcapng", [&](const std::string&) { ++reports; });
        traced = hostRun(&trace);
    }
    EXPECT_EQ(traced, hostRun(nullptr));
    EXPECT_EQ(traced[1], "QX");

    const auto frames = testing::readTrace(folder / "run.pcapng");
    ASSERT_EQ(frames.size(), 7u);
    // Port 1 is interface 0, Port 2 interface 1.
    const std::tuple<int, int, std::string, std::string> expected[] = {
        {0, 2, "QAB", ""}, {1, 2, "ok", ""},  {1, 1, "QX", ""},     {0, 1, "ok", ""},
        {1, 0, "", "CTS"}, {0, 0, "", "RTS"}, {1, 0, "", "CTS DTR"}};
    for (std::size_t i = 0; i < frames.size(); ++i)
        EXPECT_EQ(std::tie(frames[i].interface, frames[i].event, frames[i].bytes, frames[i].lines),
                  expected[i])
            << i;
    EXPECT_EQ(frames[0].name, "Port 1 (simulated line 1)");
    EXPECT_EQ(reports, 0);
}

}  // namespace
}  // namespace tvl::test
