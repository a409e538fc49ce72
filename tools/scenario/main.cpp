// tarvoline-scenario [--trace FILE.pcapng] FILE: runs a scenario and prints
// what it asks for; with --trace, the simulated lines are traced as the
// program's would be.
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>

#include "components/trace/trace_file.h"
#include "platform/asset_folder.h"
#include "tools/scenario/scenario_runner.h"

int main(int argc, char** argv) {
    const bool traced = argc == 4 && std::strcmp(argv[1], "--trace") == 0;
    if (argc != 2 && !traced) {
        std::cerr << "usage: tarvoline-scenario [--trace FILE.pcapng] FILE\n";
        return 2;
    }
    const char* file = argv[argc - 1];
    std::ifstream script(file, std::ios::binary);
    if (!script) {
        std::cerr << "tarvoline-scenario: cannot read " << file << "\n";
        return 2;
    }
    std::unique_ptr<tvl::TraceFile> trace;
    if (traced)
        trace = std::make_unique<tvl::TraceFile>(argv[2], [](const std::string& why) {
            std::cerr << "tarvoline-scenario: " << why << "\n";
        });
    namespace fs = std::filesystem;
    const fs::path scenario = fs::absolute(file);
    const std::string assets = tvl::assetFolder(fs::canonical("/proc/self/exe").parent_path());
    try {
        tvl::scenario::Runner runner(scenario.parent_path().string(), assets, std::cout,
                                     trace.get());
        return runner.run(script);
    } catch (const std::exception& error) {
        std::cerr << "tarvoline-scenario: " << error.what() << "\n";
        return 2;
    }
}
