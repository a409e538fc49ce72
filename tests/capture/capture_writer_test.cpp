// What a run writes to a .tvl capture at the pane limit and at Stop, read back
// through the file.
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
#include "setup/setup.h"
#include "shell/commands.h"
#include "tests/stores/xls_readers.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

namespace fs = std::filesystem;

struct CaptureRun : testing::ProgramOnLines<QuietPlatform> {
    fs::path folder =
        fs::temp_directory_path() / ("tarvoline-capture-" + std::to_string(::getpid()));

    CaptureRun() {
        fs::create_directories(folder);
        ProgramParts parts;
        parts.makeTVL = makeKelTVL;
        parts.makeMDB = makeKelMDB;
        parts.makeXLS = makeKelXLS;
        make(std::move(parts));
        start();
        openPorts();
    }
    ~CaptureRun() {
        program.reset();
        fs::remove_all(folder);
    }

    // The store as Setup OK prepares it for "Save TVL" and "Monitor Both".
    void prepareCapture() {
        KelTVL& store = *program->KelTVL;
        store.StoreFolder = folder.string() + "/";
        store.StoreName = "run.tvl";
        store.PortTitle1 = "Port1 (DTE1): ";
        store.PortTitle2 = "Port2 (DTE2/DCE): ";
        store.OpenStore();
        store.AppendRecord(1);
        store.CloseStore();
        program->state.SavingMode = 3;
        program->state.MonitorChoice = 2;
    }
    std::vector<std::pair<std::string, std::string>> records() {
        auto file = makeKelTVL();
        file->StoreFolder = folder.string() + "/";
        file->StoreName = "run";
        file->CountRecords();
        const auto n = static_cast<int>(file->RecordCount());
        file->OpenStore();
        file->ReadTitles();
        EXPECT_EQ(file->PortTitle1, "Port1 (DTE1): ");
        EXPECT_EQ(file->PortTitle2, "Port2 (DTE2/DCE): ");
        file->ReadRecord(1);
        std::vector<std::pair<std::string, std::string>> out;
        for (int i = 1; i < n; ++i) {
            file->ReadRecord(0);
            out.emplace_back(file->PortText1, file->PortText2);
        }
        file->CloseStore();
        return out;
    }
    std::string pane(int i) { return program->FrmMain->txtCommunication[i]->Text(); }
};

TEST(CaptureWriter, MonitorBothWritesTheFullPaneWithTheOtherColumnAsItStands) {
    CaptureRun run;
    run.prepareCapture();
    mnuStartStop_Click(*run.program);

    run.line2.feed(std::string(200, 'a'));  // pane 1 reaches the limit, pane 3 empty
    run.pump();
    run.line1.feed("xyz");                         // pane 3 holds text, pane 0 too
    run.line2.feed(std::string(199, 'b') + "\r");  // the 200th character is flushed raw
    run.pump();
    EXPECT_EQ(run.pane(3), "xyz");  // waits for its own flush or Stop
    EXPECT_EQ(run.pane(1), "");

    mnuStartStop_Click(*run.program);  // Stop: both panes, an empty one as a blank
    EXPECT_EQ(run.pane(3), "");
    EXPECT_EQ(run.pane(0), "");

    const auto records = run.records();
    ASSERT_EQ(records.size(), 4u);
    EXPECT_EQ(records[0], std::make_pair(std::string(), std::string()));  // the file's head
    EXPECT_EQ(records[1], std::make_pair(std::string(200, 'a'), std::string(" ")));
    // Column 2 repeats what it was last given: the blank of the record before.
    EXPECT_EQ(records[2], std::make_pair(std::string(199, 'b') + "\r", std::string(" ")));
    EXPECT_EQ(records[3], std::make_pair(std::string(" "), std::string("xyz")));
}

TEST(CaptureWriter, TransmitPanesAndEmptyPanesWriteNothing) {
    CaptureRun run;
    run.prepareCapture();
    mnuStartStop_Click(*run.program);
    run.program->state.OperationMode = 1;   // Host mode with no rows: every byte passes
    run.line1.feed(std::string(250, 'q'));  // pane 0 flushes; pane 3 too
    run.pump();
    run.line2.feed("left");  // only panes 2 and 1
    run.pump();
    run.program->FrmMain->txtCommunication[1]->setText("");
    run.program->FrmMain->txtCommunication[3]->setText("");
    mnuStartStop_Click(*run.program);  // both Receive panes empty: Stop ends early
    EXPECT_EQ(run.pane(2), "left");    // so the panes keep their text
    EXPECT_EQ(run.pane(0), std::string(50, 'q'));
    const auto records = run.records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1], std::make_pair(std::string(" "), std::string(200, 'q')));
}

