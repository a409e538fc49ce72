// The main window's commands: their state after start-up, the popup rules of
// the right mouse button, the toolbars' click sounds and dispatch by Key, the
// menu entries, and Exit.
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>

#include "shell/commands.h"
#include "tests/layout/test_program.h"

namespace tvl {
namespace {

using testing::TestProgram;
using Steps = std::vector<std::string>;

const std::string folder = "/opt/tarvoline";

TEST(Commands, StateAfterFormLoad) {
    TestProgram t;
    FrmMain& f = t.start();
    for (int n : {1, 7, 9, 11}) EXPECT_TRUE(f.tbrTarvoline->Buttons(n).Enabled) << n;
    for (int n : {3, 4, 5}) EXPECT_FALSE(f.tbrTarvoline->Buttons(n).Enabled) << n;
    for (Menu* m : {f.mnuSetup, f.mnuHelp, f.mnuOpenFile, f.mnuExit})
        EXPECT_TRUE(m->Enabled) << m->name();
    for (Menu* m : {f.mnuStartStop, f.mnuDataConvertion, f.mnuFindData}) {
        EXPECT_FALSE(m->Enabled) << m->name();
        EXPECT_TRUE(m->Visible) << m->name();  // visible but disabled until Setup
    }
    EXPECT_TRUE(f.tbrTarvoline->Visible);
    EXPECT_FALSE(f.tbrFileAccess->Visible);
    EXPECT_FALSE(f.mnuMenu->Visible);
    EXPECT_FALSE(f.mnuFileAccess->Visible);
    EXPECT_EQ(f.tbrTarvoline->Buttons(3).Image, 2);
    EXPECT_EQ(f.tbrTarvoline->Buttons(3).ToolTipText, "Start communication");
}

// Raises a mouse-up with the given button on a surface, as the platform does.
void mouseUp(FrmMain& f, const std::string& surface, int button) {
    if (surface == "FrmMain") return f.MouseUp(button);
    const auto open = surface.find('(');
    Control* c = open == std::string::npos
                     ? f.find(surface)
                     : f.find(surface.substr(0, open), std::stoi(surface.substr(open + 1)));
    ASSERT_NE(c, nullptr) << surface;
    ASSERT_TRUE(c->MouseUp) << surface << " has no mouse-up handler";
    c->MouseUp(button);
}

TEST(Commands, PopupRulesForEveryButtonOnEverySurface) {
    TestProgram t;
    FrmMain& f = t.start();
    // The menu each surface raises in the monitor and in review; the test is tbrTarvoline.Visible.
    struct Rule {
        const char* surface;
        const char* monitor;
        const char* review;
    };
    const Rule rules[] = {
        {"FrmMain", "mnuMenu", "mnuFileAccess"},
        {"fraComMonitor(0)", "mnuMenu", "mnuFileAccess"},
        {"fraComMonitor(1)", "mnuMenu", "mnuFileAccess"},
        {"tbrTarvoline", "mnuMenu", "mnuMenu"},
        {"tbrFileAccess", "mnuFileAccess", "mnuFileAccess"},
        {"txtPort1", "mnuFileAccess", "mnuFileAccess"},
        {"txtPort2", "mnuFileAccess", "mnuFileAccess"},
    };
    for (bool review : {false, true}) {
        f.tbrTarvoline->Visible = !review;
        // The other toolbar's state plays no part in the choice.
        f.tbrFileAccess->Visible = !review ? true : false;
        for (const Rule& r : rules) {
            for (int button : {1, 4}) {
                mouseUp(f, r.surface, button);
                EXPECT_TRUE(t.platform.popups.empty()) << r.surface << " button " << button;
                t.platform.popups.clear();
            }
            mouseUp(f, r.surface, 2);
            EXPECT_EQ(t.platform.popups, Steps{review ? r.review : r.monitor}) << r.surface;
            t.platform.popups.clear();
        }
    }
    // No rule on panes, Transmit and Receive frames, lamps, labels and switches.
    for (Control* c :
         {static_cast<Control*>(f.txtCommunication[0]), static_cast<Control*>(f.fraTxRx[3]),
          static_cast<Control*>(f.imgStatus[0]), static_cast<Control*>(f.lblUART[0]),
          static_cast<Control*>(f.chkUARTControl[0])})
        EXPECT_FALSE(c->MouseUp) << c->key();
    // By name, as scenarios call them: the index comes first for the groups.
    f.tbrTarvoline->Visible = true;
    (*f.handler("fraComMonitor_MouseUp"))({"1", "2", "0", "0", "0"});
    (*f.handler("fraComMonitor_MouseUp"))({"2", "1", "0", "0", "0"});
    (*f.handler("txtPort2_MouseUp"))({"2", "0", "0", "0"});
    EXPECT_EQ(t.platform.popups, (Steps{"mnuMenu", "mnuFileAccess"}));
}

// Registers a fake command for every handler name and records what ran, with
// how many sound steps had been given by then.
struct CommandLog {
    explicit CommandLog(TestProgram& t) {
        for (const char* name :
             {"mnuSetup_Click", "mnuStartStop_Click", "mnuDataConvertion_Click",
              "mnuFindData_Click", "mnuHelp_Click", "mnuOpenFile_Click", "mnuHome_Click",
              "mnuBack_Click", "mnuForward_Click", "mnuEnd_Click", "mnuFind_Click",
              "mnuSaveExit_Click", "mnuNoSaveExit_Click"})
            t.program->FrmMain->handle(name, [this, &t, name](const auto&) {
                ran.push_back(name);
                soundBefore.push_back(t.sound.size());
            });
    }
    Steps ran;
    std::vector<std::size_t> soundBefore;
};

TEST(Commands, MonitorToolbarPlaysSequenceBThenRunsTheCommandOfItsKey) {
    TestProgram t;
    FrmMain& f = t.start();
    CommandLog log(t);
    const Steps sequenceB = {"Notify=False",         "Wait=True",
                             "DeviceType=WaveAudio", "FileName=" + folder + "/button.wav",
                             "Command=Sound",        "Command=Close"};
    const std::map<int, std::string> expected = {
        {1, "mnuSetup_Click"},    {3, "mnuStartStop_Click"}, {4, "mnuDataConvertion_Click"},
        {5, "mnuFindData_Click"}, {7, "mnuHelp_Click"},      {9, "mnuOpenFile_Click"}};
    for (auto& b : f.tbrTarvoline->buttons) b.Enabled = true;
    for (const auto& [n, handler] : expected) {
        log.ran.clear();
        log.soundBefore.clear();
        t.sound.clear();
        f.tbrTarvoline->click(n);
        EXPECT_EQ(t.sound, sequenceB) << "button " << n;
        EXPECT_EQ(log.ran, Steps{handler}) << "button " << n;
        ASSERT_EQ(log.soundBefore.size(), 1u);
        EXPECT_EQ(log.soundBefore[0], sequenceB.size()) << "the sound ends before the command";
    }
    // A key is compared exactly: no command for a key of another case or set.
    log.ran.clear();
    f.tbrTarvoline->Buttons(1).Key = "setup";
    f.tbrTarvoline->click(1);
    f.tbrTarvoline->Buttons(1).Key = "Home";
    f.tbrTarvoline->click(1);
    EXPECT_TRUE(log.ran.empty());
    EXPECT_EQ(monitorCommand("Exit"), std::string("mnuExit_Click"));
    EXPECT_EQ(monitorCommand("Home"), nullptr);

    // Exit from the toolbar sounds first; from the popup it makes no sound.
    t.sound.clear();
    f.tbrTarvoline->click(11);
    EXPECT_EQ(t.sound, sequenceB);
    EXPECT_EQ(t.platform.ends, 1);
    t.sound.clear();
    f.mnuExit->Click();
    EXPECT_TRUE(t.sound.empty());
    EXPECT_EQ(t.platform.ends, 2);
}

TEST(Commands, ReviewToolbarStartsSequenceCThenRunsTheCommandOfItsKey) {
    TestProgram t;
    FrmMain& f = t.start();
    CommandLog log(t);
    f.tbrTarvoline->Visible = false;
    f.tbrFileAccess->Visible = true;
    const Steps sequenceC = {"Command=Close",   "Notify=False",
                             "Wait=True",       "DeviceType=WaveAudio",
                             "Shareable=False", "FileName=" + folder + "/button.wav",
                             "Command=Open",    "Command=Play"};
    const std::map<int, std::string> expected = {
        {1, "mnuHome_Click"},      {2, "mnuBack_Click"}, {3, "mnuForward_Click"},
        {4, "mnuEnd_Click"},       {6, "mnuFind_Click"}, {8, "mnuSaveExit_Click"},
        {9, "mnuNoSaveExit_Click"}};
    for (const auto& [n, handler] : expected) {
        log.ran.clear();
        log.soundBefore.clear();
        t.sound.clear();
        f.tbrFileAccess->click(n);
        EXPECT_EQ(t.sound, sequenceC) << "button " << n;
        EXPECT_EQ(log.ran, Steps{handler}) << "button " << n;
        EXPECT_EQ(log.soundBefore, std::vector<std::size_t>{sequenceC.size()});
    }
    // Separators and the buttons of the other set do nothing.
    log.ran.clear();
    t.sound.clear();
    f.tbrFileAccess->click(5);
    f.tbrTarvoline->click(1);  // hidden
    EXPECT_TRUE(log.ran.empty());
    EXPECT_TRUE(t.sound.empty());
}

TEST(Commands, CommandsAreLookedUpWhenClickedAndAMissingOneDoesNothing) {
    TestProgram t;
    FrmMain& f = t.start();
    // A name with no handler does nothing.
    EXPECT_FALSE(f.handler("mnuNoSuchCommand_Click"));
    EXPECT_FALSE(runCommand(f, "mnuNoSuchCommand_Click"));
    EXPECT_NO_THROW(f.tbrTarvoline->click(7));
    ASSERT_TRUE(f.mnuHelp->Click);
    EXPECT_NO_THROW(f.mnuHelp->Click());
    ASSERT_TRUE(f.mnuNoSaveExit->Click);
    EXPECT_NO_THROW(f.mnuNoSaveExit->Click());

    // Registered again afterwards, the button reaches the new handler by its
    // name; the menu entry keeps the binding it already had.
    int helps = 0;
    f.handle("mnuHelp_Click", [&](const auto&) { ++helps; });
    f.tbrTarvoline->click(7);
    f.mnuHelp->Click();
    EXPECT_EQ(helps, 1);
    // The menu entries keep the binding they already had.
    int starts = 0;
    f.handle("mnuStartStop_Click", [&](const auto&) { ++starts; });
    f.mnuStartStop->Click();
    EXPECT_EQ(starts, 0);
}

class FailingWorkbook : public KelXLS {
public:
    explicit FailingWorkbook(int& closes, bool fail) : closes_(closes), fail_(fail) {}
    void CloseStore() override {
        ++closes_;
        if (fail_) throw StoreError("book.xls: disk full");
    }
    void CreateStore() override {}
    void AppendRecord() override {}

private:
    int& closes_;
    bool fail_;
};

TEST(Commands, ExitClosesTheWorkbookOnlyInItsModeAndEndsWhateverHappens) {
    for (int mode : {0, 1, 2, 3}) {
        for (bool fail : {false, true}) {
            TestProgram t;
            FrmMain& f = t.start();
            int closes = 0;
            t.program->KelXLS = std::make_unique<FailingWorkbook>(closes, fail);
            t.program->state.SavingMode = static_cast<std::uint8_t>(mode);
            f.tmrTarvoline->Enabled = true;
            EXPECT_NO_THROW(f.mnuExit->Click());
            EXPECT_EQ(closes, mode == 2 ? 1 : 0) << "mode " << mode;
            EXPECT_EQ(t.platform.ends, 1);
            EXPECT_TRUE(t.program->exited);
            // No Stop and nothing else: the timer runs on to the end.
            EXPECT_TRUE(f.tmrTarvoline->Enabled);
        }
    }
    // The close box takes the same two steps.
    TestProgram t;
    FrmMain& f = t.start();
    int closes = 0;
    t.program->KelXLS = std::make_unique<FailingWorkbook>(closes, true);
    t.program->state.SavingMode = 2;
    ASSERT_TRUE(f.handler("Form_QueryUnload"));
    (*f.handler("Form_QueryUnload"))({});
    EXPECT_EQ(closes, 1);
    EXPECT_EQ(t.platform.ends, 1);
}

}  // namespace
}  // namespace tvl
