// The Setup dialog beyond what a scenario sees: the file dialog's folder and
// filter, the calls that make each kind of store, the layout of the window,
// and how a port box's text becomes a number.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/frm_main.h"
#include "app/program.h"
#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

using Calls = std::vector<std::string>;

// Stores that only note their calls; one can be told to refuse creating.
struct StoreLog {
    Calls calls;
    bool refuse = false;
    void note(const std::string& call) {
        calls.push_back(call);
        if (refuse && (call == "CreateStore" || call == "AppendRecord(1)"))
            throw StoreError("refused");
    }
};

class NotingTVL : public KelTVL {
public:
    explicit NotingTVL(StoreLog& log) : log_(log) {}
    void OpenStore() override { log_.note("OpenStore"); }
    void AppendRecord(int mode) override {
        log_.note("AppendRecord(" + std::to_string(mode) + ")");
    }
    void CloseStore() override { log_.note("CloseStore"); }
    void CountRecords() override {}
    double RecordCount() const override { return 2; }
    void ReadTitles() override {}
    void ReadRecord(int) override {}

private:
    StoreLog& log_;
};

class NotingMDB : public KelMDB {
public:
    explicit NotingMDB(StoreLog& log) : log_(log) {}
    void CreateStore() override { log_.note("CreateStore"); }
    void OpenStore() override { log_.note("OpenStore"); }
    void AppendRecord() override { log_.note("AppendRecord"); }
    void CloseStore() override { log_.note("CloseStore"); }

private:
    StoreLog& log_;
};

class NotingXLS : public KelXLS {
public:
    explicit NotingXLS(StoreLog& log) : log_(log) {}
    void CreateStore() override { log_.note("CreateStore"); }
    void AppendRecord() override { log_.note("AppendRecord"); }
    void CloseStore() override { log_.note("CloseStore"); }

private:
    StoreLog& log_;
};

struct SaveDialogLog : QuietPlatform {
    SaveDialogLog() : QuietPlatform("/opt/tarvoline") {}
    std::string ShowSave(const std::string& folder, const std::string& filter) override {
        folders.push_back(folder);
        filters.push_back(filter);
        return saveAnswer;
    }
    Calls folders, filters;
};

// The logs come first: the program's stores write to them until it is gone.
struct StoreLogs {
    StoreLog tvl, mdb, xls;
};

struct SetupRun : StoreLogs, testing::ProgramOnLines<SaveDialogLog> {
    SetupRun() {
        ProgramParts parts;
        parts.makeTVL = [this] { return std::make_unique<NotingTVL>(tvl); };
        parts.makeMDB = [this] { return std::make_unique<NotingMDB>(mdb); };
        parts.makeXLS = [this] { return std::make_unique<NotingXLS>(xls); };
        make(std::move(parts));
        start().mnuSetup->Click();
    }
    FrmSetup& dialog() { return *program->frmSetup; }
    void ok(int saving, const std::string& answer) {
        platform.saveAnswer = answer;
        dialog().optSaving[saving]->choose();
        dialog().cmdOK->Click();
    }
};

TEST(SetupDialog, EachSavingModeAsksForItsKindOfFileAndMakesItsStore) {
    SetupRun run;
    run.dialog().optMonitor[2]->choose();
    run.ok(1, "/data/caps/line.mdb");
    run.program->FrmMain->mnuSetup->Click();
    run.ok(2, "/data/caps/line.xls");
    run.program->FrmMain->mnuSetup->Click();
    run.ok(3, "/data/caps.d/line");
    run.program->FrmMain->mnuSetup->Click();
    run.ok(0, "unused");

    EXPECT_EQ(run.platform.folders, Calls(3, "/opt/tarvoline"));
    EXPECT_EQ(run.platform.filters, (Calls{"MS Access (*.mdb)|*.mdb", "MS Excel (*.xls)|*.xls",
                                           "Kelmar Tarvoline (*.tvl)|"}));
    EXPECT_EQ(run.mdb.calls, (Calls{"CreateStore", "CloseStore"}));
    EXPECT_EQ(run.xls.calls, (Calls{"CreateStore"}));
    EXPECT_EQ(run.tvl.calls, (Calls{"OpenStore", "AppendRecord(1)", "CloseStore"}));
    // The path is split at its last "/", the folder keeping it.
    EXPECT_EQ(run.program->KelTVL->StoreFolder, "/data/caps.d/");
    EXPECT_EQ(run.program->KelTVL->StoreName, "line");
    EXPECT_EQ(run.program->KelXLS->StoreFolder, "/data/caps/");
    EXPECT_EQ(run.program->KelXLS->StoreName, "line.xls");
    EXPECT_TRUE(run.platform.messages.empty());
    EXPECT_TRUE(run.program->mscComControl2.PortOpen());
}

TEST(SetupDialog, AStoreThatCannotBeMadeKeepsThePortsAndStartAsTheyWere) {
    SetupRun run;
    run.ok(0, "");
    ASSERT_TRUE(run.program->mscComControl1.PortOpen());
    const int handle = run.program->state.CommHandle[0];
    run.program->FrmMain->mnuSetup->Click();
    run.dialog().cboBPS->Text = "300";
    run.dialog().optMonitor[1]->choose();
    run.tvl.refuse = true;
    run.ok(3, "/data/run.tvl");

    ASSERT_EQ(run.platform.messages.size(), 1u);
    EXPECT_NE(run.platform.messages[0].find("/data/run.tvl"), std::string::npos);
    EXPECT_TRUE(run.program->storeFailed);
    // No port work was done: Port 1 open with its old line, Port 2 still closed.
    EXPECT_TRUE(run.program->mscComControl1.PortOpen());
    EXPECT_EQ(run.program->mscComControl1.Settings(), "115200,N,8,1");
    EXPECT_EQ(run.program->state.CommHandle[0], handle);
    EXPECT_FALSE(run.program->mscComControl2.PortOpen());
    EXPECT_FALSE(run.program->FrmMain->mnuStartStop->Enabled);
    EXPECT_TRUE(run.dialog().Visible);

    // The next store that is made lets records through again.
    run.tvl.refuse = false;
    run.ok(3, "/data/run2.tvl");
    EXPECT_FALSE(run.program->storeFailed);
    EXPECT_TRUE(run.program->mscComControl2.PortOpen());
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
