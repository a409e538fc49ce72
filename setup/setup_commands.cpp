// What the Setup dialog does: the Setup command that opens it, its load and
// unload, the mode choice, Default, OK and Cancel.
#include <charconv>
#include <cmath>
#include <exception>
#include <memory>
#include <string>
#include <system_error>

#include "app/frm_main.h"
#include "app/program.h"
#include "app/sound_cues.h"
#include "capture/capture_writer.h"
#include "components/stores/capture_store.h"
#include "setup/setup.h"

namespace tvl {

namespace {

const char* const kPortFailure =
    "Open Fail on Port, Maybe the port is currently used by another program!";
const char* const kHelpFile = "TARVOLINE.hlp";
constexpr int kPortFailureContext = 17;

const char* const kTitle1 = "Port1 (DTE1): ";
const char* const kTitle2 = "Port2 (DTE2/DCE): ";

// An unloaded dialog is kept here until the next unload, so that the handler
// that unloaded it (one of its own) returns into a live object.
std::unique_ptr<FrmSetup>& lastUnloaded() {
    static std::unique_ptr<FrmSetup> form;
    return form;
}

template <std::size_t N>
std::uint8_t indexOfOn(const std::array<OptionButton*, N>& group) {
    for (std::size_t i = 0; i < N; ++i)
        if (group[i]->Value) return static_cast<std::uint8_t>(i);
    return 0;
}

// What port box i's number resolves to, beside the box, and whether that
// device is there for this program.
void describePort(Program& program, int i) {
    static const char* const kPresence[] = {"present", "busy", "not permitted", "missing",
                                            "on the network"};
    FrmSetup& f = *program.frmSetup;
    const SerialPort& port = i == 0 ? program.mscComControl1 : program.mscComControl2;
    const std::optional<int> n = portNumberOf(f.txtComPort[i]->Text());
    f.lblComPort[i]->Caption =
        !n       ? "not a port number"
        : *n < 1 ? "no port has this number"
                 : port.describe(*n) + " (" + kPresence[static_cast<int>(port.presence(*n))] + ")";
    f.lblComPort[i]->ToolTipText = f.lblComPort[i]->Caption;
}

// After a refused OK: the reason the system gave, beside the box it concerns
// (both, for the line settings).
void showRefusal(FrmSetup& f, int box, const std::string& reason) {
    for (int i = 0; i < 2; ++i) {
        if (box >= 0 && box != i) continue;
        f.lblComPort[i]->Caption = reason;
        f.lblComPort[i]->ToolTipText = reason;
    }
}

// The list as it was shown, so that a pick finds what its line stood for.
std::vector<PortListing>& shownListing() {
    static std::vector<PortListing> listing;
    return listing;
}

void listDevices(Program& program) {
    ComboBox& list = *program.frmSetup->cboDevices;
    shownListing() = program.mscComControl1.listing();
    list.List.clear();
    for (const auto& line : shownListing()) list.List.push_back(line.text);
    list.ListIndex = -1;
    list.Text = list.List.empty() ? "No device found"
                                  : "Pick a port (" + std::to_string(list.List.size()) + ")";
}

// A pick fills the first port box whose number reaches nothing yet, Port 1's
// when both do; a USB adapter gets its number kept in the ports file first.
void pickDevice(Program& program) {
    FrmSetup& f = *program.frmSetup;
    const int picked = f.cboDevices->ListIndex;
    if (picked < 0 || picked >= static_cast<int>(shownListing().size())) return;
    int number = 0;
    try {
        number = program.mscComControl1.keepNumber(shownListing()[picked]);
    } catch (const SerialError& refusal) {
        showRefusal(f, -1, refusal.what());
        return;
    }
    if (number > 0) {
        int box = 0;
        for (int i = 1; i >= 0; --i) {
            const SerialPort& port = i == 0 ? program.mscComControl1 : program.mscComControl2;
            const std::optional<int> n = portNumberOf(f.txtComPort[i]->Text());
            if (!n || *n < 1 || port.presence(*n) == Presence::Missing) box = i;
        }
        f.txtComPort[box]->setText(std::to_string(number));
    }
    listDevices(program);
}

void bindSetupForm(Program& program) {
    FrmSetup& f = *program.frmSetup;
    f.bind("optMode_Click", f.optMode, &OptionButton::Click,
           [&program](int i) { frmSetup_optMode_Click(program, i); });
    for (int i = 0; i < 2; ++i) {
        f.txtComPort[i]->Change = [&program, i] { describePort(program, i); };
        describePort(program, i);
    }
    f.bind("cboDevices_Click", f.cboDevices->Click, [&program] { pickDevice(program); });
    f.bind("cmdDefault_Click", f.cmdDefault->Click,
           [&program] { frmSetup_cmdDefault_Click(program); });
    f.bind("cmdOK_Click", f.cmdOK->Click, [&program] { frmSetup_cmdOK_Click(program); });
    f.bind("cmdCancel_Click", f.cmdCancel->Click,
           [&program] { frmSetup_cmdCancel_Click(program); });
    f.handle("Form_Load", [&program](const auto&) { frmSetup_Form_Load(program); });
    f.handle("Form_Unload", [&program](const auto&) { frmSetup_Form_Unload(program); });
}

void showSetup(Program& program) {
    if (!program.frmSetup) {
        program.frmSetup = std::make_unique<FrmSetup>();
        bindSetupForm(program);
        frmSetup_Form_Load(program);
    }
    listDevices(program);
    program.frmSetup->Visible = true;
    program.platform.formShown(*program.frmSetup);
}

void showMain(Program& program) {
    program.FrmMain->Enabled = true;
    program.FrmMain->Visible = true;
    program.platform.formShown(*program.FrmMain);
}

int handshakingOf(const std::string& text) {
    if (text == "XonXoff") return comXOnXoff;
    if (text == "RTS") return comRTS;
    if (text == "RTSXonXoff") return comRTSXOnXOff;
    return comNone;
}

int portNumberFrom(const TextBox& box) {
    const std::optional<int> n = portNumberOf(box.Text());
    if (!n) throw SerialError("\"" + box.Text() + "\" is not a port number");
    return *n;
}

// A store that cannot be made stops OK here. Start is withheld and nothing is
// written until an OK prepares a store, so no run writes into a store that
// does not stand.
void storeNotMade(Program& program, const std::string& text) {
    program.storeFailed = true;
    program.FrmMain->tbrTarvoline->Buttons(monitorButton::StartStop).Enabled = false;
    program.FrmMain->mnuStartStop->Enabled = false;
    program.platform.MsgBox(text, "Tarvoline", vbOKOnly);
}

// OK for a saving mode: the file, the titles, the new store's head.
// False when OK ends here: the file dialog was cancelled or the store could
// not be made.
bool prepareStore(Program& program) {
    const SharedState& s = program.state;
    static const char* const filters[4] = {"", "MS Access (*.mdb)|*.mdb", "MS Excel (*.xls)|*.xls",
                                           "Kelmar Tarvoline (*.tvl)|"};
    const std::string path =
        program.platform.ShowSave(program.platform.ProgramFolder(), filters[s.SavingMode]);
    if (path.empty()) {
        frmSetup_cmdCancel_Click(program);
        return false;
    }
    CaptureStore* store = captureStore(program);
    if (!store) {
        storeNotMade(program,
                     "This Tarvoline cannot save a capture as an MS Excel workbook, so \"" + path +
                         "\" was not created. Choose another way of saving.");
        return false;
    }
    const auto slash = path.rfind('/');
    store->StoreFolder = slash == std::string::npos ? std::string() : path.substr(0, slash + 1);
    store->StoreName = slash == std::string::npos ? path : path.substr(slash + 1);
    if (s.MonitorChoice == 0 || s.MonitorChoice == 2) store->PortTitle1 = kTitle1;
    if (s.MonitorChoice == 1 || s.MonitorChoice == 2) store->PortTitle2 = kTitle2;
    try {
        switch (s.SavingMode) {
            case 1:
                program.KelMDB->CreateStore();
                program.KelMDB->CloseStore();
                break;
            case 2:
                program.KelXLS->CreateStore();
                break;
            case 3:
                program.KelTVL->OpenStore();
                program.KelTVL->AppendRecord(1);
                program.KelTVL->CloseStore();
                break;
            default:
                break;
        }
    } catch (const StoreError& error) {
        storeNotMade(program, "The capture file \"" + path +
                                  "\" could not be created, so no port was opened.\n\n" +
                                  error.what());
        return false;
    }
    program.storeFailed = false;
    return true;
}

// Steps 6 to 13 of OK: release what the last OK left open, set both ports up
// and open those of MonitorChoice. Every refusal of the component throws;
// `box` tells which port box it concerns (-1: both).
void openPorts(Program& program, const FrmSetup& d, int& box) {
    SharedState& s = program.state;
    SerialPort& port1 = program.mscComControl1;
    SerialPort& port2 = program.mscComControl2;
    CloseHandle(s.CommHandle[0]);
    CloseHandle(s.CommHandle[1]);
    if (port1.PortOpen()) port1.setPortOpen(false);
    if (port2.PortOpen()) port2.setPortOpen(false);

    s.CommSettings[0] = d.cboBPS->Text;
    s.CommSettings[1] = d.cboParity->Text.substr(0, 1);
    s.CommSettings[2] = d.cboDataBits->Text;
    s.CommSettings[3] = d.cboStopBits->Text;
    const std::string settings = s.CommSettings[0] + "," + s.CommSettings[1] + "," +
                                 s.CommSettings[2] + "," + s.CommSettings[3];
    port1.setSettings(settings);
    port2.setSettings(settings);
    const int handshaking = handshakingOf(d.cboFlowControl->Text);
    port1.setHandshaking(handshaking);
    port2.setHandshaking(handshaking);
    box = 0;
    port1.setCommPort(portNumberFrom(*d.txtComPort[0]));
    box = 1;
    port2.setCommPort(portNumberFrom(*d.txtComPort[1]));

    if (s.MonitorChoice == 0 || s.MonitorChoice == 2) {
        box = 0;
        port1.setPortOpen(true);
        s.CommHandle[0] = port1.CommID();
    }
    if (s.MonitorChoice == 1 || s.MonitorChoice == 2) {
        box = 1;
        port2.setPortOpen(true);
        s.CommHandle[1] = port2.CommID();
    }
}

}  // namespace

std::optional<int> portNumberOf(const std::string& text) {
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string::npos) return std::nullopt;
    const auto last = text.find_last_not_of(" \t");
    const char* begin = text.data() + first;
    const char* end = text.data() + last + 1;
    if (*begin == '+' && ++begin != end && (*begin == '+' || *begin == '-')) return std::nullopt;
    double value = 0;
    const auto [stop, error] = std::from_chars(begin, end, value, std::chars_format::general);
    if (error != std::errc() || stop != end || !std::isfinite(value)) return std::nullopt;
    value = std::floor(value);
    if (value < -2147483648.0 || value > 2147483647.0) return std::nullopt;
    return static_cast<int>(value);
}

