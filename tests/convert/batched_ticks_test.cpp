// Two programs fed the same random bytes, one ticked singly, the other in the
// desktop's batches of random size, show, count, send and capture the same after
// every slice, in either mode and display form, capturing or not, with watches
// stopping mid-burst.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "platform/quiet_platform.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

// A .tvl store that keeps its records in memory.
struct RecordingTVL : KelTVL {
    std::vector<std::string> records;
    void OpenStore() override {}
    void AppendRecord(int) override { records.push_back(PortText1 + "|" + PortText2); }
    void CountRecords() override {}
    double RecordCount() const override { return 0; }
    void ReadTitles() override {}
    void ReadRecord(int) override {}
    void CloseStore() override {}
};

const std::string alphabet = std::string("AB<\r\n\x01\xFF\0\x1F ", 10);
const char* const watches[] = {"A", "<", "<CR>", "<41>", "<D>", "AB<CR>", "<LF>", "B<SOH>"};

struct TwinRun : testing::ProgramOnLines<QuietPlatform> {
    RecordingTVL* store = nullptr;
    std::string written[2];

    // Started with the seed's mode, display, rows, watches, monitored ports and
    // "Save TVL" or "Not Save".
    explicit TwinRun(unsigned seed) {
        ProgramParts parts;
        parts.makeTVL = [this] {
            auto made = std::make_unique<RecordingTVL>();
            store = made.get();
            return made;
        };
        make(std::move(parts));
        start();
        openPorts();
        std::mt19937 random(seed);
        SharedState& s = program->state;
        s.OperationMode = random() % 2;
        s.DisplayMode = random() % 2;
        s.MonitorChoice = random() % 3;
        s.SavingMode = random() % 2 ? 3 : 0;
        const auto text = [&] {
            std::string t(random() % 4, ' ');
            for (char& c : t) c = alphabet[random() % alphabet.size()];
            return t;
        };
        for (int p = 0; p < 2; ++p) {
            std::string* present = p == 0 ? s.PresentValue1 : s.PresentValue2;
            std::string* converted = p == 0 ? s.ConvertedValue1 : s.ConvertedValue2;
            for (int r = 0; s.OperationMode == 1 && r < 5; ++r) {
                present[r] = text();
                converted[r] = text();
                s.MaxPresentLength[p] =
                    std::max(s.MaxPresentLength[p], static_cast<std::uint8_t>(present[r].size()));
            }
            s.WatchArmed[p] = random() % 3 != 0;
            s.WatchString[p] = watches[random() % std::size(watches)];
        }
        program->FrmMain->mnuStartStop->Click();
    }

    // Everything the user sees, the lines were sent and the capture holds.
    std::vector<std::string> picture() {
        const SharedState& s = program->state;
        const FrmMain& f = *program->FrmMain;
        written[0] += line1.takeWritten();
        written[1] += line2.takeWritten();
        std::vector<std::string> out = {written[0], written[1]};
        for (int i = 0; i < 4; ++i) {
            out.push_back(f.txtCommunication[i]->Text());
            out.push_back(f.fraTxRx[i]->Caption);
            out.push_back(std::to_string(f.txtCommunication[i]->revision) + " " +
                          std::to_string(s.PaneSeen[i]));
        }
        for (int p = 0; p < 2; ++p)
            out.push_back(std::to_string(s.TransmitCount[p]) + " " +
                          std::to_string(s.ReceiveCount[p]) + " " + s.MatchBuffer[p] + " " +
                          std::to_string(s.MatchPosition[p]) + std::to_string(s.MatchFailed[p]) +
                          " " + s.LastByte[p]);
        out.push_back(std::to_string(s.RunState) + std::to_string(f.tmrTarvoline->Enabled) +
                      " waiting " + std::to_string(program->mscComControl1.InBufferCount()) + "/" +
                      std::to_string(program->mscComControl2.InBufferCount()));
        out.insert(out.end(), store->records.begin(), store->records.end());
        return out;
    }
};

TEST(BatchedTicks, GiveWhatOneTickAtATimeGivesAlsoWhereAWatchStopsTheRun) {
    int stops = 0;
    for (unsigned seed = 1; seed <= 150; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        TwinRun single(seed), batched(seed);
        std::mt19937 random(seed);
        for (int burst = 0; burst < 12; ++burst) {
            std::string bytes[2];
            for (std::string& b : bytes)
                for (unsigned n = random() % 400; n > 0; --n)
                    b.push_back(alphabet[random() % alphabet.size()]);
            for (TwinRun* run : {&single, &batched}) {
                run->line1.feed(bytes[0]);
                run->line2.feed(bytes[1]);
            }
            // A watch may stop the run in the middle of the burst: Start again.
            for (int slice = 0; bytesWaiting(*single.program); ++slice) {
                ASSERT_LT(slice, 1000);
                single.pump();
                Timer& timer = *batched.program->FrmMain->tmrTarvoline;
                while (timer.Enabled && bytesWaiting(*batched.program))
                    timer.fire(1 + static_cast<int>(random() % 300));
                ASSERT_EQ(single.picture(), batched.picture()) << "burst " << burst;
                if (single.program->state.RunState == 1) continue;
                ++stops;
                single.program->FrmMain->mnuStartStop->Click();
                batched.program->FrmMain->mnuStartStop->Click();
            }
        }
    }
    EXPECT_GT(stops, 100) << "watches hit often enough to test a stop mid-burst";
}

}  // namespace
}  // namespace tvl
