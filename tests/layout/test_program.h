// A whole headless program over simulated lines, with a desktop that records
// popups and the end of the process, and the steps of the start-up sound.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "platform/platform.h"
#include "tests/support/program_on_lines.h"

namespace tvl::testing {

class RecordingPlatform : public Platform {
public:
    void MsgBox(const std::string&, const std::string&, int, const std::string&, int) override {}
    std::string InputBox(const std::string&, const std::string&) override { return {}; }
    std::string ShowSave(const std::string&, const std::string&) override { return {}; }
    std::string ShowOpen(const std::string&, const std::string&) override { return {}; }
    void ShowHelp(const std::string&, int, int) override {}
    int GetSystemMetrics(int) override { return 1024; }
    std::string ProgramFolder() override { return "/opt/tarvoline"; }
    void PopupMenu(Menu& menu) override { popups.push_back(menu.name()); }
    void EndProcess() override { ++ends; }

    std::vector<std::string> popups;
    int ends = 0;
};

struct TestProgram : ProgramOnLines<RecordingPlatform> {
    TestProgram() {
        make();
        program->mciTarvoline.trace = [this](const std::string& step) { sound.push_back(step); };
    }
    // The main window after Form_Load and its first pass, with no sound noted yet.
    FrmMain& start() {
        FrmMain& main = ProgramOnLines::start();
        sound.clear();
        return main;
    }

    std::vector<std::string> sound;  // the steps given to mciTarvoline
};

}  // namespace tvl::testing
