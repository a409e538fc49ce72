#include "shell/startup.h"

#include <filesystem>

#include "app/frm_main.h"
#include "app/program.h"
#include "app/sound_cues.h"
#include "shell/wiring.h"

namespace tvl {

namespace {

void endSplash(Program& program) {
    if (!program.frmSplash) return;
    program.platform.formUnloaded(*program.frmSplash);
    program.frmSplash.reset();
    program.FrmMain = std::make_unique<FrmMain>();
    bindMainWindow(program);
    FrmMain_Form_Load(program);
    FrmMain& main = *program.FrmMain;
    // The first layout pass comes with the showing, before the window is on the screen.
    if (main.Resize) main.Resize();
    main.Visible = true;
    program.platform.formShown(main);
}

}  // namespace

void Main(Program& program) {
    program.frmSplash = std::make_unique<FrmSplash>();
    FrmSplash& splash = *program.frmSplash;
    splash.bind("Image1_Click", splash.Image1->Click,
                [&program] { frmSplash_Image1_Click(program); });
    splash.KeyPress = [&program](int& key) { frmSplash_Form_KeyPress(program, key); };
    splash.handle("Form_KeyPress",
                  [&program](const auto& a) { frmSplash_Form_KeyPress(program, argument(a, 0)); });
    splash.Visible = true;
    program.platform.formShown(splash);
    program.platform.redraw(splash);
}

void frmSplash_Image1_Click(Program& program) { endSplash(program); }

void frmSplash_Form_KeyPress(Program& program, int /*KeyAscii: any key ends the splash*/) {
    endSplash(program);
}

const char* backgroundFor(int screenWidth) {
    switch (screenWidth) {
        case 640:
            return "Setup.jpg";
        case 800:
            return "Setup2.jpg";
        case 1024:
            return "Setup3.jpg";
        default:
            return "Setup4.jpg";
    }
}

void FrmMain_Form_Load(Program& program) {
    FrmMain& f = *program.FrmMain;
    // A missing background leaves the window its stored one.
    const std::string background = backgroundFor(program.platform.GetSystemMetrics(0));
    if (std::filesystem::exists(program.programFile(background))) f.Picture = background;

    for (int q = 0; q < 2; ++q)
        for (int signal = 0; signal < kSignals; ++signal) {
            f.imgStatus[lampIndex(q, signal, false)]->Visible = true;
            f.imgStatus[lampIndex(q, signal, true)]->Visible = false;
        }
    for (TextBox* pane : f.txtCommunication) pane->setText("");
    for (CheckBox* c : f.chkUARTControl) c->Enabled = false;
    program.mscComControl1.setDTREnable(false);
    program.mscComControl1.setRTSEnable(false);
    program.mscComControl2.setDTREnable(false);
    program.mscComControl2.setRTSEnable(false);
    for (Frame* group : f.fraComMonitor) group->Enabled = false;
    for (int n : monitorButton::ofRun) f.tbrTarvoline->Buttons(n).Enabled = false;
    f.mnuStartStop->Enabled = false;
    f.mnuDataConvertion->Enabled = false;
    f.mnuFindData->Enabled = false;
    f.tbrFileAccess->Visible = false;
    f.txtPort1->Visible = false;
    f.txtPort2->Visible = false;

    playWelcome(program);
}

}  // namespace tvl
