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

// The hexadecimal display form of code, written into `into`.
std::string_view hexDigits(unsigned char code, char (&into)[4]) {
    static const char digits[] = "0123456789ABCDEF";
    std::size_t n = 0;
    into[n++] = '<';
    if (code >= 16) into[n++] = digits[code >> 4];
    into[n++] = digits[code & 15];
    into[n++] = '>';
    return std::string_view(into, n);
}

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
    char form[4];
    return std::string(hexDigits(code, form));
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

namespace {
// How many bytes at the start of `bytes` are above 0x1F, eight at a time.
std::size_t printableRun(std::string_view bytes) {
    constexpr std::uint64_t ones = 0x0101010101010101, highs = 0x8080808080808080;
    std::size_t i = 0;
    for (; i + 8 <= bytes.size(); i += 8) {
        std::uint64_t x;
        std::memcpy(&x, bytes.data() + i, 8);
        if ((x - 0x20 * ones) & ~x & highs) break;  // some byte is below 0x20
    }
    while (i < bytes.size() && static_cast<unsigned char>(bytes[i]) > 0x1F) ++i;
    return i;
}

// Walks `bytes` appended to pane Index one at a time, as far as the change
// handler would only render each or empty the pane at its limit. `shown`
// takes each form that stays in the pane and its changes, `emptied` the
// changes of each flush that writes nothing. Returns the bytes walked.
template <class Shown, class Emptied>
std::size_t walkSettled(const Program& program, int Index, const TextBox& pane,
                        std::string_view bytes, Shown shown, Emptied emptied) {
    const SharedState& s = program.state;
    if (s.PaneSeen[Index] != 0 || s.DisplayMode > 1) return 0;
    const bool hex = s.DisplayMode == 1;
    // The watched text of the pane's side, when in force: no other text can hit.
    const std::string* watched = s.WatchArmed[Index / 2] == 1 ? &s.WatchString[Index / 2] : nullptr;
    std::size_t n = pane.Text().size();
    // Bytes that stay as they came go a stretch at a time where no single
    // character is watched.
    const bool stretches = !hex && !(watched && watched->size() == 1);
    char digits[4];
    std::size_t k = 0;
    for (; k < bytes.size(); ++k) {
        const char c = bytes[k];
        const auto code = static_cast<unsigned char>(c);
        if (n + 1 >= PaneLimit) {  // the byte as it came reaches the limit: append, empty
            if (flushWrites(program, Index)) break;
            emptied(2);
            n = 0;
            continue;
        }
        std::string_view form;
        if (!hex && code > 0x1F) {  // stays as it came, compared alone
            if (stretches && bytes.size() - k > 1) {
                const std::size_t run = printableRun(bytes.substr(k, PaneLimit - 1 - n));
                shown(bytes.substr(k, run), static_cast<unsigned>(run));
                n += run;
                k += run - 1;
                continue;
            }
            if (watched && *watched == std::string_view(&c, 1)) break;
            shown(std::string_view(&c, 1), 1);
            ++n;
            continue;
        }
        if (hex) {
            form = hexDigits(code, digits);
            if (n == 0) {  // the first in a pane is compared, after its rewrite
                if (watched && *watched == form) break;
                shown(form, 2);
                n = form.size();
                continue;
            }
        } else {
            form = mnemonic(code);  // compared with the whole pane, before the rewrite
            if (watched && watched->size() == n + form.size()) break;
        }
        if (n + form.size() >= PaneLimit) {  // the rewrite reaches the limit: append, rewrite, empty
            if (flushWrites(program, Index)) break;
            emptied(3);
            n = 0;
            continue;
        }
        shown(form, 2);
        n += form.size();
    }
    return k;
}
}  // namespace

std::size_t settledLength(const Program& program, int Index, std::string_view bytes) {
    // With no watch armed on the pane's side and no record to write, the
    // handler of a pane it is not rendering would only render and empty it.
    const SharedState& s = program.state;
    if (s.PaneSeen[Index] == 0 && s.DisplayMode <= 1 && s.WatchArmed[Index / 2] != 1 &&
        !flushWrites(program, Index))
        return bytes.size();
    return walkSettled(program, Index, *program.FrmMain->txtCommunication[Index], bytes,
                       [](std::string_view, unsigned) {}, [](unsigned) {});
}

std::size_t appendSettled(Program& program, int Index, std::string_view bytes) {
    // What the bytes add after the pane's last flush among them: the pane
    // stays under its limit, so the rest of it fits.
    char added[PaneLimit];
    std::size_t size = 0;
    unsigned changes = 0;
    bool fromEmpty = false;
    TextBox& pane = *program.FrmMain->txtCommunication[Index];
    if (bytes.size() == 1)  // one byte makes one change at most: straight to the pane
        return walkSettled(
            program, Index, pane, bytes,
            [&](std::string_view form, unsigned n) { pane.appendSettled(form, n); },
            [&](unsigned n) { pane.appendSettled({}, n, true); });
    const std::size_t taken = walkSettled(
        program, Index, pane, bytes,
        [&](std::string_view form, unsigned n) {
            if (form.size() == 1)
                added[size] = form[0];  // the common case, a byte that stays as it came
            else
                std::memcpy(added + size, form.data(), form.size());
            size += form.size();
            changes += n;
        },
        [&](unsigned n) {
            size = 0;  // what the pane held and what the run added so far go together
            changes += n;
            fromEmpty = true;
        });
    if (changes > 0)
        pane.appendSettled(std::string_view(added, size), changes, fromEmpty);
    return taken;
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
