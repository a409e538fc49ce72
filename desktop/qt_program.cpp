#include "desktop/qt_program.h"

#include <QMetaObject>

#include "app/frm_main.h"
#include "components/sound/wave_output.h"
#include "components/stores/stores.h"
#include "line/transfer_pump.h"
#include "platform/qt/end_signals.h"
#include "shell/commands.h"

namespace tvl {

QtProgram::QtProgram(Lines lines, const std::string& deviceFolder, LineTrace* trace) {
    ProgramParts parts;
    parts.platform = &desktop;
    parts.trace = trace;
    if (lines == Lines::System) {
        devices = std::make_unique<SystemDevices>(poster(), deviceFolder);
        parts.line1 = parts.line2 = devices.get();
    } else {
        parts.line1 = &simulated1;
        parts.line2 = &simulated2;
    }
    parts.makeTVL = makeKelTVL;
    parts.makeMDB = makeKelMDB;
    parts.makeXLS = makeKelXLS;
    parts.makeSound = [] { return makeWaveOutput(); };
    program = std::make_unique<Program>(std::move(parts));

    Program& p = *program;
    desktop.tickHasWork = [&p] { return tickHasWork(p); };
    p.mscComControl1.OnReadable = [this] { desktop.portReadable(); };
    p.mscComControl2.OnReadable = [this] { desktop.portReadable(); };
}

QtProgram::~QtProgram() {
    // The windows go before the program they show.
    desktop.tickHasWork = [] { return false; };
    if (program) {
        if (program->FrmMain) desktop.formUnloaded(*program->FrmMain);
        if (program->frmSplash) desktop.formUnloaded(*program->frmSplash);
    }
    program.reset();
    devices.reset();
}

void QtProgram::exitOnSignals() {
    endOnSignals([this] { desktop.dispatch([this] { mnuExit_Click(*program); }); });
}

Poster QtProgram::poster() {
    return [this](std::function<void()> event) {
        QMetaObject::invokeMethod(
            &desktop,
            [this, event = std::move(event)] { desktop.dispatch(event, QtDesktop::Copy::Paced); },
            Qt::QueuedConnection);
    };
}

}  // namespace tvl
