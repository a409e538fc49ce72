// A whole headless program over simulated lines, with a desktop that records
// popups and the end of the process, started up to the main window.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "components/serial/simulated_line.h"
#include "platform/platform.h"
#include "shell/frm_main.h"
#include "shell/program.h"

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

struct TestProgram {
    TestProgram() {
        ProgramParts parts;
        parts.platform = &platform;
        parts.line1 = &line1;
        parts.line2 = &line2;
        program = std::make_unique<Program>(std::move(parts));
        program->mciTarvoline.trace = [this](const std::string& step) { sound.push_back(step); };
    }
    // Main, then a key on the splash: the main window after Form_Load and its first pass.
    FrmMain& start() {
        Main(*program);
        program->frmSplash->KeyPress(key);
        sound.clear();
        return *program->FrmMain;
    }

    RecordingPlatform platform;
    SimulatedLines lines;
    SimulatedLine line1{lines};
    SimulatedLine line2{lines};
    std::unique_ptr<Program> program;
    std::vector<std::string> sound;  // the steps given to mciTarvoline
    int key = 13;
};

}  // namespace tvl::testing
