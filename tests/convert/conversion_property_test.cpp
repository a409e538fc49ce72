// Random bytes through the Host-mode pump, ticked singly and in batched slices,
// under random rules typed into Specify Action, against a model of the rows.
#include <array>
#include <random>
#include <string>

#include <gtest/gtest.h>

#include "app/frm_host_action.h"
#include "app/frm_main.h"
#include "app/program.h"
#include "platform/quiet_platform.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

// One direction's rows as a stream transformer. A byte is held while some row
// has it at that place (within the longest row ever given); a held text equal
// to a row sends the first such row's replacement. A byte that can't extend
// the held text releases it, then starts a new one or goes out itself.
struct RowModel {
    std::array<std::string, 5> present, converted;
    std::size_t longest = 0;  // longest Present Value ever given; never falls
    std::string held;
    std::string sent;  // everything written to the other port, in order

    void give(const std::array<std::string, 5>& p, const std::array<std::string, 5>& c) {
        present = p;
        converted = c;
        for (const auto& row : p) longest = std::max(longest, row.size());
    }

    bool someRowHas(std::size_t at, char c) const {
        if (at >= longest) return false;
        for (const auto& row : present)
            if (at < row.size() && row[at] == c) return true;
        return false;
    }

    void read(char c) {
        if (longest == 0) {
            sent.push_back(c);
            return;
        }
        if (someRowHas(held.size(), c)) {
            held.push_back(c);
        } else {
            sent += held;
            held.clear();
            if (someRowHas(0, c))
                held.assign(1, c);
            else
                sent.push_back(c);
        }
        for (std::size_t r = 0; r < 5; ++r) {
            if (held == present[r]) {
                sent += converted[r];
                held.clear();
                break;
            }
        }
    }
};

struct HostLine : testing::ProgramOnLines<QuietPlatform> {
    HostLine() {
        make();
        start();
        openPorts();
        program->state.OperationMode = 1;
        program->FrmMain->mnuStartStop->Click();
    }

    // Opens the dialog, types the twenty boxes and presses OK.
    void typeRows(const std::array<std::string, 20>& boxes) {
        program->FrmMain->mnuDataConvertion->Click();
        ASSERT_TRUE(program->frmHostAction);
        for (int k = 0; k < 20; ++k) program->frmHostAction->txtValue[k]->setText(boxes[k]);
        program->frmHostAction->cmdOk->Click();
    }
};

// Short texts over a small alphabet with control and high bytes, so that rows
// often fit the traffic, share beginnings, and repeat.
const std::string alphabet = std::string("ABCa\r\0\xFF", 7);

std::string randomText(std::mt19937& random, std::size_t most) {
    std::string text(random() % (most + 1), ' ');
    for (char& c : text) c = alphabet[random() % alphabet.size()];
    return text;
}

// A rule set for one port: rows that are prefixes of others, duplicates with
// different replacements, deletions and wholly empty rows.
void randomRows(std::mt19937& random, std::array<std::string, 5>& present,
                std::array<std::string, 5>& converted) {
    for (int r = 0; r < 5; ++r) {
        switch (random() % 6) {
            case 0:
                present[r].clear();
                break;  // the row is left empty
            case 1:
                present[r] = r > 0 ? present[random() % r] : randomText(random, 4);  // duplicate
                break;
            case 2:
                if (r > 0 && !present[r - 1].empty())  // a prefix of the row above
                    present[r] = present[r - 1].substr(0, 1 + random() % present[r - 1].size());
                else
                    present[r] = randomText(random, 3);
                break;
            default:
                present[r] = randomText(random, 4);
        }
        converted[r] = present[r].empty() ? std::string() : randomText(random, 5);
    }
}

TEST(ConversionProperty, HostModeSendsHoldsOrReplacesEveryByteAsTheRowsSay) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        HostLine host;
        SharedState& s = host.program->state;
        RowModel model[2];
        std::size_t readCount[2] = {0, 0};
        std::string written[2];  // what each direction wrote so far

        for (int round = 0; round < 30; ++round) {
            // Now and then a new rule set, typed while a match may be under way.
            if (round == 0 ? random() % 4 != 0 : random() % 5 == 0) {
                std::array<std::string, 5> present[2], converted[2];
                std::array<std::string, 20> boxes;
                for (int p = 0; p < 2; ++p) {
                    randomRows(random, present[p], converted[p]);
                    for (int r = 0; r < 5; ++r) {
                        boxes[10 * p + r] = present[p][r];
                        boxes[10 * p + 5 + r] = converted[p][r];
                    }
                }
                host.typeRows(boxes);
                ASSERT_FALSE(host.program->frmHostAction->Visible) << "rows refused";
                ASSERT_TRUE(host.program->FrmMain->Enabled);
                for (int p = 0; p < 2; ++p) model[p].give(present[p], converted[p]);
            }

            const std::string bytes[2] = {randomText(random, 60), randomText(random, 60)};
            host.line1.feed(bytes[0]);
            host.line2.feed(bytes[1]);
            if (seed % 2)  // one tick at a time, or in the desktop's batched slices
                host.pump();
            else
                host.pumpInSlices();
            for (int p = 0; p < 2; ++p) {
                for (char c : bytes[p]) model[p].read(c);
                readCount[p] += bytes[p].size();
            }

            // What each direction wrote so far, what it holds, and its counters.
            // (Their captions: the batched tick test.)
            written[0] += host.line2.takeWritten();
            written[1] += host.line1.takeWritten();
            for (int p = 0; p < 2; ++p) {
                SCOPED_TRACE("direction " + std::to_string(p) + ", round " + std::to_string(round));
                ASSERT_EQ(written[p], model[p].sent);
                ASSERT_EQ(s.MatchBuffer[p], model[p].held);
                ASSERT_EQ(s.MatchPosition[p], model[p].held.size());
                ASSERT_EQ(s.MaxPresentLength[p], model[p].longest);
                ASSERT_EQ(s.TransmitCount[p], static_cast<std::int64_t>(readCount[p]));
                ASSERT_EQ(s.ReceiveCount[p], static_cast<std::int64_t>(model[p].sent.size()));
            }
        }
    }
}

}  // namespace
}  // namespace tvl
