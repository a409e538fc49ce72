// What a run writes to its capture beyond what the scenarios read back: a
// store failing in the middle of a run, one-port runs into every store, and
// when the other column of a record is a blank.

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "app/frm_main.h"
#include "app/frm_setup.h"
#include "app/program.h"
#include "components/stores/stores.h"
#include "line/start_stop.h"
#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "shell/commands.h"
#include "tests/stores/store_readers.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;
using testing::Record;

// The program with every store, capturing into a folder of its own (the first
// base, so removed only once the program is gone).
struct CaptureRun : testing::ScratchFolder, testing::ProgramOnLines<QuietPlatform> {
    CaptureRun() {
        ProgramParts parts;
        parts.makeTVL = makeKelTVL;
        parts.makeMDB = makeKelMDB;
        parts.makeXLS = makeKelXLS;
        make(std::move(parts));
        start();
    }
    // Setup OK with this monitor choice and saving mode, into `name`; then Start.
    void startRun(int monitor, int saving, const std::string& name) {
        mnuSetup_Click(*program);
        program->frmSetup->optMonitor[monitor]->choose();
        program->frmSetup->optSaving[saving]->choose();
        platform.saveAnswer = file(name);
        program->frmSetup->cmdOK->Click();
        ASSERT_EQ(platform.messages, std::vector<std::string>{});
        mnuStartStop_Click(*program);
    }
};

TEST(CaptureWriter, AStoreFailingDuringARunStopsItWithAMessageAndKeepsEarlierRecords) {
    CaptureRun run;
    run.startRun(2, 3, "run.tvl");
    run.line2.feed(std::string(200, 'k'));
    run.pump();
    // The capture's folder becomes unwritable in the middle of the run.
    const fs::path file = run / "run.tvl";
    const fs::path kept = run.path() + "-kept.tvl";
    fs::copy_file(file, kept, fs::copy_options::overwrite_existing);
    fs::remove_all(run.path());
    std::ofstream(run.path()) << "now a plain file";  // no folder can be made there

    run.line2.feed(std::string(230, 'm'));
    run.pump();
    EXPECT_EQ(run.program->state.RunState, 0);
    EXPECT_FALSE(run.program->FrmMain->tmrTarvoline->Enabled);
    ASSERT_EQ(run.platform.messages.size(), 1u);
    EXPECT_NE(run.platform.messages[0].find("run.tvl"), std::string::npos)
        << run.platform.messages[0];
    // The bytes after the failure still wait in the port: nothing was read past it.
    EXPECT_GT(run.program->mscComControl2.InBufferCount(), 0);

    fs::remove(run.path());
    fs::create_directories(run.path());
    fs::rename(kept, file);
    EXPECT_EQ(testing::readTvl(file).records, (std::vector<Record>{{std::string(200, 'k'), " "}}));
}

// The records of a capture as its readers give them: KelTVL, mdb-export and
// FreeXL (under these titles). (That every reader reads what a store writes:
// the store contract.)
std::vector<Record> recordsOf(const std::string& path, const Record& titles) {
    std::string error;
    std::vector<Record> records;
    if (path.ends_with(".tvl")) records = testing::readTvl(path).records;
    if (path.ends_with(".mdb"))
        for (const auto& row : testing::readMdbWithMdbExport(path, error))
            if (row.size() == 2) records.emplace_back(row[0], row[1]);
    if (path.ends_with(".xls"))
        records = testing::xlsRecords(testing::readXlsWithFreeXL(path, error), titles, error);
    EXPECT_EQ(error, "") << path;
    if (path.ends_with(".mdb") && !records.empty()) records.erase(records.begin());  // the header
    return records;
}

TEST(CaptureWriter, OnePortRunsCaptureThatPortsTrafficInItsOwnColumnInEveryStore) {
    for (int monitor : {0, 1}) {
        for (const auto& [name, saving, filter] :
             {std::tuple{"run.mdb", 1, "MS Access (*.mdb)|*.mdb"},
              {"run.xls", 2, "MS Excel (*.xls)|*.xls"},
              {"run.tvl", 3, "Kelmar Tarvoline (*.tvl)|"}}) {
            SCOPED_TRACE(std::string(name) + ", Monitor Com " + std::to_string(monitor + 1));
            CaptureRun run;
            run.startRun(monitor, saving, name);
            EXPECT_EQ(run.platform.asked,
                      std::vector<std::string>{"save in " + run.platform.ProgramFolder() + ": " +
                                               filter});
            (monitor == 0 ? run.line1 : run.line2).feed(std::string(200, 'a') + "bcd");
            run.pump();
            mnuStartStop_Click(*run.program);  // Stop writes the rest and empties the panes
            for (TextBox* pane : run.program->FrmMain->txtCommunication)
                EXPECT_EQ(pane->Text(), "");
            mnuExit_Click(*run.program);  // the workbook's last call
            std::vector<std::string> column;
            // A port not monitored has no title: no OK gave it one.
            const Record titles =
                monitor == 0 ? Record("Port1 (DTE1): ", "") : Record("", "Port2 (DTE2/DCE): ");
            for (const Record& r : recordsOf(run / name, titles))
                column.push_back(monitor == 0 ? r.first : r.second);
            EXPECT_EQ(column, (std::vector<std::string>{std::string(200, 'a'), "bcd"}));
        }
    }
}

// "Save MDB", "Monitor Both": a column never given is a blank in a database,
// Stop writes both panes, and the other column repeats what it was last given
// while its own Receive pane (not the Transmit pane beside) holds text.
TEST(CaptureWriter, TheOtherColumnIsABlankOnlyWhileItsReceivePaneIsEmpty) {
    CaptureRun run;
    run.startRun(2, 1, "run.mdb");
    run.line1.feed("x");  // pane 3 holds text when pane 1 reaches the limit
    run.line2.feed(std::string(200, 'a') + "\xE9");
    run.pump();
    run.line1.feed("yz\r");
    run.pump();
    mnuStartStop_Click(*run.program);
    mnuStartStop_Click(*run.program);
    run.line1.feed("w");
    run.line2.feed(std::string(200, 'b'));
    run.pump();
    mnuStartStop_Click(*run.program);
    EXPECT_EQ(recordsOf(run / "run.mdb", {}),
              (std::vector<Record>{{std::string(200, 'a'), " "},
                                   {"\xE9", "xyz<CR>"},
                                   {std::string(200, 'b'), "xyz<CR>"},
                                   {" ", "w"}}));
}

}  // namespace
}  // namespace tvl
