#include "line/transfer_pump.h"

#include <algorithm>

#include "app/frm_main.h"
#include "app/program.h"
#include "display/traffic_panes.h"

namespace tvl {

namespace {

// Everything that differs between the two directions: p = 0 reads Port 1 and
// writes Port 2, p = 1 the reverse.
//
// A batch of ticks (batched) does the same steps with cheaper means: panes
// take bytes without their handler where it would change nothing else,
// counts reach the captions, and output the port, once at the end of the
// batch or before a handler runs. No handler reads captions or output.
// Ticks in which no handler runs go a run of bytes at a time (serveRun).
struct Direction {
    Program& program;
    SharedState& s;
    int p;
    bool batched;
    SerialPort& from;
    SerialPort& to;
    int rawIndex;
    int deliveryIndex;
    Frame& rawFrame;
    Frame& deliveryFrame;
    const std::string* present;
    const std::string* converted;
    std::string out;       // output of the batch, not yet given to the port
    char last = 0;         // the byte LastByte(p) is to hold
    // Whether the port written to has its line, asked once per byte served,
    // so that what is counted as received and what is given to the port agree:
    // bytes that the line then never takes are taken off the count when its
    // loss is told.
    bool up = true;
    bool counted[2] = {};  // raw, delivery: counts not yet on their captions
    Direction* other = nullptr;

    Direction(Program& pr, int dir, bool batch)
        : program(pr),
          s(pr.state),
          p(dir),
          batched(batch),
          from(dir == 0 ? pr.mscComControl1 : pr.mscComControl2),
          to(dir == 0 ? pr.mscComControl2 : pr.mscComControl1),
          rawIndex(dir == 0 ? 0 : 2),
          deliveryIndex(dir == 0 ? 3 : 1),
          rawFrame(*pr.FrmMain->fraTxRx[rawIndex]),
          deliveryFrame(*pr.FrmMain->fraTxRx[deliveryIndex]),
          present(dir == 0 ? pr.state.PresentValue1 : pr.state.PresentValue2),
          converted(dir == 0 ? pr.state.ConvertedValue1 : pr.state.ConvertedValue2) {}

    // The captions and LastByte as the ticks so far left them.
    void settle() {
        if (counted[0]) setCaption(rawFrame, "Transmit: ", s.TransmitCount[p]);
        if (counted[1]) setCaption(deliveryFrame, "Receive:  ", s.ReceiveCount[p]);
        counted[0] = counted[1] = false;
    }
    void finish() {
        settle();
        to.Output(out);
        out.clear();
    }

    void append(int index, char c) {
        if (batched) {
            if (appendSettled(program, index, std::string_view(&c, 1)) == 1) return;
            settle();  // the handler runs: what it may show is up to date
            other->settle();
        }
        program.FrmMain->txtCommunication[index]->append(c);
    }
    void countRaw() {
        ++s.TransmitCount[p];
        if (batched)
            counted[0] = true;
        else
            setCaption(rawFrame, "Transmit: ", s.TransmitCount[p]);
    }
    void countDelivery() {
        ++s.ReceiveCount[p];
        if (batched)
            counted[1] = true;
        else
            setCaption(deliveryFrame, "Receive:  ", s.ReceiveCount[p]);
    }
    void rawStep(char c) {
        countRaw();
        append(rawIndex, c);
    }
    // Host mode: a byte for a port whose line is lost, or that is not open,
    // reaches no device, so it is neither shown nor counted as received.
    void deliveryStep(char c) {
        if (!up) return;
        countDelivery();
        append(deliveryIndex, c);
    }
    void send(char c) {
        if (!up) return;
        if (batched)
            out.push_back(c);
        else
            to.Output(std::string_view(&c, 1));
    }

    // The column scan at position n: does any row have c there?
    bool scan(std::size_t n, char c) const {
        for (int r = 0; r < kConversionRows; ++r)
            if (present[r].size() > n && present[r][n] == c) return true;
        return false;
    }

    void serveTransparent(char c) {
        append(rawIndex, c);
        append(deliveryIndex, c);
        countDelivery();
        countRaw();
    }

    void serveHost(char c) {
        if (s.MaxPresentLength[p] == 0) {
            deliveryStep(c);
            send(c);
            rawStep(c);
            return;
        }
        convert(c);
    }

    void convert(char c);

    void serve(char c) {
        last = c;
        if (s.OperationMode == 1) {
            up = to.LineUp();
            serveHost(c);
        } else {
            serveTransparent(c);
        }
    }

