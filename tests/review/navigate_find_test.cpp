// Searching a capture. (Stepping through one: the review scenarios.)
#include <random>

#include <gtest/gtest.h>

#include "tests/review/review_rig.h"

namespace tvl::review_test {
namespace {

TEST(ReviewFind, ShowsTheLastEntryHoldingTheTextWithTheFocusOnItsColumnAndAMissChangesNothing) {
    ReviewRig r;
    r.open(r.recordRun(
        "find.tvl", {"head x", "ABC"},
        {{"abc here", "nothing"}, {"zzz", "abc also"}, {"Abc upper", "ABC"}, {"zzz end", "none"}}));
    FrmMain& f = r.form();
    const std::tuple<const char*, int, TextBox*> finds[] = {
        {"abc", 4, f.txtPort2}, {"zz", 6, f.txtPort1},  {"ABC", 5, f.txtPort2},
        {"Abc", 5, f.txtPort1}, {"abc", 4, f.txtPort2}, {"head", 2, f.txtPort1}};
    for (const auto& [text, entry, focus] : finds) {
        r.platform.inputs = {text};
        mnuFind_Click(*r.program);
        EXPECT_EQ(r.state().RecordIndex, entry) << text;
        EXPECT_EQ(f.focus, focus) << text;
        EXPECT_EQ(f.txtPort1->Text(), r.state().RecordPort1[entry]);
    }
    EXPECT_EQ(r.platform.asked.back(),
              "Tarvoline Find data: Please enter data:\rNote: This is a case sesitive.");
    EXPECT_TRUE(r.platform.messages.empty());
    mnuForward_Click(*r.program);  // the ring goes on from the head
    EXPECT_EQ(r.state().RecordIndex, 3);

    // A miss shows its message and leaves the panes as they were; a hit shows
    // its entry without writing the panes back.
    f.txtPort1->setText("unsaved edit");
    for (const char* text : {"ZZZ", "abc herenothing"}) {  // case counts; no text spans columns
        r.platform.inputs = {text};
        mnuFind_Click(*r.program);
        EXPECT_EQ(r.platform.messages.back(),
                  std::string("Tarvoline did not found the data.: Sorry but the ") + text +
                      " is not found!");
        EXPECT_EQ(f.txtPort1->Text() + "|" + f.txtPort2->Text(), "unsaved edit|nothing");
    }
    r.platform.inputs = {"upper"};
    mnuFind_Click(*r.program);
    EXPECT_EQ(r.state().RecordIndex, 5);
    EXPECT_EQ(r.state().RecordPort1[3], "abc here");
}

// The search from the end gives what a scan of every position of every column
// gives: the last hit and its column. (The empty text, from a cancelled input
// box, stands at every position of a column that is not empty.)
TEST(ReviewFind, AgreesWithAPlainScanOfEveryPosition) {
    std::mt19937 random(20240601);
    auto text = [&](int most) {
        std::string s(std::uniform_int_distribution<int>(0, most)(random), ' ');
        for (char& c : s) c = "abAB "[std::uniform_int_distribution<int>(0, 4)(random)];
        return s;
    };
    for (int round = 0; round < 2000; ++round) {
        SharedState s;
        const int n = std::uniform_int_distribution<int>(3, 9)(random);
        s.RecordCount = n;
        s.RecordPort1.resize(n + 1);
        s.RecordPort2.resize(n + 1);
        for (int i = 1; i <= n; ++i) {
            s.RecordPort1[i] = text(6);
            s.RecordPort2[i] = text(6);
        }
        const std::string wanted = text(3);
        int entry = 0;
        bool column2 = false;
        for (int i = 1; i <= n; ++i)
            for (int col = 1; col <= 2; ++col) {
                const std::string& c = col == 1 ? s.RecordPort1[i] : s.RecordPort2[i];
                for (std::size_t j = 0; j < c.size(); ++j)
                    if (c.substr(j, wanted.size()) == wanted) entry = i, column2 = col == 2;
            }
        const auto hit = findLastHolding(s, wanted);
        ASSERT_EQ(hit.has_value(), entry != 0) << "round " << round;
        if (hit) {
            EXPECT_EQ(hit->entry, entry) << "round " << round;
            EXPECT_EQ(hit->inColumn2, column2) << "round " << round;
        }
    }
}

}  // namespace
}  // namespace tvl::review_test
