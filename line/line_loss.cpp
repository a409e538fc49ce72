#include "line/line_loss.h"

#include "app/frm_main.h"
#include "app/program.h"
#include "components/serial/serial_port.h"

namespace tvl {

namespace {

SerialPort& portOf(Program& p, int q) { return q == 0 ? p.mscComControl1 : p.mscComControl2; }

std::string portName(int q) { return q == 0 ? "Port 1" : "Port 2"; }

}  // namespace

void mscComControl_LineLost(Program& p, int q) {
    showLineState(p);
    p.platform.MsgBox(portName(q) + " has lost its line: " + portOf(p, q).LossReason() +
                          ".\n\nNothing reaches that line until it returns; Tarvoline takes it "
                          "back by itself.",
                      "Tarvoline", vbOKOnly);
}

void mscComControl_LineBack(Program& p, int q) {
    SerialPort& port = portOf(p, q);
    const auto& switches = p.FrmMain->chkUARTControl;
    try {
        port.setDTREnable(switches[2 * q]->Value != 0);
        port.setRTSEnable(switches[2 * q + 1]->Value != 0);
    } catch (const SerialError& refusal) {
        reportLineRefused(p, refusal);
    }
    showLineState(p);
}

void reportLineRefused(Program& p, const SerialError& refusal) {
    p.platform.MsgBox(std::string("The line was not switched: ") + refusal.what() + ".",
                      "Tarvoline", vbOKOnly);
}

}  // namespace tvl
