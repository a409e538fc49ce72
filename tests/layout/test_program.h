// A whole headless program over simulated lines, in the program folder
// /opt/tarvoline, with the steps given to its first sound player.
#pragma once

#include <string>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "platform/quiet_platform.h"
#include "tests/support/program_on_lines.h"

namespace tvl::testing {

struct TestProgram : ProgramOnLines<QuietPlatform> {
    TestProgram() : ProgramOnLines("/opt/tarvoline") {
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
