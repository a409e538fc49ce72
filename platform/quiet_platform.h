// A platform with no desktop: nothing is shown. A file dialog gives the answer
// set for it, an input box the next of `inputs` (else nothing); message boxes,
// the dialogs asked for and the ends of the process are remembered. For tests,
// benchmarks and runs without a screen.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace tvl {

class QuietPlatform : public Platform {
public:
    explicit QuietPlatform(std::string programFolder = ".") : folder_(std::move(programFolder)) {}

    void MsgBox(const std::string& text, const std::string& title, int, const std::string&,
                int) override {
        messages.push_back(title + ": " + text);
    }
    std::string InputBox(const std::string& prompt, const std::string& title) override {
        asked.push_back(title + ": " + prompt);
        std::string answer = inputs.empty() ? std::string() : std::move(inputs.front());
        if (!inputs.empty()) inputs.pop_front();
        return answer;
    }
    std::string ShowSave(const std::string& folder, const std::string& filter) override {
        asked.push_back("save in " + folder + ": " + filter);
        return saveAnswer;
    }
    std::string ShowOpen(const std::string& folder, const std::string& filter) override {
        asked.push_back("open in " + folder + ": " + filter);
        return openAnswer;
    }
    void ShowHelp(const std::string&, int, int) override {}
    int GetSystemMetrics(int) override { return 1024; }
    std::string ProgramFolder() override { return folder_; }
    void PopupMenu(Menu&) override {}
    void EndProcess() override { ++ends; }

    std::vector<std::string> messages;
    std::vector<std::string> asked;  // input boxes and file dialogs, in order
    std::deque<std::string> inputs;
    std::string saveAnswer;
    std::string openAnswer;
    int ends = 0;

private:
    std::string folder_;
};

}  // namespace tvl
