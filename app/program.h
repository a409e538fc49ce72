// The application object: the shared state, the windows, and the components
// the windows hold (the two serial ports, the three capture stores, the sound
// players). Everything runs on the user-interface thread.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "components/serial/serial_port.h"
#include "components/sound/mci_player.h"
#include "components/stores/capture_store.h"
#include "platform/platform.h"
#include "state/shared_state.h"

namespace tvl {

class FrmMain;
class FrmSplash;
class FrmSetup;
class FrmHostAction;
class FrmFindData;
class Form;

// What a program is built from; tests and scenarios pass simulated ones.
struct ProgramParts {
    Platform* platform = nullptr;
    SerialDeviceFactory* line1 = nullptr;  // behind mscComControl1
    SerialDeviceFactory* line2 = nullptr;  // behind mscComControl2
    std::function<std::unique_ptr<tvl::KelTVL>()> makeTVL;
    std::function<std::unique_ptr<tvl::KelMDB>()> makeMDB;
    std::function<std::unique_ptr<tvl::KelXLS>()> makeXLS;
    std::function<std::unique_ptr<SoundOutput>()> makeSound;
    LineTrace* trace = nullptr;  // where both ports' lines are traced, if anywhere
};

class Program {
public:
    explicit Program(ProgramParts parts);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    SharedState state;
    Platform& platform;

    SerialPort mscComControl1;
    SerialPort mscComControl2;
    std::unique_ptr<tvl::KelTVL> KelTVL;
    std::unique_ptr<tvl::KelMDB> KelMDB;
    std::unique_ptr<tvl::KelXLS> KelXLS;
    MciPlayer mciTarvoline;   // on FrmMain
    MciPlayer mciTarvoline1;  // on frmSetup
    MciPlayer mciTarvoline2;  // on frmHostAction
    MciPlayer mciTarvoline3;  // on frmFindData

    // The windows; a null one is not loaded.
    std::unique_ptr<tvl::FrmMain> FrmMain;
    std::unique_ptr<tvl::FrmSplash> frmSplash;
    std::unique_ptr<tvl::FrmSetup> frmSetup;
    std::unique_ptr<tvl::FrmHostAction> frmHostAction;
    std::unique_ptr<tvl::FrmFindData> frmFindData;

    // A loaded window by name, case-blind; nullptr when not loaded.
    Form* form(std::string_view name) const;

    // The program's folder followed by a file name: "Kelmar.wav" -> "<folder>/Kelmar.wav".
    std::string programFile(const std::string& name) const;

    // Closes both ports, then ends the process (through the platform) and
    // remembers that it did. Nothing else is stopped or written.
    void end();
    bool exited = false;
    // A store failed during a run; nothing more is written until Setup prepares a store.
    bool storeFailed = false;
    // A port's lost-line message stands open (a desktop's message box waits for its OK).
    bool lineLossShown[2] = {false, false};

    // The Start / Stop command, for the parts that stop a run (a watch hit, a
    // failing store); the wiring sets it.
    std::function<void()> startStop;

    // Sound players are made through this, so that each gets the program's output.
    std::unique_ptr<SoundOutput> makeSound() const;

private:
    ProgramParts parts_;
};

// Entry point: shows the splash.
void Main(Program& program);

// The main window's title tells which port lost its line, or has it back,
// since the ports were opened: "Tarvoline - Port 2 lost (/dev/ttyUSB1)".
void showLineState(Program& program);

}  // namespace tvl
