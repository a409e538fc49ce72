// The Setup dialog "Tarvoline Setup": its controls at their first-load values.
// The mode, monitor, saving and display choices are option groups in frames;
// "Communication Settings" holds the line settings and the two port numbers.
#pragma once

#include <array>

#include "platform/form.h"

namespace tvl {

class FrmSetup : public Form {
public:
    FrmSetup();

    // The option groups, each in its own frame, top to bottom.
    Frame* fraMode;
    std::array<OptionButton*, 2> optMode;  // 0 Transparent, 1 Host
    Frame* fraMonitor;
    std::array<OptionButton*, 3> optMonitor;  // 0 Com 1, 1 Com 2, 2 Both
    Frame* fraSaving;
    std::array<OptionButton*, 4> optSaving;  // 0 Not Save, 1 MDB, 2 XLS, 3 TVL
    Frame* fraDisplay;
    std::array<OptionButton*, 2> optDisplay;  // 0 ASCII, 1 Hexadecimal

    // "Communication Settings": the same line settings for both ports.
    Frame* fraSettings;
    std::array<Label*, 7> lblSetting;  // the captions of the rows below
    ComboBox* cboBPS;
    ComboBox* cboDataBits;
    ComboBox* cboParity;
    ComboBox* cboStopBits;
    ComboBox* cboFlowControl;
    std::array<TextBox*, 2> txtComPort;  // 0 Port 1, 1 Port 2
    std::array<Label*, 2> lblComPort;    // what each number resolves to, and whether it is there
    ComboBox* cboDevices;  // the devices and ports file's ports, to pick a number from
    CommandButton* cmdDefault;

    CommandButton* cmdOK;
    CommandButton* cmdCancel;

private:
    void buildOptions();
    void buildSettings();
};

}  // namespace tvl
