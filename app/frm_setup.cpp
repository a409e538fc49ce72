#include "app/frm_setup.h"

#include <string>
#include <string_view>
#include <vector>

namespace tvl {

namespace {

// The left column: each group a frame of option buttons, one row per member.
constexpr float kColumnLeft = 240;
constexpr float kColumnWidth = 2760;
constexpr float kRowTop = 300;  // first option row inside its frame
constexpr float kRowStep = 300;
constexpr float kGroupGap = 120;

// The settings group: a caption and a box a row; under a port's row, up to
// three lines saying what its number resolves to, or why it was refused (a
// device path can be long, and the reason is read whole).
constexpr float kSettingsLeft = 3120;
constexpr float kSettingsWidth = 3660;
constexpr float kCaptionLeft = 120, kCaptionWidth = 1560;
constexpr float kBoxLeft = 1740, kBoxWidth = 1800, kPortBoxWidth = 720;
constexpr float kSettingTop = 360, kSettingStep = 360, kSettingHeight = 315;
constexpr float kDescriptionGap = 330, kDescriptionHeight = 585;

}  // namespace

FrmSetup::FrmSetup() : Form("frmSetup") {
    Caption = "Tarvoline Setup";
    ScaleWidth = 7020;
    ScaleHeight = 5655;
    Width = 7140;   // client area and the fixed dialog border
    Height = 6060;  // and the title bar
    Left = 1200;
    Top = 900;

    buildOptions();
    buildSettings();

    const float buttonsTop = fraSettings->Top + fraSettings->Height + kGroupGap;
    cmdOK = place(add<CommandButton>(nullptr, "cmdOK"), 3600, buttonsTop, 1455, 615);
    cmdOK->Picture = "setup_ok.png";
    cmdOK->ToolTipText = "Apply the settings and open the ports";
    cmdOK->AccessibleName = "OK";
    cmdOK->Default = true;
    cmdCancel = place(add<CommandButton>(nullptr, "cmdCancel"), 5325, buttonsTop, 1455, 615);
    cmdCancel->Picture = "setup_cancel.png";
    cmdCancel->ToolTipText = "Close without applying";
    cmdCancel->AccessibleName = "Cancel";
    cmdCancel->Cancel = true;
    for (int i = 0; i < 2; ++i) txtComPort[i]->setText(i == 0 ? "3" : "4");
}

void FrmSetup::buildOptions() {
    float top = 120;
    auto group = [&](const char* frameName, const char* caption,
                     std::initializer_list<const char*> members, auto& options, const char* name) {
        const float height = kRowTop + kRowStep * static_cast<float>(members.size()) + 60;
        Frame* frame =
            place(add<Frame>(nullptr, frameName), kColumnLeft, top, kColumnWidth, height);
        frame->Caption = caption;
        int i = 0;
        for (const char* member : members) {
            OptionButton* option =
                place(add<OptionButton>(frame, name, i), 120,
                      kRowTop + kRowStep * static_cast<float>(i), kColumnWidth - 180, 255);
            option->Caption = member;
            option->Value = i == 0;
            options[i++] = option;
        }
        top += height + kGroupGap;
        return frame;
    };
    fraMode =
        group("fraMode", "Mode operation", {"Transparent mode", "Host mode"}, optMode, "optMode");
    fraMonitor = group("fraMonitor", "Communication Monitor",
                       {"Monitor Com 1 (DTE)", "Monitor Com 2 (DTE/DCE)", "Monitor Both"},
                       optMonitor, "optMonitor");
    fraSaving = group("fraSaving", "Communication will",
                      {"Not Save", "Save MDB", "Save XLS", "Save TVL"}, optSaving, "optSaving");
    fraDisplay =
        group("fraDisplay", "Display data in", {"ASCII", "Hexadecimal"}, optDisplay, "optDisplay");
}

void FrmSetup::buildSettings() {
    // Its height follows its foot, set last.
    fraSettings = place(add<Frame>(nullptr, "fraSettings"), kSettingsLeft, 120, kSettingsWidth, 0);
    fraSettings->Caption = "Communication Settings";

    static const char* const captions[7] = {
        "Bits Per Second:", "Data bits:",   "Parity:",         "Stop Bits:",
        "Flow Control:",    "DTE / Port1:", "DTE/DCE / Port2:"};
    auto rowTop = [](int row) {
        return kSettingTop + kSettingStep * static_cast<float>(row) +
               (row == 6 ? kDescriptionHeight : 0.0f);
    };
    for (int row = 0; row < 7; ++row) {
        Label* label = place(add<Label>(fraSettings, "lblSetting", row), kCaptionLeft,
                             rowTop(row) + 45, kCaptionWidth, 255);
        label->Caption = captions[row];
        lblSetting[row] = label;
    }
    // A box is called what its caption says.
    auto named = [](Control* box, int row) {
        const std::string_view caption = captions[row];
        box->AccessibleName = caption.substr(0, caption.size() - 1);  // without its colon
        return box;
    };
    auto combo = [&](const char* name, int row, std::vector<std::string> list, const char* text) {
        ComboBox* box = place(add<ComboBox>(fraSettings, name), kBoxLeft, rowTop(row), kBoxWidth,
                              kSettingHeight);
        box->List = std::move(list);
        box->Text = text;
        named(box, row);
        return box;
    };
    cboBPS = combo("cboBPS", 0,
                   {"110", "300", "600", "1200", "2400", "4800", "9600", "14400", "19200", "28800",
                    "38400", "57600", "115200"},
                   "115200");
    cboDataBits = combo("cboDataBits", 1, {"4", "5", "6", "7", "8"}, "8");
    cboParity = combo("cboParity", 2, {"Even", "Odd", "None", "Mark", "Space"}, "None");
    cboStopBits = combo("cboStopBits", 3, {"1", "1.5", "2"}, "1");
    cboFlowControl = combo("cboFlowControl", 4, {"None", "XonXoff", "RTS", "RTSXonXoff"}, "None");
    for (int i = 0; i < 2; ++i) {
        TextBox* box = place(add<TextBox>(fraSettings, "txtComPort", i), kBoxLeft, rowTop(5 + i),
                             kPortBoxWidth, kSettingHeight);
        box->MultiLine = false;
        txtComPort[i] = box;
        named(box, 5 + i);
        Label* description = place(add<Label>(fraSettings, "lblComPort", i), kCaptionLeft,
                                   rowTop(5 + i) + kDescriptionGap,
                                   kSettingsWidth - 2 * kCaptionLeft, kDescriptionHeight);
        lblComPort[i] = description;
    }
    // At the foot: the serial devices of this computer, each with the number
    // that opens it, and Default.
    const float foot = rowTop(6) + kDescriptionGap + kDescriptionHeight + 60;
    cboDevices = place(add<ComboBox>(fraSettings, "cboDevices"), kCaptionLeft, foot + 90,
                       kBoxLeft + kBoxWidth - 1200 - 180 - kCaptionLeft, kSettingHeight);
    cboDevices->Style = ComboBox::kDropdownList;
    cboDevices->ToolTipText =
        "The serial devices on this computer and the ports file's ports, each with its number: "
        "a pick puts the number in a port box";
    cboDevices->AccessibleName = "Serial devices and ports";
    cmdDefault = place(add<CommandButton>(fraSettings, "cmdDefault"), kBoxLeft + kBoxWidth - 1200,
                       foot, 1200, 495);
    cmdDefault->Picture = "setup_default.png";
    cmdDefault->ToolTipText = "Put the settings back to their defaults";
    cmdDefault->AccessibleName = "Default";
    fraSettings->Height = cmdDefault->Top + cmdDefault->Height + kGroupGap;
}

}  // namespace tvl
