#include "line/port_events.h"

#include "app/frm_main.h"
#include "app/program.h"
#include "components/serial/serial_port.h"

namespace tvl {

namespace {

// Shows the on or off picture of a signal's lamp of port q (0 or 1).
void setLamp(FrmMain& f, int q, Signal signal, bool on) {
    f.imgStatus[lampIndex(q, signal, true)]->Visible = on;
    f.imgStatus[lampIndex(q, signal, false)]->Visible = !on;
}

void onComm(Program& program, int q) {
    const int o = 1 - q;
    SerialPort& port = q == 0 ? program.mscComControl1 : program.mscComControl2;
    SerialPort& other = q == 0 ? program.mscComControl2 : program.mscComControl1;
    std::uint32_t status = 0;
    GetCommModemStatus(program.state.CommHandle[q], status);
    const int event = port.CommEvent();
    FrmMain& f = *program.FrmMain;

    if (program.state.OperationMode == 0) {
        switch (event) {
            case comEvCD:
                setLamp(f, q, CD, status & MS_RLSD_ON);
                break;
            case comEvCTS:
                setLamp(f, q, CTS, status & MS_CTS_ON);
                break;
            case comEvDSR:
                setLamp(f, q, DSR, status & MS_DSR_ON);
                break;
            case comEvRing:
                setLamp(f, q, RI, status & MS_RING_ON);
                break;
            default:
                break;
        }
        return;
    }
    switch (event) {
        case comEvCTS: {
            const bool on = status & MS_CTS_ON;
            other.setRTSEnable(on);
            setLamp(f, o, CTS, on);
            setLamp(f, q, RTS, on);
            break;
        }
        case comEvDSR: {
            const bool on = status & MS_DSR_ON;
            other.setDTREnable(on);
            setLamp(f, o, DSR, on);
            setLamp(f, q, CD, on);
            setLamp(f, q, DTR, on);
            break;
        }
        case comEvRing:
            setLamp(f, q, RI, status & MS_RING_ON);
            break;
        default:
            break;
    }
}

}  // namespace

void mscComControl1_OnComm(Program& program) { onComm(program, 0); }
void mscComControl2_OnComm(Program& program) { onComm(program, 1); }

void chkUARTControl_Click(Program& program, int Index) {
    if (Index < 0 || Index > 3) return;
    const bool on = program.FrmMain->chkUARTControl[Index]->Value != 0;
    SerialPort& port = Index < 2 ? program.mscComControl1 : program.mscComControl2;
    if (Index % 2 == 0)
        port.setDTREnable(on);
    else
        port.setRTSEnable(on);
}

}  // namespace tvl
