#include "line/line_loss.h"

#include "app/frm_main.h"
#include "app/program.h"
#include "components/serial/serial_port.h"

namespace tvl {

namespace {

SerialPort& portOf(Program& program, int q) {
    return q == 0 ? program.mscComControl1 : program.mscComControl2;
}

std::string portName(int q) { return q == 0 ? "Port 1" : "Port 2"; }

}  // namespace

void mscComControl_LineLost(Program& program, int q) {
    showLineState(program);
    program.platform.MsgBox(
        portName(q) + " has lost its line: " + portOf(program, q).LossReason() +
            ".\n\nNothing reaches that line until it returns; Tarvoline takes it "
            "back by itself.",
        "Tarvoline", vbOKOnly);
}

void mscComControl_LineBack(Program& program, int q) {
    SerialPort& port = portOf(program, q);
    const auto& switches = program.FrmMain->chkUARTControl;
    try {
        port.setDTREnable(switches[2 * q]->Value != 0);
        port.setRTSEnable(switches[2 * q + 1]->Value != 0);
    } catch (const SerialError& refusal) {
        reportLineRefused(program, refusal);
    }
    showLineState(program);
}

void reportLineRefused(Program& program, const SerialError& refusal) {
    program.platform.MsgBox(std::string("The line was not switched: ") + refusal.what() + ".",
                            "Tarvoline", vbOKOnly);
}

}  // namespace tvl
