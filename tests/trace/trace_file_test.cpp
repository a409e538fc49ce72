// The trace file as tshark reads it: frames cut at 3.5 characters' silence at
// the line's speed, line states, an interface per port and device; and a trace
// that cannot go on is reported once, the taps going on.
#include <sys/stat.h>

#include <gtest/gtest.h>

#include <mutex>

#include "components/trace/trace_file.h"
#include "tests/serial/line_fixtures.h"
#include "tests/support/tshark_trace.h"

namespace tvl::test {
namespace {

LineSettings at(long baud) {
    LineSettings line;
    line.baud = baud;
    return line;
}

TEST(TraceFile, FramesEndAtSilencesOfTheirLinesSpeedAndLineStatesAreFramesOfTheirOwn) {
    TempFolder folder;
    {
        TraceFile trace(folder / "t.pcapng", [](const std::string& why) { ADD_FAILURE() << why; });
        // Gaps of 29 ms and 318 ms, far from the 100 ms pauses and a busy machine's.
        auto fast = trace.tap(1, "/dev/ttyUSB0", at(1200));
        auto slow = trace.tap(2, "/dev/ttyUSB1", at(110));
        fast->received("AB", {MS_CTS_ON, true, false});
        fast->received("CD", {});
        fast->transmitted("xy", {});
        slow->received("12", {});
        std::this_thread::sleep_for(100ms);
        slow->received("34", {});
        fast->received("EF", {});
        fast->changed({MS_CTS_ON | MS_DSR_ON | MS_RLSD_ON | MS_RING_ON, true, true});
        std::this_thread::sleep_for(100ms);
        fast->received(std::string(TraceFile::kFrameLimit + 3, 'z'), {});
        trace.tap(1, "/dev/ttyUSB0", at(1200))->changed({MS_DSR_ON, false, true});  // reopened
        trace.tap(1, "/dev/ttyS4", at(9600))->changed({MS_RLSD_ON, true, false});
    }
    const auto frames = testing::readTrace(folder / "t.pcapng");
    const std::string z(TraceFile::kFrameLimit, 'z');
    const std::tuple<int, int, std::string, std::string> expected[] = {
        {0, 2, "ABCD", "CTS DTR"},
        {0, 1, "xy", ""},
        {1, 2, "1234", ""},
        {0, 2, "EF", ""},
        {0, 0, "", "CTS DCD DSR RTS DTR RI"},
        {0, 2, z, ""},
        {0, 2, "zzz", ""},
        {0, 0, "", "DSR RTS"},
        {2, 0, "", "DCD DTR"}};
    ASSERT_EQ(frames.size(), std::size(expected));
    for (std::size_t i = 0; i < frames.size(); ++i) {
        EXPECT_EQ(std::tie(frames[i].interface, frames[i].event, frames[i].bytes, frames[i].lines),
                  expected[i])
            << i;
        EXPECT_GE(frames[i].time, frames[i ? i - 1 : 0].time) << i;
    }
    EXPECT_EQ(frames[0].name, "Port 1 (/dev/ttyUSB0)");
    EXPECT_EQ(frames[2].name, "Port 2 (/dev/ttyUSB1)");
    EXPECT_EQ(frames[8].name, "Port 1 (/dev/ttyS4)");
}

TEST(TraceFile, AFileThatCannotBeWrittenOrAReaderThatFallsBehindIsReportedOnce) {
    TempFolder folder;
    const std::string pipe = folder / "stuck";
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    const int reader = ::open(pipe.c_str(), O_RDONLY | O_NONBLOCK);  // and never reads
    const std::string chunk(64 * 1024, 'q');
    for (const std::string& path : {folder / "missing/t.pcapng", pipe}) {
        std::mutex mutex;
        std::vector<std::string> reports;
        TraceFile trace(path, [&](const std::string& why) {
            std::lock_guard lock(mutex);
            reports.push_back(why);
        });
        auto tap = trace.tap(1, "/dev/ttyS0", at(115200));
        for (std::size_t sent = 0; sent <= 2 * TraceFile::kBacklogLimit; sent += chunk.size())
            tap->received(chunk, {});
        trace.close();
        EXPECT_FALSE(trace.running());
        ASSERT_EQ(reports.size(), 1u) << path;
        EXPECT_EQ(reports[0], "trace " + path + ": " +
                                  (path == pipe ? "its reader falls more than 16 MiB behind"
                                                : "No such file or directory") +
                                  "; the trace stops, the run goes on");
    }
    ::close(reader);
}

}  // namespace
}  // namespace tvl::test
