// Runs a scenario file: drives the whole headless program over simulated
// lines and real capture files, and prints what the scenario asks for.
#pragma once

#include <iosfwd>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "app/program.h"
#include "components/serial/simulated_line.h"
#include "tools/scenario/script_text.h"
#include "tools/scenario/scripted_platform.h"

namespace tvl::scenario {

class Runner {
public:
    // scenarioFolder: where relative file paths start; assetFolder: the
    // program's pictures, sounds and help, copied into a fresh program folder.
    // trace: where the lines are traced, if anywhere.
    Runner(std::string scenarioFolder, const std::string& assetFolder, std::ostream& out,
           LineTrace* trace = nullptr);
    ~Runner();

    // 0 all well, 1 an expectation or command failed, 2 a syntax error.
    int run(std::istream& script);

private:
    void execute(const std::vector<Word>& words);
    std::string value(const std::vector<Word>& what);  // the printed value of WHAT
    std::string portValue(const std::string& what);
    std::string propertyValue(const std::string& what);
    // The commands, one member each; execute() finds them by name.
    void clickCommand(const std::vector<Word>& words);
    void key(const std::vector<Word>& words);
    void mouseUp(const std::vector<Word>& words);
    void resize(const std::vector<Word>& words);
    void feed(const std::vector<Word>& words);
    void setLine(const std::vector<Word>& words);
    void let(const std::vector<Word>& words);
    void openPort(const std::vector<Word>& words);
    void hangupOrPlug(const std::vector<Word>& words);
    void busy(const std::vector<Word>& words);
    void tickCommand(const std::vector<Word>& words);
    void drainCommand(const std::vector<Word>& words);
    void answer(const std::vector<Word>& words);
    void screen(const std::vector<Word>& words);
    void printOrExpect(const std::vector<Word>& words);
    void call(const std::vector<Word>& words);
    void set(const std::vector<Word>& words);
    void click(const std::string& path);
    void tick(long count, bool drain);
    SerialPort& port(const std::string& word);
    SimulatedLine& line(const std::string& word);
    std::string filePath(const std::string& written) const;
    std::string readCapture(const std::string& path);

    std::string scenarioFolder_;
    std::string programFolder_;
    std::ostream& out_;
    ScriptedPlatform platform_;
    SimulatedLines lines_;
    SimulatedLine line1_{lines_};
    SimulatedLine line2_{lines_};
    std::unique_ptr<Program> program_;
    std::map<std::string, std::vector<std::string>> playerSteps_;
    std::vector<std::string> failures_;
    int lineNumber_ = 0;
};

}  // namespace tvl::scenario
