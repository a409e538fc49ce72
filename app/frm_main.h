// The main window: its whole control tree at the base size (twips), with the
// index maps the logic relies on:
//   panes txtCommunication(0..3): 0 Port 1 Transmit, 1 Port 1 Receive,
//         2 Port 2 Transmit, 3 Port 2 Receive; fraTxRx(i) is the frame of pane i
//   lamps imgStatus: off pictures 0..5 (Port 1) and 12..17 (Port 2), on pictures
//         six above them; per port in the order CTS, DSR, CD, RI, DTR, RTS
//   labels lblUART(0..5) Port 1, (6..11) Port 2, in the same order
//   switches chkUARTControl: 0 Port 1 DTR, 1 Port 1 RTS, 2 Port 2 DTR, 3 Port 2 RTS
// The controls of a container are made topmost first.
#pragma once

#include <array>

#include "platform/form.h"

namespace tvl {

// The buttons of tbrTarvoline by their number, Buttons(n); separators count.
namespace monitorButton {
inline constexpr int Setup = 1, StartStop = 3, DataConversion = 4, FindData = 5;
// The buttons of a run: usable once Setup has opened the ports.
inline constexpr int ofRun[] = {StartStop, DataConversion, FindData};
}  // namespace monitorButton

// The pictures of the Start / Stop button, by their number in ImageList.
namespace startStopImage {
inline constexpr int Start = 2, Stop = 3;
}

// A port's signals, in the order of its lamps, labels and switches.
enum Signal : int { CTS = 0, DSR = 1, CD = 2, RI = 3, DTR = 4, RTS = 5 };
inline constexpr int kSignals = 6;
// imgStatus index of port q's (0, 1) lamp for a signal, its off or on picture.
constexpr int lampIndex(int q, int signal, bool on) { return 12 * q + 6 * int(on) + signal; }
// lblUART index of port q's label for a signal.
constexpr int labelIndex(int q, int signal) { return kSignals * q + signal; }

class FrmMain : public Form {
public:
    FrmMain();

    Toolbar* tbrTarvoline;
    Toolbar* tbrFileAccess;
    std::array<Frame*, 2> fraComMonitor;
    std::array<Frame*, 4> fraTxRx;
    std::array<TextBox*, 4> txtCommunication;
    TextBox* txtPort1;
    TextBox* txtPort2;
    // On the review toolbar: when the record on screen was written.
    Label* lblRecordTime;
    std::array<Image*, 24> imgStatus;
    std::array<Label*, 12> lblUART;
    std::array<CheckBox*, 4> chkUARTControl;
    std::array<Line*, 4> myLine;
    Label* Label1;
    Label* Label2;
    std::array<Image*, 2> Image2;
    Line* Line1;
    Line* Line2;
    Timer* tmrTarvoline;

    Menu* mnuMenu;
    Menu* mnuSetup;
    Menu* mnuStartStop;
    Menu* mnuDataConvertion;
    Menu* mnuFindData;
    Menu* mnuHelp;
    Menu* mnuOpenFile;
    Menu* mnuExit;
    Menu* mnuFileAccess;
    Menu* mnuHome;
    Menu* mnuBack;
    Menu* mnuForward;
    Menu* mnuEnd;
    Menu* mnuFind;
    Menu* mnuSaveExit;
    Menu* mnuNoSaveExit;

private:
    void buildGroup(int group);
    void buildPanes(int group, Frame& frame);
    void buildSignals(int group, Frame& frame);
    void buildHeader(int group, Frame& frame);
    void buildToolbars();
    void buildMenus();
};

// The splash window: a picture over the whole client area, ended by any key or click.
class FrmSplash : public Form {
public:
    FrmSplash();
    Frame* Frame2;
    Image* Image1;
};

// Lamp pictures, switch pictures and toolbar icons, as files in the program's folder.
namespace pictures {
inline constexpr const char* lampOff = "lamp_off.png";
inline constexpr const char* lampOn = "lamp_on.png";
inline constexpr const char* switchOff = "switch_off.png";
inline constexpr const char* switchOn = "switch_on.png";
inline constexpr const char* splash = "splash.jpg";
inline constexpr const char* mainBackground = "main_background.jpg";
}  // namespace pictures

}  // namespace tvl