void mnuSetup_Click(Program& program) {
    FrmMain& m = *program.FrmMain;
    static const char* const captions[4] = {"Transmit: ", "Receive:  ", "Transmit: ", "Receive:  "};
    for (int i = 0; i < 4; ++i) m.fraTxRx[i]->Caption = captions[i];
    for (TextBox* pane : m.txtCommunication) pane->setText("");
    m.tmrTarvoline->Enabled = false;
    m.tbrTarvoline->Buttons(monitorButton::StartStop).Image = startStopImage::Start;
    showSetup(program);
    SharedState& s = program.state;
    s.CounterInitDone[0] = 0;
    s.CounterInitDone[1] = 0;
    s.TransmitCount[0] = 0;
    s.TransmitCount[1] = 0;
}

void frmSetup_Form_Load(Program& program) {
    program.FrmMain->Enabled = false;
    program.FrmMain->tmrTarvoline->Enabled = false;
    playDialogOpening(program, program.mciTarvoline1, "Play");
}

void frmSetup_Form_Unload(Program& program) {
    if (!program.frmSetup) return;
    program.mciTarvoline1.setCommand("Close");
    FrmMain& m = *program.FrmMain;
    m.tbrTarvoline->Buttons(monitorButton::StartStop).Enabled = false;
    m.tbrTarvoline->Buttons(monitorButton::DataConversion).Enabled = false;
    m.mnuStartStop->Enabled = false;
    m.mnuDataConvertion->Enabled = false;
    m.txtCommunication[0]->Enabled = false;
    m.txtCommunication[2]->Enabled = false;
    showMain(program);

    program.frmSetup->Visible = false;
    program.platform.formUnloaded(*program.frmSetup);
    lastUnloaded() = std::move(program.frmSetup);
}

