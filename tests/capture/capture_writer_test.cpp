// A capture store failing in the middle of a run. (What a run writes is read
// back by the scenarios setup_whole_run and setup_failures.)
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/stores.h"
#include "line/start_stop.h"
#include "line/transfer_pump.h"
#include "platform/quiet_platform.h"
#include "tests/stores/store_test_util.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

// A run with "Save TVL" and "Monitor Both", the store made as Setup OK makes it.
struct CaptureRun : testing::ProgramOnLines<QuietPlatform> {
    fs::path folder =
        fs::temp_directory_path() / ("tarvoline-capture-" + std::to_string(::getpid()));

    CaptureRun() {
        fs::create_directories(folder);
        ProgramParts parts;
        parts.makeTVL = makeKelTVL;
        make(std::move(parts));
        start();
        openPorts();
        KelTVL& store = *program->KelTVL;
        store.StoreFolder = folder.string() + "/";
        store.StoreName = "run.tvl";
        store.OpenStore();
        store.AppendRecord(1);
        store.CloseStore();
        program->state.SavingMode = 3;
        program->state.MonitorChoice = 2;
        mnuStartStop_Click(*program);
    }
    ~CaptureRun() {
        program.reset();
        fs::remove_all(folder);
    }
    std::vector<testing::Record> records() { return testing::readTvl(folder / "run.tvl").records; }
};

TEST(CaptureWriter, AStoreFailingDuringARunStopsItWithAMessageAndKeepsEarlierRecords) {
    CaptureRun run;
    run.line2.feed(std::string(200, 'k'));
    run.pump();
    // The capture's folder becomes unwritable in the middle of the run.
    const fs::path file = run.folder / "run.tvl";
    const fs::path kept = run.folder.string() + "-kept.tvl";
    fs::copy_file(file, kept, fs::copy_options::overwrite_existing);
    fs::remove_all(run.folder);
    std::ofstream(run.folder.string()) << "now a plain file";  // no folder can be made there

    run.line2.feed(std::string(230, 'm'));
    run.pump();
    EXPECT_EQ(run.program->state.RunState, 0);
    EXPECT_FALSE(run.program->FrmMain->tmrTarvoline->Enabled);
    ASSERT_EQ(run.platform.messages.size(), 1u);
    EXPECT_NE(run.platform.messages[0].find("run.tvl"), std::string::npos)
        << run.platform.messages[0];
    // The bytes after the failure still wait in the port: nothing was read past it.
    EXPECT_GT(run.program->mscComControl2.InBufferCount(), 0);

    fs::remove(run.folder);
    fs::create_directories(run.folder);
    fs::rename(kept, file);
    EXPECT_EQ(run.records(), (std::vector<testing::Record>{{std::string(200, 'k'), " "}}));
}

}  // namespace
}  // namespace tvl
