// What the toolbars' click sounds do to the user-interface thread: a click on
// tbrTarvoline holds it for the length of "button.wav"; a click on
// tbrFileAccess, a popup entry and the start-up sound don't.
#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/sound/wave_file.h"
#include "components/sound/wave_output.h"
#include "platform/quiet_platform.h"
#include "shell/startup.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::microseconds;

template <class F>
microseconds timed(F f) {
    const auto start = Clock::now();
    f();
    return std::chrono::duration_cast<microseconds>(Clock::now() - start);
}

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

TEST(ClickSound, OnlyTheMonitorToolbarHoldsTheThreadForTheClickWithoutADevice) {
    const auto click = readWave(std::string(TVL_BINARY_DIR) + "/bin/button.wav");
    const auto chime = readWave(std::string(TVL_BINARY_DIR) + "/bin/Kelmar.wav");
    ASSERT_TRUE(click && chime);
    const microseconds length = click->length();

    Rig rig([] { return makeWaveOutput("tarvoline-no-such-device"); });
    const auto startUp = timed([&] { rig.start(); });
    EXPECT_LT(startUp, chime->length() / 2);  // the chime isn't waited for

    FrmMain& f = rig.main();
    rig.review();
    const auto toolbar =
        timed([&] { f.tbrTarvoline->ButtonClick(f.tbrTarvoline->Buttons(kHelp)); });
    EXPECT_GE(toolbar, length - microseconds(2000));
    EXPECT_LT(toolbar, length + std::chrono::seconds(1));

    const auto popup = timed([&] { f.mnuHelp->Click(); });
    EXPECT_LT(popup, length / 2);

    const auto review =
        timed([&] { f.tbrFileAccess->ButtonClick(f.tbrFileAccess->Buttons(kHome)); });
    EXPECT_LT(review, length / 2);
}

}  // namespace
}  // namespace tvl
