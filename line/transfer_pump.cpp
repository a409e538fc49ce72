#include "line/transfer_pump.h"

#include "app/frm_main.h"
#include "app/program.h"
#include "display/traffic_panes.h"

namespace tvl {

namespace {

// Everything that differs between the two directions: p = 0 reads Port 1 and
// writes Port 2, p = 1 the reverse.
struct Direction {
    Program& program;
    int p;
    SerialPort& from;
    SerialPort& to;
    TextBox& rawPane;
    TextBox& deliveryPane;
    Frame& rawFrame;
    Frame& deliveryFrame;
    const std::string* present;
    const std::string* converted;

    Direction(Program& pr, int dir)
        : program(pr),
          p(dir),
          from(dir == 0 ? pr.mscComControl1 : pr.mscComControl2),
          to(dir == 0 ? pr.mscComControl2 : pr.mscComControl1),
          rawPane(*pr.FrmMain->txtCommunication[dir == 0 ? 0 : 2]),
          deliveryPane(*pr.FrmMain->txtCommunication[dir == 0 ? 3 : 1]),
          rawFrame(*pr.FrmMain->fraTxRx[dir == 0 ? 0 : 2]),
          deliveryFrame(*pr.FrmMain->fraTxRx[dir == 0 ? 3 : 1]),
          present(dir == 0 ? pr.state.PresentValue1 : pr.state.PresentValue2),
          converted(dir == 0 ? pr.state.ConvertedValue1 : pr.state.ConvertedValue2) {}

    SharedState& s() { return program.state; }

    void rawStep(char c) {
        setCaption(rawFrame, "Transmit: ", ++s().TransmitCount[p]);
        rawPane.append(c);
    }
    void deliveryStep(char c) {
        setCaption(deliveryFrame, "Receive:  ", ++s().ReceiveCount[p]);
        deliveryPane.append(c);
    }
    void send(char c) { to.Output(std::string_view(&c, 1)); }

    // The column scan at position n: does any row have c there?
    bool scan(std::size_t n, char c) const {
        for (int r = 0; r < kConversionRows; ++r)
            if (present[r].size() > n && present[r][n] == c) return true;
        return false;
    }

    void serveTransparent(char c) {
        rawPane.append(c);
        deliveryPane.append(c);
        setCaption(deliveryFrame, "Receive:  ", ++s().ReceiveCount[p]);
        setCaption(rawFrame, "Transmit: ", ++s().TransmitCount[p]);
    }

    void serveHost(char c) {
        if (s().MaxPresentLength[p] == 0) {
            deliveryStep(c);
            send(c);
            rawStep(c);
            return;
        }
        convert(c);
    }

    void convert(char c) {
        auto& position = s().MatchPosition[p];
        auto& held = s().MatchBuffer[p];
        auto& failed = s().MatchFailed[p];

        // Does c continue a row at the held position?
        if (position >= s().MaxPresentLength[p] || !scan(position, c)) {
            failed = 1;
        } else {
            failed = 0;
            ++position;
            held.push_back(c);
            rawStep(c);
        }
        if (failed) position = 0;
        // The held bytes turned out to be no row: release them, then c.
        if (position == 0 && !held.empty()) {
            const std::string released = held;
            for (char h : released) {
                send(h);
                deliveryStep(h);
            }
            rawStep(c);
            held.clear();
            if (scan(0, c)) {
                failed = 0;
                position = 1;
                held.assign(1, c);
            } else {
                failed = 1;
                send(c);
                deliveryStep(c);
            }
        } else if (held.empty()) {
            // c fits no row and nothing is held: it passes at once.
            deliveryStep(c);
            send(c);
            rawStep(c);
        }
        // The held bytes equal a whole row: its Converted Value goes instead.
        for (int r = 0; r < kConversionRows; ++r) {
            if (held != present[r]) continue;
            for (char out : converted[r]) {
                send(out);
                deliveryStep(out);
            }
            held.clear();
            position = 0;
            break;
        }
    }

    void serve() {
        if (from.InBufferCount() == 0) return;
        std::string& last = s().LastByte[p];
        last = from.Input();
        if (last.empty()) return;
        const char c = last[0];
        if (s().OperationMode == 1)
            serveHost(c);
        else
            serveTransparent(c);
    }
};

}  // namespace

void tmrTarvoline_Timer(Program& program) {
    SharedState& s = program.state;
    if (s.CounterInitDone[1] == 0) {
        s.ReceiveCount[0] = 0;
        s.ReceiveCount[1] = 0;
        s.CounterInitDone[1] = 1;
    }
    program.mscComControl1.setInputLen(1);
    program.mscComControl2.setInputLen(1);
    Direction(program, 0).serve();
    Direction(program, 1).serve();
}

bool bytesWaiting(const Program& program) {
    return program.mscComControl1.InBufferCount() > 0 || program.mscComControl2.InBufferCount() > 0;
}

}  // namespace tvl
