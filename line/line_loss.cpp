#include "line/line_loss.h"

#include "app/frm_main.h"
#include "app/program.h"
#include "components/serial/serial_port.h"
#include "display/traffic_panes.h"

namespace tvl {

namespace {

SerialPort& portOf(Program& program, int q) {
    return q == 0 ? program.mscComControl1 : program.mscComControl2;
}

std::string portName(int q) { return q == 0 ? "Port 1" : "Port 2"; }

}  // namespace

void mscComControl_LineLost(Program& program, int q) {
    // The receive count of a port is what its line took: bytes that were on
    // their way when the line went come off it again. (Port 1 receives in
    // pane 1, counted by ReceiveCount(1); Port 2 in pane 3, ReceiveCount(0).)
    if (const std::uint64_t undelivered = portOf(program, q).takeUndelivered()) {
        std::int64_t& count = program.state.ReceiveCount[1 - q];
        count -= static_cast<std::int64_t>(undelivered);
        setCaption(*program.FrmMain->fraTxRx[q == 0 ? 1 : 3], "Receive:  ", count);
    }
    showLineState(program);
    // A line that flaps while its message stands open is told by the title alone.
    if (program.lineLossShown[q]) return;
    program.lineLossShown[q] = true;
    program.platform.MsgBox(
        portName(q) + " has lost its line: " + portOf(program, q).LossReason() +
            ".\n\nNothing reaches that line until it returns; Tarvoline takes it "
            "back by itself.",
        "Tarvoline", vbOKOnly);
    program.lineLossShown[q] = false;
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