    // How many of the bytes of the next ticks, up to `most`, this direction
    // serves without running a handler; `most` when it serves them all so.
    // The conversion goes a byte at a time.
    std::size_t settled(std::string_view next, std::size_t most) {
        next = next.substr(0, most);
        if (next.empty()) return most;
        const bool host = s.OperationMode == 1;
        if (host && s.MaxPresentLength[p] != 0) return 0;
        up = !host || to.LineUp();
        std::size_t n = settledLength(program, rawIndex, next);
        if (n > 0 && up) n = std::min(n, settledLength(program, deliveryIndex, next.substr(0, n)));
        return n == next.size() ? most : n;
    }

    // The ticks' steps for bytes that settled() allowed: the same panes,
    // counts and output, a run at a time.
    void serveRun(std::string_view bytes) {
        if (bytes.empty()) return;
        last = bytes.back();
        const auto n = static_cast<std::int64_t>(bytes.size());
        if (up) {
            s.ReceiveCount[p] += n;
            counted[1] = true;
            appendSettled(program, deliveryIndex, bytes);
            if (s.OperationMode == 1) out.append(bytes);
        }
        s.TransmitCount[p] += n;
        counted[0] = true;
        appendSettled(program, rawIndex, bytes);
    }
};

void Direction::convert(char c) {
    auto& position = s.MatchPosition[p];
    auto& held = s.MatchBuffer[p];
    auto& failed = s.MatchFailed[p];

    // Does c continue a row at the held position?
    if (position >= s.MaxPresentLength[p] || !scan(position, c)) {
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
        std::string released;
        released.swap(held);  // empty from here: the held bytes go out
        for (char h : released) {
            send(h);
            deliveryStep(h);
        }
        rawStep(c);
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

// Steps 1 and 2 of every tick.
void beginTick(Program& program) {
    SharedState& s = program.state;
    if (s.CounterInitDone[1] == 0) {
        s.ReceiveCount[0] = 0;
        s.ReceiveCount[1] = 0;
        s.CounterInitDone[1] = 1;
    }
    program.mscComControl1.setInputLen(1);
    program.mscComControl2.setInputLen(1);
}

}  // namespace

void tmrTarvoline_Timer(Program& program) {
    beginTick(program);
    for (int p = 0; p < 2; ++p) {
        Direction d(program, p, false);
        if (d.from.InBufferCount() == 0) continue;
        std::string& last = program.state.LastByte[p];
        last = d.from.Input();
        if (!last.empty()) d.serve(last[0]);
    }
}

int tmrTarvoline_Ticks(Program& program, int most) {
    beginTick(program);
    Direction d[2] = {{program, 0, true}, {program, 1, true}};
    d[0].other = &d[1];
    d[1].other = &d[0];
    // The input of the ticks to come, a copy: a handler may run an event loop.
    const std::string in[2] = {std::string(d[0].from.peek(most)),
                               std::string(d[1].from.peek(most))};
    const Timer& timer = *program.FrmMain->tmrTarvoline;
    const std::size_t ticks = std::max({in[0].size(), in[1].size(), std::size_t{1}});
    std::size_t k = 0;
    const auto next = [&](int p) { return std::string_view(in[p]).substr(std::min(k, in[p].size())); };
    while (k < ticks) {
        // Ticks in which neither direction runs a handler touch what only
        // their own direction touches: one direction's run, then the other's.
        std::size_t run = d[0].settled(next(0), ticks - k);
        if (run > 0) run = d[1].settled(next(1), run);
        if (run > 0) {
            for (int p = 0; p < 2; ++p) d[p].serveRun(next(p).substr(0, run));
            k += run;
            continue;
        }
        for (int p = 0; p < 2; ++p)
            if (k < in[p].size()) d[p].serve(in[p][k]);
        ++k;
        if (!timer.Enabled) break;
    }
    for (int p = 0; p < 2; ++p) {
        const std::size_t taken = std::min(k, in[p].size());
        if (taken == 0) continue;
        d[p].from.skip(taken);
        program.state.LastByte[p].assign(1, d[p].last);
        d[p].finish();
    }
    return static_cast<int>(k);
}

bool bytesWaiting(const Program& program) {
    return program.mscComControl1.InBufferCount() > 0 || program.mscComControl2.InBufferCount() > 0;
}

bool tickHasWork(const Program& program) {
    return bytesWaiting(program) || program.state.CounterInitDone[1] == 0 ||
           program.mscComControl1.InputLen() != 1 || program.mscComControl2.InputLen() != 1;
}

}  // namespace tvl
