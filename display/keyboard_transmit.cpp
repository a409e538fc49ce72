#include "app/frm_main.h"
#include "app/program.h"
#include "display/traffic_panes.h"

namespace tvl {

void txtCommunication_KeyPress(Program& program, int Index, int& KeyAscii) {
    SharedState& s = program.state;
    if (s.CounterInitDone[0] == 0) {
        s.TransmitCount[0] = 0;
        s.TransmitCount[1] = 0;
        s.CounterInitDone[0] = 1;
    }
    if (Index != 0 && Index != 2) return;
    if (!program.mscComControl2.PortOpen()) return;
    const int p = Index == 0 ? 0 : 1;
    const char k = static_cast<char>(KeyAscii);
    SerialPort& out = p == 0 ? program.mscComControl2 : program.mscComControl1;
    if (!out.LineUp()) return;  // a key that reaches no line is not counted
    FrmMain& f = *program.FrmMain;
    out.Output(std::string_view(&k, 1));
    setCaption(*f.fraTxRx[p == 0 ? 0 : 2], "Transmit: ", ++s.TransmitCount[p]);
    setCaption(*f.fraTxRx[p == 0 ? 3 : 1], "Receive:  ", ++s.ReceiveCount[p]);
    f.txtCommunication[p == 0 ? 3 : 1]->append(k);
}

}  // namespace tvl
