// Stepping through a capture and searching it.
#include <random>

#include <gtest/gtest.h>

#include "tests/review/review_rig.h"

namespace tvl::review_test {
namespace {

// A review of five entries: 2 is the head, 3..5 the data records.
struct FiveEntries : ReviewRig {
    FiveEntries() {
        open(recordRun("five.tvl", {"head", "HEAD"},
                       {{"one", "uno"}, {"two", "dos"}, {"three", "tres"}}));
    }
    int at() const { return program->state.RecordIndex; }
    std::string shown() { return form().txtPort1->Text() + "|" + form().txtPort2->Text(); }
};

TEST(ReviewNavigation, StepsRoundTheRingOfDataRecords) {
    FiveEntries r;
    Program& p = *r.program;
    EXPECT_EQ(r.at(), 3);
    mnuBack_Click(p);  // from the first to the last
    EXPECT_EQ(r.at(), 5);
    EXPECT_EQ(r.shown(), "three|tres");
    mnuForward_Click(p);  // from the last to the first
    EXPECT_EQ(r.at(), 3);
    EXPECT_EQ(r.shown(), "one|uno");
    mnuForward_Click(p);
    EXPECT_EQ(r.at(), 4);
    EXPECT_EQ(r.shown(), "two|dos");
    mnuEnd_Click(p);
    EXPECT_EQ(r.at(), 5);
    mnuBack_Click(p);
    EXPECT_EQ(r.at(), 4);
    mnuHome_Click(p);
    EXPECT_EQ(r.at(), 3);
    EXPECT_EQ(r.shown(), "one|uno");
    // The menu entries run the same commands.
    r.form().mnuEnd->Click();
    EXPECT_EQ(r.at(), 5);
    r.form().mnuForward->Click();
    EXPECT_EQ(r.at(), 3);
}

TEST(ReviewNavigation, EveryStepKeepsTheEditsOfThePanes) {
    FiveEntries r;
    Program& p = *r.program;
    r.form().txtPort1->setText("one edited");
    mnuForward_Click(p);
    mnuBack_Click(p);
    EXPECT_EQ(r.shown(), "one edited|uno");
    EXPECT_EQ(r.state().RecordPort1[3], "one edited");

    mnuEnd_Click(p);
    r.form().txtPort2->setText("tres edited");
    mnuHome_Click(p);  // Home writes the last entry back first
    EXPECT_EQ(r.state().RecordPort2[5], "tres edited");
    r.form().txtPort1->setText("via end");
    mnuEnd_Click(p);
    EXPECT_EQ(r.state().RecordPort1[3], "via end");
    r.form().txtPort1->setText("via back");
    mnuBack_Click(p);
    EXPECT_EQ(r.state().RecordPort1[5], "via back");
    // The head and entry 1 are never a step's target, so they stay as read.
    EXPECT_EQ(r.state().RecordPort1[2], "head");
    EXPECT_EQ(r.state().RecordPort1[1], "");
}

TEST(ReviewNavigation, ASingleRecordStaysOnScreenAndIsStillWrittenBack) {
    ReviewRig r;
    r.open(r.recordRun("one.tvl", {}, {{"a", "b"}}));
    for (auto step : {mnuBack_Click, mnuForward_Click, mnuEnd_Click, mnuHome_Click}) {
        r.form().txtPort1->setText("kept");
        step(*r.program);
        EXPECT_EQ(r.state().RecordIndex, 3);
        EXPECT_EQ(r.state().RecordPort1[3], "kept");
        EXPECT_EQ(r.form().txtPort1->Text(), "kept");
    }
}

TEST(ReviewNavigation, AfterFindOnTheHeadTheRingGoesOnFromThere) {
    FiveEntries r;
    Program& p = *r.program;
    r.platform.inputs = {"HEAD", "HEAD"};
    mnuFind_Click(p);
    ASSERT_EQ(r.at(), 2);
    r.form().txtPort1->setText("head edited");
    mnuBack_Click(p);
    EXPECT_EQ(r.at(), 5);
    EXPECT_EQ(r.state().RecordPort1[2], "head edited");
    mnuFind_Click(p);
    mnuForward_Click(p);
    EXPECT_EQ(r.at(), 3);
}

TEST(ReviewFind, AsksAndShowsTheLastEntryHoldingTheTextWithCaseCounting) {
    ReviewRig r;
    r.open(r.recordRun(
        "find.tvl", {"head x", "ABC"},
        {{"abc here", "nothing"}, {"zzz", "abc also"}, {"Abc upper", "ABC"}, {"zzz end", "none"}}));
    Program& p = *r.program;
    FrmMain& f = r.form();

    r.platform.inputs = {"abc"};
    mnuFind_Click(p);
    ASSERT_EQ(r.platform.prompts.size(), 1u);
    EXPECT_EQ(r.platform.prompts[0], "Please enter data:\rNote: This is a case sesitive.");
    EXPECT_EQ(r.platform.titles[0], "Tarvoline Find data");
    // Entries 3 and 4 hold "abc"; entry 5 only "Abc" and "ABC".
    EXPECT_EQ(r.state().RecordIndex, 4);
    EXPECT_EQ(f.txtPort1->Text(), "zzz");
    EXPECT_EQ(f.txtPort2->Text(), "abc also");
    EXPECT_EQ(f.focus, f.txtPort2);

    // Column 1 of entry 4 and of entry 6 hold "zz": the later entry wins, and
    // its column 1 takes the focus.
    r.platform.inputs = {"zz"};
    mnuFind_Click(p);
    EXPECT_EQ(r.state().RecordIndex, 6);
    EXPECT_EQ(f.focus, f.txtPort1);
    EXPECT_EQ(f.txtPort1->Text(), "zzz end");
    EXPECT_EQ(f.txtPort2->Text(), "none");
    // Found in both columns of one entry: column 2 has the focus.
    r.platform.inputs = {"ABC"};
    mnuFind_Click(p);
    EXPECT_EQ(r.state().RecordIndex, 5);
    EXPECT_EQ(f.focus, f.txtPort2);
    // Found only in column 1 of the last entry holding it.
    r.platform.inputs = {"Abc"};
    mnuFind_Click(p);
    EXPECT_EQ(r.state().RecordIndex, 5);
    EXPECT_EQ(f.focus, f.txtPort1);
    // The head record is searched too.
    r.platform.inputs = {"head"};
    mnuFind_Click(p);
    EXPECT_EQ(r.state().RecordIndex, 2);
    EXPECT_EQ(f.txtPort1->Text(), "head x");
    EXPECT_EQ(f.txtPort2->Text(), "ABC");
    // A second Find of the same text lands on the same entry: there is no Find Next.
    r.platform.inputs = {"abc"};
    mnuFind_Click(p);
    r.platform.inputs = {"abc"};
    mnuFind_Click(p);
    EXPECT_EQ(r.state().RecordIndex, 4);
    EXPECT_TRUE(r.platform.messages.empty());
}

TEST(ReviewFind, NothingFoundLeavesTheScreenAndTellsSo) {
    FiveEntries r;
    Program& p = *r.program;
    mnuForward_Click(p);
    r.form().txtPort1->setText("unsaved edit");
    r.platform.inputs = {"ONE"};
    mnuFind_Click(p);
    ASSERT_EQ(r.platform.messages.size(), 1u);
    EXPECT_EQ(r.platform.messages[0],
              "Tarvoline did not found the data.: Sorry but the ONE is not found!");
    EXPECT_EQ(r.at(), 4);
    EXPECT_EQ(r.shown(), "unsaved edit|dos");
    // Longer than every column.
    r.platform.inputs = {"threethree"};
    mnuFind_Click(p);
    EXPECT_EQ(r.platform.messages.size(), 2u);
    EXPECT_EQ(r.at(), 4);
}

TEST(ReviewFind, AHitReplacesThePanesWithoutWritingThemBack) {
    FiveEntries r;
    Program& p = *r.program;
    r.form().txtPort1->setText("edit that is lost");
    r.platform.inputs = {"two"};
    mnuFind_Click(p);
    EXPECT_EQ(r.at(), 4);
    EXPECT_EQ(r.state().RecordPort1[3], "one");
    mnuHome_Click(p);
    EXPECT_EQ(r.shown(), "one|uno");
}

TEST(ReviewFind, AnEmptyTextHitsTheLastEntryWithAnyText) {
    FiveEntries r;
    Program& p = *r.program;
    r.platform.inputs = {""};  // also what a cancelled input box gives
    mnuFind_Click(p);
    EXPECT_EQ(r.at(), 5);
    EXPECT_EQ(r.form().focus, r.form().txtPort2);

    // Only column 1 of the last entry left: focus on column 1.
    r.state().RecordPort2[5] = "";
    mnuFind_Click(p);
    EXPECT_EQ(r.at(), 5);
    EXPECT_EQ(r.form().focus, r.form().txtPort1);

    // All columns empty: the message, with nothing between its parts.
    for (auto* column : {&r.state().RecordPort1, &r.state().RecordPort2})
        for (auto& text : *column) text.clear();
    mnuFind_Click(p);
    ASSERT_EQ(r.platform.messages.size(), 1u);
    EXPECT_EQ(r.platform.messages[0],
              "Tarvoline did not found the data.: Sorry but the  is not found!");
}

// The search from the end must give what a scan of every position of every
// column in order gives: the last hit, and the column of that entry's last hit.
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
        for (int i = 1; i <= n; ++i) {
            for (int col = 1; col <= 2; ++col) {
                const std::string& c = col == 1 ? s.RecordPort1[i] : s.RecordPort2[i];
                for (std::size_t j = 0; j < c.size(); ++j)
                    if (c.substr(j, wanted.size()) == wanted) {
                        entry = i;
                        column2 = col == 2;
                    }
            }
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
