#include "tools/scenario/scripted_platform.h"

#include "platform/control.h"
#include "tools/scenario/script_text.h"

namespace tvl::scenario {

void ScriptedPlatform::MsgBox(const std::string& text, const std::string& title, int buttons,
                              const std::string& helpFile, int context) {
    std::string shown = scenario::quoted(text) + " " + scenario::quoted(title) + " " +
                        ((buttons & vbMsgBoxHelpButton) ? "OK+Help" : "OK");
    if (buttons & vbMsgBoxHelpButton)
        shown += " " + scenario::quoted(helpFile) + " " + std::to_string(context);
    messages.push_back(shown);
}

std::string ScriptedPlatform::InputBox(const std::string&, const std::string&) {
    if (inputAnswers.empty()) {
        problems.push_back("an input box came with no \"answer input\" given");
        return {};
    }
    auto answer = inputAnswers.front();
    inputAnswers.pop_front();
    return answer.value_or(std::string());
}

std::string ScriptedPlatform::fileAnswer(const char* dialog) {
    if (fileAnswers.empty()) {
        problems.push_back(std::string("a ") + dialog +
                           " dialog came with no \"answer file\" given");
        return {};
    }
    auto answer = fileAnswers.front();
    fileAnswers.pop_front();
    return answer.value_or(std::string());
}

std::string ScriptedPlatform::ShowSave(const std::string&, const std::string&) {
    return fileAnswer("save-file");
}

std::string ScriptedPlatform::ShowOpen(const std::string&, const std::string&) {
    return fileAnswer("open-file");
}

void ScriptedPlatform::ShowHelp(const std::string& helpFile, int command, int context) {
    helpCalls.push_back(scenario::quoted(helpFile) + " " + std::to_string(command) + " " +
                        std::to_string(context));
}

void ScriptedPlatform::PopupMenu(Menu& menu) { popup = menu.name(); }

}  // namespace tvl::scenario
