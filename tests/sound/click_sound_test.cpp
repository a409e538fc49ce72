// What each place gives the sound output: a click on tbrTarvoline plays
// "button.wav" to its end before the command; a click on tbrFileAccess and the
// start-up sound are not waited for; a popup entry plays nothing.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/sound/wave_output.h"
#include "platform/quiet_platform.h"
#include "shell/startup.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

std::string base(const std::string& path) { return path.substr(path.rfind('/') + 1); }

// Records what each player gives its output, and whether a play waited.
struct Recording : SoundOutput {
    explicit Recording(std::vector<std::string>& log) : log(log) {}
    bool open(const std::string& file) override {
        log.push_back("open " + base(file));
        return true;
    }
    void play(bool wait) override { log.push_back(wait ? "play waited" : "play"); }
    void close() override { log.push_back("close"); }
    std::vector<std::string>& log;
};

struct Rig : testing::ProgramOnLines<QuietPlatform> {
    explicit Rig(std::function<std::unique_ptr<SoundOutput>()> makeSound)
        : ProgramOnLines(std::string(TVL_BINARY_DIR) + "/bin") {
        ProgramParts parts;
        parts.makeSound = std::move(makeSound);
        make(std::move(parts));
    }
    FrmMain& main() { return *program->FrmMain; }
    // A capture of three records under review, for the review toolbar.
    void review() {
        program->state.RecordCount = 3;
        program->state.RecordPort1 = {"", "first", "second", "third"};
        program->state.RecordPort2 = {"", "one", "two", "three"};
    }
};

constexpr int kHelp = 7;  // tbrTarvoline: Help, after two separators
constexpr int kHome = 1;  // tbrFileAccess

TEST(ClickSound, EachPlaceWaitsOnlyWhereItsSequenceSaysSo) {
    std::vector<std::string> log;  // mciTarvoline is the first player made
    int made = 0;
    std::vector<std::string> others;
    Rig rig([&]() -> std::unique_ptr<SoundOutput> {
        return std::make_unique<Recording>(made++ == 0 ? log : others);
    });

    rig.start();  // the start-up sound goes on under the window
    rig.review();
    EXPECT_EQ(log, (std::vector<std::string>{"open Kelmar.wav", "play"}));
    log.clear();

    rig.main().tbrTarvoline->ButtonClick(rig.main().tbrTarvoline->Buttons(kHelp));
    EXPECT_EQ(log, (std::vector<std::string>{"open button.wav", "play waited", "close"}));
    log.clear();

    rig.main().tbrFileAccess->ButtonClick(rig.main().tbrFileAccess->Buttons(kHome));
    rig.main().tbrFileAccess->ButtonClick(rig.main().tbrFileAccess->Buttons(kHome));
    EXPECT_EQ(log, (std::vector<std::string>{"close", "open button.wav", "play", "close",
                                             "open button.wav", "play"}));
    log.clear();

    rig.main().mnuHelp->Click();
    EXPECT_TRUE(log.empty());
}

}  // namespace
}  // namespace tvl
