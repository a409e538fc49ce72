// The Setup dialog beyond what a scenario sees: the file dialog's folder and
// filter, the calls that make each kind of store, the layout of the window,
// and how a port box's text becomes a number.
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/stores.h"
#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "tests/stores/store_test_util.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

using Calls = std::vector<std::string>;

struct SetupRun : testing::ProgramOnLines<QuietPlatform> {
    SetupRun() : ProgramOnLines("/opt/tarvoline") {
        ProgramParts parts;
        parts.makeTVL = makeKelTVL;
        parts.makeMDB = makeKelMDB;
        parts.makeXLS = makeKelXLS;
        make(std::move(parts));
        start().mnuSetup->Click();
    }
    FrmSetup& dialog() { return *program->frmSetup; }
    void ok(int saving, const std::string& answer) {
        platform.saveAnswer = answer;
        dialog().optSaving[saving]->choose();
        dialog().cmdOK->Click();
        program->FrmMain->mnuSetup->Click();
    }
};

// Each saving mode asks for its kind of file in the program's folder and
// makes its store there, the path split at its last "/".
TEST(SetupDialog, EachSavingModeAsksForItsKindOfFileAndMakesItsStore) {
    testing::ScratchFolder dir;
    SetupRun run;
    run.dialog().optMonitor[2]->choose();
    run.ok(1, dir.file("line.mdb"));
    run.ok(2, dir.file("line.xls"));
    std::filesystem::create_directory(dir.file("caps.d"));
    run.ok(3, dir.file("caps.d/line"));
    run.ok(0, "unused");
    EXPECT_EQ(run.platform.asked, (Calls{"save in /opt/tarvoline: MS Access (*.mdb)|*.mdb",
                                         "save in /opt/tarvoline: MS Excel (*.xls)|*.xls",
                                         "save in /opt/tarvoline: Kelmar Tarvoline (*.tvl)|"}));
    EXPECT_TRUE(run.platform.messages.empty());
    for (const char* file : {"line.mdb", "line.xls", "caps.d/line.tvl"})
        EXPECT_GT(std::filesystem::file_size(dir.file(file)), 0u) << file;
    EXPECT_EQ(run.program->KelTVL->StoreFolder, dir.file("caps.d/"));
    EXPECT_EQ(run.program->KelTVL->StoreName, "line");
}

// Every control lies inside its container, and no two controls of one
// container overlap.
TEST(SetupDialog, LayoutFitsTheClientAreaWithoutOverlaps) {
    SetupRun run;
    const FrmSetup& d = run.dialog();
    auto right = [](const Control& c) { return c.Left + c.Width; };
    auto bottom = [](const Control& c) { return c.Top + c.Height; };
    for (const auto& c : d.controls()) {
        const float width = c->container() ? c->container()->Width : d.ScaleWidth;
        const float height = c->container() ? c->container()->Height : d.ScaleHeight;
        EXPECT_GE(c->Left, 0) << c->key();
        EXPECT_GE(c->Top, 0) << c->key();
        EXPECT_LE(right(*c), width) << c->key();
        EXPECT_LE(bottom(*c), height) << c->key();
        for (const auto& o : d.controls()) {
            if (o.get() <= c.get() || o->container() != c->container()) continue;
            const bool apart = right(*c) <= o->Left || right(*o) <= c->Left ||
                               bottom(*c) <= o->Top || bottom(*o) <= c->Top;
            EXPECT_TRUE(apart) << c->key() << " overlaps " << o->key();
        }
    }
    // The option groups stand in one column, in order; the commands under the settings.
    const Frame* column[] = {d.fraMode, d.fraMonitor, d.fraSaving, d.fraDisplay};
    for (int i = 1; i < 4; ++i) EXPECT_LT(column[i - 1]->Top, column[i]->Top);
    EXPECT_GE(d.cmdOK->Top, bottom(*d.fraSettings));
    EXPECT_GE(d.cmdCancel->Top, bottom(*d.fraSettings));
    // Default stands at the foot of the settings, beside the device list.
    for (const auto& c : d.controls()) {
        if (c->container() == d.fraSettings && c.get() != d.cmdDefault && c.get() != d.cboDevices) {
            EXPECT_LE(bottom(*c), d.cmdDefault->Top) << c->key();
        }
    }
}

TEST(SetupDialog, PortTextGivesItsValueRoundedDown) {
    EXPECT_EQ(portNumberOf("3"), 3);
    EXPECT_EQ(portNumberOf("3.7"), 3);
    EXPECT_EQ(portNumberOf(" 12 "), 12);
    EXPECT_EQ(portNumberOf("+4"), 4);
    EXPECT_EQ(portNumberOf("1e2"), 100);
    EXPECT_EQ(portNumberOf(".9"), 0);
    EXPECT_EQ(portNumberOf("-0.5"), -1);
    for (const char* text :
         {"", "  ", "COM3", "3a", "3 4", "0x10", "nan", "inf", "-", "+", "++3", "+-3", "1e12"})
        EXPECT_FALSE(portNumberOf(text).has_value()) << '"' << text << '"';
}

}  // namespace
}  // namespace tvl
