// The toolbars: each button runs the command of its Key once its click sound
// is through, the monitor's waiting for it and the review's not. And Exit.
#include <gtest/gtest.h>

#include "platform/quiet_platform.h"
#include "shell/commands.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

using Steps = std::vector<std::string>;

// The program in /opt/tarvoline, with the steps given to its first sound
// player once the main window is up.
struct TestProgram : testing::ProgramOnLines<QuietPlatform> {
    TestProgram() : ProgramOnLines("/opt/tarvoline") {
        make();
        program->mciTarvoline.trace = [this](const std::string& step) { sound.push_back(step); };
    }
    FrmMain& start() {
        FrmMain& main = ProgramOnLines::start();
        sound.clear();
        return main;
    }
    Steps sound;
};

TEST(Commands, ToolbarButtonsSoundTheirClickThenRunTheCommandOfTheirKey) {
    TestProgram t;
    FrmMain& f = t.start();
    std::vector<std::pair<std::string, std::size_t>> ran;  // command, sound steps given before it
    for (const char* name : {"mnuSetup_Click", "mnuStartStop_Click", "mnuDataConvertion_Click",
                             "mnuFindData_Click", "mnuHelp_Click", "mnuOpenFile_Click",
                             "mnuHome_Click", "mnuBack_Click", "mnuForward_Click", "mnuEnd_Click",
                             "mnuFind_Click", "mnuSaveExit_Click", "mnuNoSaveExit_Click"})
        f.handle(name, [&ran, &t, name](const auto&) { ran.emplace_back(name, t.sound.size()); });
    const Steps waited = {"Notify=False",         "Wait=True",
                          "DeviceType=WaveAudio", "FileName=/opt/tarvoline/button.wav",
                          "Command=Sound",        "Command=Close"};
    const Steps started = {"Command=Close",   "Notify=False",
                           "Wait=True",       "DeviceType=WaveAudio",
                           "Shareable=False", "FileName=/opt/tarvoline/button.wav",
                           "Command=Open",    "Command=Play"};
    const struct {
        bool review;
        int button;
        const char* command;  // none for a separator
    } buttons[] = {{false, 1, "mnuSetup_Click"},     {false, 2, nullptr},
                   {false, 3, "mnuStartStop_Click"}, {false, 4, "mnuDataConvertion_Click"},
                   {false, 5, "mnuFindData_Click"},  {false, 7, "mnuHelp_Click"},
                   {false, 9, "mnuOpenFile_Click"},  {true, 1, "mnuHome_Click"},
                   {true, 2, "mnuBack_Click"},       {true, 3, "mnuForward_Click"},
                   {true, 4, "mnuEnd_Click"},        {true, 5, nullptr},
                   {true, 6, "mnuFind_Click"},       {true, 8, "mnuSaveExit_Click"},
                   {true, 9, "mnuNoSaveExit_Click"}};
    for (auto& b : f.tbrTarvoline->buttons) b.Enabled = true;
    for (const auto& b : buttons) {
        SCOPED_TRACE(std::to_string(b.review) + " " + std::to_string(b.button));
        f.tbrTarvoline->Visible = !b.review;
        f.tbrFileAccess->Visible = b.review;
        ran.clear();
        t.sound.clear();
        (b.review ? f.tbrFileAccess : f.tbrTarvoline)->click(b.button);
        (b.review ? f.tbrTarvoline : f.tbrFileAccess)->click(b.button);  // hidden: nothing
        const Steps& sound = b.review ? started : waited;
        if (!b.command) {
            EXPECT_TRUE(ran.empty() && t.sound.empty());
            continue;
        }
        EXPECT_EQ(t.sound, sound);
        ASSERT_EQ(ran.size(), 1u);
        EXPECT_EQ(ran[0], std::make_pair(std::string(b.command), sound.size()));
    }
    // A key is compared exactly.
    f.tbrTarvoline->Visible = true;
    ran.clear();
    f.tbrTarvoline->Buttons(1).Key = "setup";
    f.tbrTarvoline->click(1);
    EXPECT_TRUE(ran.empty());
}

class FailingWorkbook : public KelXLS {
public:
    explicit FailingWorkbook(int& closes) : closes_(closes) {}
    void CloseStore() override {
        ++closes_;
        throw StoreError("book.xls: disk full");
    }
    void CreateStore() override {}
    void AppendRecord() override {}

private:
    int& closes_;
};

// Exit, from the toolbar, the menu or the close box, closes the workbook
// only when saving to one, and ends the program whatever happens, running or not.
TEST(Commands, ExitClosesTheWorkbookOnlyInItsModeAndEndsWhateverHappens) {
    for (int mode : {0, 1, 2, 3}) {
        for (int way = 0; way < 3; ++way) {
            TestProgram t;
            FrmMain& f = t.start();
            int closes = 0;
            t.program->KelXLS = std::make_unique<FailingWorkbook>(closes);
            t.program->state.SavingMode = static_cast<std::uint8_t>(mode);
            f.tmrTarvoline->Enabled = true;
            if (way == 0) f.tbrTarvoline->click(11);
            if (way == 1) f.mnuExit->Click();
            if (way == 2) (*f.handler("Form_QueryUnload"))({});
            EXPECT_EQ(closes, mode == 2 ? 1 : 0) << mode;
            EXPECT_EQ(t.platform.ends, 1);
            EXPECT_TRUE(t.program->exited);
            EXPECT_TRUE(f.tmrTarvoline->Enabled);  // no Stop: the timer runs on to the end
            EXPECT_EQ(t.sound.size(), way == 0 ? 6u : 0u) << "only the toolbar sounds";
        }
    }
}

}  // namespace
}  // namespace tvl
