// A whole headless program for the review tests, on simulated lines, with
// captures written by the store or by the program's own runs.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
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

// The scratch folder is the first base: the platform is told its name, and it
// is removed only once the program is gone.
struct ReviewRig : testing::ScratchFolder, testing::ProgramOnLines<QuietPlatform> {
    ReviewRig() : ProgramOnLines(folder() + "program") {
        ProgramParts parts;
        parts.makeTVL = makeKelTVL;
        make(std::move(parts));
        start();
        openPorts();
    }

    FrmMain& form() { return *program->FrmMain; }
    SharedState& state() { return program->state; }

    // A capture of `records` records (the first is the head) written straight
    // through the program's store, each as `fill` sets the store's texts.
    std::string writeCapture(const std::string& name, int records,
                             const std::function<void(KelTVL&, int)>& fill) {
        KelTVL& store = *program->KelTVL;
        testing::place(store, file(name), {"Port1 (DTE1): ", "Port2 (DTE2/DCE): "});
        store.OpenStore();
        for (int i = 0; i < records; ++i) {
            fill(store, i);
            store.AppendRecord(i == 0 ? 1 : 0);
        }
        store.CloseStore();
        store.KeepPortTime = false;
        return file(name);
    }

    // A capture a "Save TVL", "Monitor Both" run writes: after the head, a record
    // per Start/Stop, column 1 from Port 2's device, column 2 from Port 1's.
    std::string recordRun(const std::string& name, const Record& head,
                          const std::vector<Record>& runs) {
        writeCapture(name, 1, [&](KelTVL& store, int) {
            store.PortText1 = head.first;
            store.PortText2 = head.second;
        });
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
        return file(name);
    }

    void open(const std::string& path) {
        platform.openAnswer = path;
        mnuOpenFile_Click(*program);
    }
};

}  // namespace tvl::review_test