void frmSetup_optMode_Click(Program& program, int index) {
    FrmSetup& d = *program.frmSetup;
    const bool transparent = index == 0;
    d.optMonitor[0]->Enabled = transparent;
    d.optMonitor[1]->Enabled = transparent;
    d.optMonitor[transparent ? 0 : 2]->choose();
}

void frmSetup_cmdDefault_Click(Program& program) {
    FrmSetup& d = *program.frmSetup;
    d.cboBPS->Text = "115200";
    d.cboDataBits->Text = "8";
    d.cboParity->Text = "None";
    d.cboStopBits->Text = "1";
    d.cboFlowControl->Text = "None";
    d.txtComPort[0]->setText("3");
    d.txtComPort[1]->setText("4");
}

void frmSetup_cmdOK_Click(Program& program) {
    FrmSetup& d = *program.frmSetup;
    FrmMain& m = *program.FrmMain;
    SharedState& s = program.state;

    s.OperationMode = d.optMode[0]->Value ? 0 : 1;
    const bool host = s.OperationMode == 1;
    for (int n : monitorButton::ofRun) m.tbrTarvoline->Buttons(n).Enabled = host;
    m.mnuDataConvertion->Visible = host;
    m.mnuDataConvertion->Enabled = host;
    m.mnuFindData->Visible = host;
    m.mnuFindData->Enabled = host;

    s.DisplayMode = d.optDisplay[0]->Value ? 0 : 1;

    s.MonitorChoice = indexOfOn(d.optMonitor);
    m.fraComMonitor[0]->Enabled = s.MonitorChoice != 1;
    m.fraComMonitor[1]->Enabled = s.MonitorChoice != 0;

    s.SavingMode = indexOfOn(d.optSaving);
    if (s.SavingMode != 0 && !prepareStore(program)) return;

    int box = -1;
    try {
        openPorts(program, d, box);
    } catch (const std::exception& refusal) {
        showRefusal(d, box, refusal.what());
        showLineState(program);
        program.platform.MsgBox(kPortFailure, "Tarvoline", vbOKOnly | vbMsgBoxHelpButton, kHelpFile,
                                kPortFailureContext);
        return;
    }

    showLineState(program);
    m.txtCommunication[0]->Enabled = false;
    m.txtCommunication[2]->Enabled = false;
    d.Visible = false;
    program.platform.formHidden(d);
    m.tbrTarvoline->Buttons(monitorButton::StartStop).Enabled = true;
    m.mnuStartStop->Enabled = true;
    showMain(program);
}

void frmSetup_cmdCancel_Click(Program& program) {
    FrmMain& m = *program.FrmMain;
    for (int n : monitorButton::ofRun) m.tbrTarvoline->Buttons(n).Enabled = false;
    m.mnuStartStop->Enabled = false;
    m.mnuDataConvertion->Enabled = false;
    m.mnuFindData->Enabled = false;
    m.txtCommunication[0]->Enabled = false;
    m.txtCommunication[2]->Enabled = false;
    frmSetup_Form_Unload(program);
}

void bindSetup(Program& program) {
    FrmMain& m = *program.FrmMain;
    m.bind("mnuSetup_Click", m.mnuSetup->Click, [&program] { mnuSetup_Click(program); });
}

}  // namespace tvl
