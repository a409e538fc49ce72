// The desktop as a scenario plays it: dialogs answer from the script, and
// message boxes, popups and help calls are remembered to be printed.
#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace tvl::scenario {

class ScriptedPlatform : public Platform {
public:
    explicit ScriptedPlatform(std::string programFolder) : folder_(std::move(programFolder)) {}

    void MsgBox(const std::string& text, const std::string& title, int buttons,
                const std::string& helpFile, int context) override;
    std::string InputBox(const std::string& prompt, const std::string& title) override;
    std::string ShowSave(const std::string& initialFolder, const std::string& filter) override;
    std::string ShowOpen(const std::string& initialFolder, const std::string& filter) override;
    void ShowHelp(const std::string& helpFile, int command, int context) override;
    int GetSystemMetrics(int) override { return screenWidth; }
    std::string ProgramFolder() override { return folder_; }
    void PopupMenu(Menu& menu) override;
    void EndProcess() override { ended = true; }

    // Answers for the next dialogs; nullopt is a cancel.
    std::deque<std::optional<std::string>> fileAnswers;
    std::deque<std::optional<std::string>> inputAnswers;
    int screenWidth = 1024;
    bool ended = false;

    std::vector<std::string> messages;  // printed form of each message box
    std::vector<std::string> helpCalls;
    std::string popup;                  // the last popup raised, or empty
    std::vector<std::string> problems;  // a dialog came with no answer given

private:
    std::string fileAnswer(const char* dialog);
    std::string folder_;
};

}  // namespace tvl::scenario
