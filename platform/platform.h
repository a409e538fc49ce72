// What the program needs of the desktop beyond its own windows: message and
// input boxes, file dialogs, help, the screen, the program's folder, popup
// menus and ending the process. The Qt layer gives the real ones; scenarios
// and tests give scripted ones.
#pragma once

#include <string>

namespace tvl {

class Form;
class Menu;

enum MsgBoxButtons : int { vbOKOnly = 0, vbMsgBoxHelpButton = 0x4000 };

class Platform {
public:
    virtual ~Platform() = default;

    // A message box; with vbMsgBoxHelpButton its Help button opens helpFile at context.
    virtual void MsgBox(const std::string& text, const std::string& title, int buttons,
                        const std::string& helpFile = {}, int context = 0) = 0;
    // The typed text, or empty text when the user cancels.
    virtual std::string InputBox(const std::string& prompt, const std::string& title) = 0;
    // The full path chosen, or empty text when the user cancels. The filter is
    // "Description|pattern|Description|pattern...".
    virtual std::string ShowSave(const std::string& initialFolder, const std::string& filter) = 0;
    virtual std::string ShowOpen(const std::string& initialFolder, const std::string& filter) = 0;
    // Opens the help file: command 3 is its contents, 1 a context.
    virtual void ShowHelp(const std::string& helpFile, int command, int context) = 0;
    // GetSystemMetrics(0): the width of the primary screen in pixels.
    virtual int GetSystemMetrics(int index) = 0;
    // The folder that holds the program, without a closing "/".
    virtual std::string ProgramFolder() = 0;
    // Raises a popup menu at the mouse pointer.
    virtual void PopupMenu(Menu& menu) = 0;
    // Ends the process at once.
    virtual void EndProcess() = 0;

    // The windowing layer: a form was shown, hidden or unloaded, or asks to be drawn now.
    virtual void formShown(Form&) {}
    virtual void formHidden(Form&) {}
    virtual void formUnloaded(Form&) {}
    virtual void redraw(Form&) {}
};

}  // namespace tvl
