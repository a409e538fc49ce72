// Opening a capture: what is loaded, how the window changes over, and every
// way a load fails.
#include <gtest/gtest.h>

#include "components/stores/keltvl_file.h"
#include "tests/review/review_rig.h"

namespace tvl::review_test {
namespace {

const std::string kOpenError = "Tarvoline File Open Error: The file is corrupt or not found!";

TEST(ReviewOpen, LoadsEveryEntryAndTurnsTheWindowIntoTheReview) {
    ReviewRig rig;
    const std::string path = rig.recordRun("cap.tvl", {"head one", "head two"},
                                           {{"first a", "first b"}, {"", "only b"}, {"third", ""}});
    rig.open(path);

    EXPECT_EQ(rig.platform.openFolder, rig.platform.ProgramFolder());
    EXPECT_EQ(rig.platform.openFilter, "Kelmar Tarvoline (*.tvl)|*.tvl|All Files (*.*)|*.*");
    EXPECT_TRUE(rig.platform.messages.empty());
    EXPECT_FALSE(rig.platform.ended);

    const SharedState& s = rig.state();
    EXPECT_EQ(s.RecordCount, 5);
    ASSERT_EQ(s.RecordPort1.size(), 6u);
    ASSERT_EQ(s.RecordPort2.size(), 6u);
    EXPECT_EQ(s.RecordPort1[1], "");
    EXPECT_EQ(s.RecordPort2[1], "");
    EXPECT_EQ(s.RecordPort1[2], "head one");
    EXPECT_EQ(s.RecordPort2[2], "head two");
    EXPECT_EQ(s.RecordPort1[3], "first a");
    EXPECT_EQ(s.RecordPort2[3], "first b");
    EXPECT_EQ(s.RecordPort1[4], " ");  // the run's empty pane
    EXPECT_EQ(s.RecordPort2[4], "only b");
    EXPECT_EQ(s.RecordPort1[5], "third");
    EXPECT_EQ(s.RecordPort2[5], " ");
    EXPECT_EQ(s.ReviewHeader1, "Port1 (DTE1): ");
    EXPECT_EQ(s.ReviewHeader2, "Port2 (DTE2/DCE): ");
    EXPECT_EQ(s.RecordIndex, 3);

    FrmMain& f = rig.form();
    EXPECT_EQ(f.txtPort1->Text(), "first a");
    EXPECT_EQ(f.txtPort2->Text(), "first b");
    EXPECT_FALSE(f.tbrTarvoline->Visible);
    EXPECT_TRUE(f.tbrFileAccess->Visible);
    for (Frame* group : f.fraComMonitor) EXPECT_TRUE(group->Enabled);
    for (Label* label : f.lblUART) EXPECT_FALSE(label->Visible) << label->key();
    for (Image* lamp : f.imgStatus) EXPECT_FALSE(lamp->Visible) << lamp->key();
    for (TextBox* pane : f.txtCommunication) EXPECT_FALSE(pane->Visible) << pane->key();
    EXPECT_TRUE(f.txtPort1->Visible);
    EXPECT_TRUE(f.txtPort2->Visible);
    // At the design size of the groups the Receive frames cover them from Top 400.
    for (int i : {1, 3}) {
        EXPECT_FLOAT_EQ(f.fraTxRx[i]->Width, 4095) << i;
        EXPECT_FLOAT_EQ(f.fraTxRx[i]->Height, 5400) << i;
        EXPECT_FLOAT_EQ(f.fraTxRx[i]->Top, 400) << i;
        EXPECT_FLOAT_EQ(f.fraTxRx[i]->Left, 120) << i;
    }
    for (TextBox* pane : {f.txtPort1, f.txtPort2}) {
        EXPECT_NEAR(pane->Height, 4935, 0.01);
        EXPECT_NEAR(pane->Width, 3855, 0.01);
        EXPECT_FLOAT_EQ(pane->Left, 120);
        EXPECT_FLOAT_EQ(pane->Top, 240);
    }
    // The Transmit frames are covered, not moved.
    EXPECT_FLOAT_EQ(f.fraTxRx[0]->Top, 2520);
    EXPECT_FLOAT_EQ(f.fraTxRx[2]->Height, 1575);
    // The store now names the reviewed file: the chosen name less its last 4 characters.
    EXPECT_EQ(rig.program->KelTVL->StoreFolder, rig.scratch.folder());
    EXPECT_EQ(rig.program->KelTVL->StoreName, "cap");
}

TEST(ReviewOpen, ScalesTheReviewFramesWithTheirGroups) {
    ReviewRig rig;
    const std::string path = rig.recordRun("cap.tvl", {}, {{"a", "b"}});
    FrmMain& f = rig.form();
    f.fraComMonitor[0]->Width = 8670;
    f.fraComMonitor[0]->Height = 11790;
    f.fraComMonitor[1]->Width = 4335 / 2.0f;
    f.fraComMonitor[1]->Height = 5895 / 2.0f;
    rig.open(path);
    EXPECT_NEAR(f.fraTxRx[1]->Width, 8190, 0.01);
    EXPECT_NEAR(f.fraTxRx[1]->Height, 10800, 0.01);
    EXPECT_NEAR(f.fraTxRx[1]->Top, 800, 0.01);
    EXPECT_NEAR(f.txtPort1->Height, 9870, 0.02);
    EXPECT_NEAR(f.txtPort1->Width, 7710, 0.02);
    EXPECT_NEAR(f.fraTxRx[3]->Width, 2047.5, 0.01);
    EXPECT_NEAR(f.fraTxRx[3]->Height, 2700, 0.01);
    EXPECT_NEAR(f.fraTxRx[3]->Top, 200, 0.01);
    EXPECT_NEAR(f.txtPort2->Height, 2467.5, 0.01);
}

TEST(ReviewOpen, OneDataRecordOpensOnItAndAnyExtensionIsCutOff) {
    ReviewRig rig;
    const std::string path = rig.recordRun("single.tvl", {}, {{"alone", "also"}});
    // Chosen under "All Files": the last four characters go whatever they are.
    rig.open(rig.scratch.file("single.xyz"));
    EXPECT_TRUE(rig.platform.messages.empty());
    EXPECT_EQ(rig.state().RecordCount, 3);
    EXPECT_EQ(rig.form().txtPort1->Text(), "alone");
    EXPECT_EQ(rig.form().txtPort2->Text(), "also");
    EXPECT_EQ(rig.program->KelTVL->StoreName, "single");
}

// Everything a user can see or the program keeps, to tell "nothing changed".
std::string snapshot(ReviewRig& rig) {
    std::string out;
    for (const auto& c : rig.form().controls()) {
        out += c->key() + (c->Visible ? " v" : " h") + (c->Enabled ? "e" : "d") + " " +
               std::to_string(c->Left) + "," + std::to_string(c->Top) + "," +
               std::to_string(c->Width) + "," + std::to_string(c->Height);
        if (auto* t = dynamic_cast<TextBox*>(c.get())) out += " \"" + t->Text() + "\"";
        out += "\n";
    }
    const SharedState& s = rig.state();
    out += std::to_string(s.RecordCount) + " " + std::to_string(s.RecordIndex) + " " +
           std::to_string(s.RecordPort1.size()) + " " + rig.program->KelTVL->StoreFolder + "|" +
           rig.program->KelTVL->StoreName + "\n";
    return out;
}

TEST(ReviewOpen, CancellingTheDialogLeavesTheMonitorAsItWas) {
    ReviewRig rig;
    rig.recordRun("cap.tvl", {}, {{"a", "b"}});
    mnuStartStop_Click(*rig.program);  // a running monitor
    rig.line1.feed("xy");
    rig.pump();
    const std::string before = snapshot(rig);
    rig.open("");
    EXPECT_EQ(snapshot(rig), before);
    EXPECT_TRUE(rig.platform.messages.empty());
    EXPECT_FALSE(rig.platform.ended);
    EXPECT_TRUE(rig.form().tmrTarvoline->Enabled);
}

TEST(ReviewOpen, OpenKeepsTheMonitorRunningBehindTheReview) {
    ReviewRig rig;
    const std::string path = rig.recordRun("cap.tvl", {}, {{"a", "b"}});
    mnuStartStop_Click(*rig.program);
    rig.open(path);
    EXPECT_EQ(rig.state().RunState, 1);
    EXPECT_TRUE(rig.form().tmrTarvoline->Enabled);
    rig.line1.feed("later");
    rig.pump();
    EXPECT_EQ(rig.form().txtCommunication[0]->Text(), "later");  // the hidden pane fills
    EXPECT_TRUE(rig.program->mscComControl1.PortOpen());
    EXPECT_EQ(rig.form().txtPort1->Text(), "a");
}

TEST(ReviewOpen, EveryFailureEndsTheProgramAfterOneMessage) {
    struct Case {
        const char* what;
        std::function<std::string(ReviewRig&)> make;  // the path to choose
        bool windowChanged;
    };
    const Case cases[] = {
        {"missing file", [](ReviewRig& r) { return r.scratch.file("nothing.tvl"); }, false},
        {"name shorter than four characters",
         [](ReviewRig& r) {
             r.recordRun("ab.tvl", {}, {{"a", "b"}});
             return r.scratch.file("abc");
         },
         false},
        {"not a capture",
         [](ReviewRig& r) {
             std::ofstream(r.scratch.file("junk.tvl")) << "just some text, not a capture";
             return r.scratch.file("junk.tvl");
         },
         false},
        {"damaged record",
         [](ReviewRig& r) {
             const std::string path =
                 r.recordRun("bad.tvl", {}, {{"aaaa", "bbbb"}, {"cccc", "dddd"}});
             std::string bytes = fileBytes(path);
             bytes[bytes.find("aaaa")] = 'X';
             std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
             return path;
         },
         false},
        {"no data record",
         [](ReviewRig& r) {
             return r.recordRun("empty.tvl", {"x", "y"}, {});
         },
         true},
    };
    for (const Case& c : cases) {
        ReviewRig rig;
        const std::string path = c.make(rig);
        rig.open(path);
        ASSERT_EQ(rig.platform.messages.size(), 1u) << c.what;
        EXPECT_EQ(rig.platform.messages[0], kOpenError) << c.what;
        EXPECT_TRUE(rig.platform.ended) << c.what;
        EXPECT_TRUE(rig.program->exited) << c.what;
        EXPECT_EQ(rig.form().tbrTarvoline->Visible, !c.windowChanged) << c.what;
        EXPECT_EQ(rig.form().txtPort1->Visible, c.windowChanged) << c.what;
    }
}

// A capture of `data` records written in one go through the store.
std::string bulkCapture(ReviewRig& rig, const std::string& name, int data) {
    KelTVLFile file;
    file.StoreFolder = rig.scratch.folder();
    file.StoreName = name;
    file.PortTitle1 = "T1";
    file.PortTitle2 = "T2";
    file.OpenStore();
    file.AppendRecord(1);
    for (int i = 1; i <= data; ++i) {
        file.PortText1 = "r" + std::to_string(i);
        file.PortText2 = "s" + std::to_string(i);
        file.AppendRecord(0);
    }
    file.CloseStore();
    return rig.scratch.file(name);
}

TEST(ReviewOpen, HoldsAtMost32767EntriesAndRefusesOneMore) {
    {
        ReviewRig rig;
        rig.open(bulkCapture(rig, "largest.tvl", 32765));
        EXPECT_TRUE(rig.platform.messages.empty());
        EXPECT_EQ(rig.state().RecordCount, 32767);
        mnuEnd_Click(*rig.program);
        EXPECT_EQ(rig.form().txtPort1->Text(), "r32765");
        EXPECT_EQ(rig.form().txtPort2->Text(), "s32765");
    }
    {
        ReviewRig rig;
        rig.open(bulkCapture(rig, "toolarge.tvl", 32766));
        ASSERT_EQ(rig.platform.messages.size(), 1u);
        EXPECT_EQ(rig.platform.messages[0], kOpenError);
        EXPECT_TRUE(rig.platform.ended);
        EXPECT_TRUE(rig.form().tbrTarvoline->Visible);  // failed before the window changed
    }
}

}  // namespace
}  // namespace tvl::review_test
