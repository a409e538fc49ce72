#include "display/traffic_panes.h"

#include <charconv>
#include <cstring>

#include "app/frm_main.h"
#include "app/program.h"
#include "capture/capture_writer.h"
#include "convert/watch_data.h"

namespace tvl {

namespace {
constexpr std::string_view mnemonics[32] = {
    "<null>", "<SOH>", "<STX>", "<ETX>", "<EOT>", "<ENQ>", "<ACK>", "<bell>",
    "<BS>",   "<tab>", "<LF>",  "<VT>",  "<FF>",  "<CR>",  "<SO>",  "<SI>",
    "<DLE>",  "<DC1>", "<DC2>", "<DC3>", "<DC4>", "<NAK>", "<SYN>", "<ETB>",
    "<CAN>",  "<EM>",  "<SUB>", "<ESC>", "<FS>",  "<GS>",  "<RS>",  "<US>"};

void renderAscii(Program& program, TextBox& pane, int i) {
    std::uint8_t& seen = program.state.PaneSeen[i];
    const std::string& text = pane.Text();
    if (text.empty()) return;
    if (seen != 0) {  // the echo of our own rewrite
        seen = 0;
        return;
    }
    seen = 1;
    const auto c = static_cast<unsigned char>(text.back());
    if (c > 0x1F) {
        const char last = text.back();  // the comparison may run Stop, which empties the pane
        watchComparison(program, i, std::string_view(&last, 1));
        seen = 0;
        return;
    }
    if (watchArmedFor(program, i)) {
        std::string rendered = text;
        rendered.pop_back();
        rendered.append(mnemonic(c));
        const auto before = pane.revision;
        watchComparison(program, i, rendered);
        // A hit ran Stop, which emptied the pane: the rendered text is written back.
        if (pane.revision != before) {
            pane.setText(std::move(rendered));
            return;
        }
    }
    pane.replaceEnd(1, mnemonic(c));
}

void renderHex(Program& program, TextBox& pane, int i) {
    std::uint8_t& seen = program.state.PaneSeen[i];
    const std::string& text = pane.Text();
    if (text.empty()) return;
    const auto c = static_cast<unsigned char>(text.back());
    if (text.size() == 1) {  // first in the pane: compared after the rewrite
        seen = 1;
        const std::string form = hexForm(c);
        pane.setText(form);
        watchComparison(program, i, form);
        return;
    }
    if (seen != 0) {
        seen = 0;
        return;
    }
    seen = 1;
    pane.replaceEnd(1, hexForm(c));
}
}  // namespace

std::string_view mnemonic(unsigned char code) { return code < 32 ? mnemonics[code] : ""; }

std::string hexForm(unsigned char code) {
    static const char digits[] = "0123456789ABCDEF";
    std::string form = "<";
    if (code >= 16) form.push_back(digits[code >> 4]);
    form.push_back(digits[code & 15]);
    form.push_back('>');
    return form;
}

void setCaption(Frame& frame, std::string_view text, std::int64_t count) {
    char digits[24];
    const auto end = std::to_chars(digits, digits + sizeof digits, count).ptr;
    const auto n = static_cast<std::size_t>(end - digits);
    std::string& caption = frame.Caption;
    // Twice a byte per port: where only the count moved, write just its digits.
    if (caption.size() == text.size() + n && caption.compare(0, text.size(), text) == 0) {
        std::memcpy(caption.data() + text.size(), digits, n);
        return;
    }
    caption.assign(text);
    caption.append(digits, end);
}

bool appendSettled(Program& program, int Index, char c) {
    TextBox& pane = *program.FrmMain->txtCommunication[Index];
    const SharedState& s = program.state;
    const std::size_t n = pane.Text().size();
    if (s.PaneSeen[Index] != 0 || n + 1 >= PaneLimit) return false;
    const auto code = static_cast<unsigned char>(c);
    // The watched text of the pane's side, when in force: no other text can hit.
    const std::string* watched = s.WatchArmed[Index / 2] == 1 ? &s.WatchString[Index / 2] : nullptr;
    if (s.DisplayMode == 0 && code > 0x1F) {  // stays as it came, compared alone
        if (watched && *watched == std::string_view(&c, 1)) return false;
        pane.appendSettled(std::string_view(&c, 1), 1);
        return true;
    }
    if (s.DisplayMode == 0) {  // its mnemonic, the whole pane compared
        const std::string_view form = mnemonic(code);
        const std::size_t after = n + form.size();
        if (after >= PaneLimit || (watched && watched->size() == after)) return false;
        pane.appendSettled(form, 2);
        return true;
    }
    if (s.DisplayMode != 1 || n == 0) return false;  // the first in a pane is compared
    const std::string form = hexForm(code);
    if (n + form.size() >= PaneLimit) return false;
    pane.appendSettled(form, 2);
    return true;
}

void txtCommunication_Change(Program& program, int Index) {
    TextBox& pane = *program.FrmMain->txtCommunication[Index];
    if (pane.Text().size() >= PaneLimit) {
        WriteFlush(program, Index);
        pane.setText("");
        program.state.PaneSeen[Index] = 0;
        return;
    }
    if (program.state.DisplayMode == 0)
        renderAscii(program, pane, Index);
    else if (program.state.DisplayMode == 1)
        renderHex(program, pane, Index);
}

}  // namespace tvl
