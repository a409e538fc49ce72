// tarvoline-scenario FILE: runs a scenario and prints what it asks for.
#include <filesystem>
#include <fstream>
#include <iostream>

#include "platform/asset_folder.h"
#include "tools/scenario/scenario_runner.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: tarvoline-scenario FILE\n";
        return 2;
    }
    std::ifstream script(argv[1], std::ios::binary);
    if (!script) {
        std::cerr << "tarvoline-scenario: cannot read " << argv[1] << "\n";
        return 2;
    }
    namespace fs = std::filesystem;
    const fs::path scenario = fs::absolute(argv[1]);
    const std::string assets = tvl::assetFolder(fs::canonical("/proc/self/exe").parent_path());
    try {
        tvl::scenario::Runner runner(scenario.parent_path().string(), assets, std::cout);
        return runner.run(script);
    } catch (const std::exception& error) {
        std::cerr << "tarvoline-scenario: " << error.what() << "\n";
        return 2;
    }
}
