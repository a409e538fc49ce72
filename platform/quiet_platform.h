// A platform with no desktop: dialogs are cancelled, message boxes remembered,
// nothing is shown. For tests, benchmarks and runs without a screen.
#pragma once

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
    std::string InputBox(const std::string&, const std::string&) override { return {}; }
    std::string ShowSave(const std::string&, const std::string&) override { return saveAnswer; }
    std::string ShowOpen(const std::string&, const std::string&) override { return openAnswer; }
    void ShowHelp(const std::string&, int, int) override {}
    int GetSystemMetrics(int) override { return 1024; }
    std::string ProgramFolder() override { return folder_; }
    void PopupMenu(Menu&) override {}
    void EndProcess() override { ended = true; }

    std::vector<std::string> messages;
    std::string saveAnswer;
    std::string openAnswer;
    bool ended = false;

private:
    std::string folder_;
};

}  // namespace tvl
