// A whole headless program for the review tests: a desktop that answers from
// a queue, simulated lines, and captures written by the program's own runs.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/stores.h"
#include "line/start_stop.h"
#include "platform/quiet_platform.h"
#include "review/review.h"
#include "tests/stores/store_test_util.h"
#include "tests/support/program_on_lines.h"

namespace tvl::review_test {

namespace fs = std::filesystem;

using testing::readFile;
using testing::readTvl;
using testing::Record;

// The scratch folder comes first: the platform is told its name, and it is
// removed only once the program is gone.
struct WithScratch {
    testing::ScratchFolder scratch;
};

struct ReviewRig : WithScratch, testing::ProgramOnLines<QuietPlatform> {
    ReviewRig() : ProgramOnLines(scratch.folder() + "program") {
        ProgramParts parts;
        parts.makeTVL = makeKelTVL;
        make(std::move(parts));
        start();
        openPorts();
    }

    FrmMain& form() { return *program->FrmMain; }
    SharedState& state() { return program->state; }

    // A capture as a run of the program writes it with "Save TVL" and "Monitor
    // Both": the head record takes the store's columns as they stand (`head`),
    // then each Start/Stop cycle writes one record, column 1 from what the
    // device on Port 2 sent, column 2 from what the device on Port 1 sent
    // (printable texts under 200 characters; an empty one is stored as a blank).
    std::string recordRun(const std::string& name, const Record& head,
                          const std::vector<Record>& runs) {
        KelTVL& store = *program->KelTVL;
        store.StoreFolder = scratch.folder();
        store.StoreName = name;
        store.PortTitle1 = "Port1 (DTE1): ";
        store.PortTitle2 = "Port2 (DTE2/DCE): ";
        store.PortText1 = head.first;
        store.PortText2 = head.second;
        store.OpenStore();
        store.AppendRecord(1);
        store.CloseStore();
        state().SavingMode = 3;
        state().MonitorChoice = 2;
        state().OperationMode = 0;
        for (const auto& [toPort1, toPort2] : runs) {
            mnuStartStop_Click(*program);
            line2.feed(toPort1);
            line1.feed(toPort2);
            pump();
            mnuStartStop_Click(*program);
        }
        state().SavingMode = 0;
        return scratch.file(name);
    }

    void open(const std::string& path) {
        platform.openAnswer = path;
        mnuOpenFile_Click(*program);
    }
};

}  // namespace tvl::review_test