TEST(CaptureWriter, AStoreFailingDuringARunStopsItWithAMessageAndKeepsEarlierRecords) {
    CaptureRun run;
    run.prepareCapture();
    mnuStartStop_Click(*run.program);
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
    const auto records = run.records();
    ASSERT_EQ(records.size(), 2u);
    EXPECT_EQ(records[1].first, std::string(200, 'k'));
}

// The texts of one column of a capture file, record by record, as a reader of
// its format gives them: KelTVL, mdb-export (mdbtools), FreeXL and xlrd.
std::vector<std::string> columnOf(const std::string& path, int column) {
    std::vector<std::string> texts;
    const std::string ext = path.substr(path.size() - 3);
    if (ext == "tvl") {
        auto file = makeKelTVL();
        file->StoreFolder = fs::path(path).parent_path().string() + "/";
        file->StoreName = fs::path(path).stem().string();
        file->CountRecords();
        const auto n = static_cast<int>(file->RecordCount());
        file->OpenStore();
        file->ReadTitles();
        file->ReadRecord(1);
        for (int i = 1; i < n; ++i) {
            file->ReadRecord(0);
            if (i > 1) texts.push_back(column == 0 ? file->PortText1 : file->PortText2);
        }
        file->CloseStore();
    } else if (ext == "mdb") {
        // One record a line: the texts are letters only, so the CSV needs no parsing.
        FILE* out = ::popen(("mdb-export -H -d '|' -q '' '" + path + "' Capture").c_str(), "r");
        char line[1024];
        while (out && std::fgets(line, sizeof line, out)) {
            std::string row(line, std::strcspn(line, "\n"));
            texts.push_back(row.substr(0, row.find('|')));
            if (column == 1) texts.back() = row.substr(row.find('|') + 1);
        }
        EXPECT_TRUE(out && ::pclose(out) == 0) << "mdb-export cannot read " << path;
    } else {
        for (auto reader : {testing::readXlsWithFreeXL, testing::readXlsWithXlrd}) {
            std::string error;
            const testing::XlsBook book = reader(path, error);
            EXPECT_EQ(error, "") << path;
            std::vector<std::string> read;
            for (std::size_t r = 1; !book.sheets.empty() && r < book.sheets[0].size(); ++r)
                read.push_back(book.sheets[0][r].at(static_cast<std::size_t>(column)));
            EXPECT_TRUE(texts.empty() || read == texts) << "FreeXL and xlrd differ";
            texts = read;
        }
    }
    return texts;
}

TEST(CaptureWriter, OnePortRunsCaptureThatPortsTrafficInItsOwnColumnInEveryStore) {
    for (int monitor : {0, 1}) {
        for (const auto& [name, saving] :
             {std::pair{"run.mdb", 1}, {"run.xls", 2}, {"run.tvl", 3}}) {
            SCOPED_TRACE(std::string(name) + ", Monitor Com " + std::to_string(monitor + 1));
            CaptureRun run;
            Program& p = *run.program;
            const std::string path = (run.folder / name).string();
            mnuSetup_Click(p);
            p.frmSetup->optMonitor[monitor]->choose();
            p.frmSetup->optSaving[saving]->choose();
            run.platform.saveAnswer = path;
            p.frmSetup->cmdOK->Click();
            ASSERT_EQ(run.platform.messages, std::vector<std::string>{});

            mnuStartStop_Click(p);
            (monitor == 0 ? run.line1 : run.line2).feed(std::string(200, 'a') + "bcd");
            run.pump();
            mnuStartStop_Click(p);  // Stop writes the rest and empties the panes
            for (int i = 0; i < 4; ++i) EXPECT_EQ(run.pane(i), "") << "pane " << i;
            mnuExit_Click(p);  // the workbook's last call

            EXPECT_EQ(columnOf(path, monitor),
                      (std::vector<std::string>{std::string(200, 'a'), "bcd"}));
        }
    }
}

}  // namespace
}  // namespace tvl
