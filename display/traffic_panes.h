// The four traffic panes: after every change of a pane its newest character
// takes its display form (ASCII with mnemonics, or hexadecimal bracket
// groups), the watch comparison runs, and at 200 characters the pane's text
// goes to the capture writer and the pane empties.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tvl {

class Program;
class Frame;

inline constexpr std::size_t PaneLimit = 200;

void txtCommunication_Change(Program& program, int Index);

// Appends c to pane Index with the outcome of appending it and running the
// change handler, in the common cases where the handler would only render
// it (no limit reached, no watch that could hit), without running it. False,
// with nothing done, in the other cases: the caller then appends as usual.
bool appendSettled(Program& program, int Index, char c);

// The mnemonic of a byte 0x00..0x1F: "<null>", "<SOH>" ... "<US>".
std::string_view mnemonic(unsigned char code);
// The hexadecimal display form: "<0>", "<A>", "<41>", "<FF>".
std::string hexForm(unsigned char code);

// Sets a counter caption: the fixed text followed directly by the count.
void setCaption(Frame& frame, std::string_view text, std::int64_t count);

// Keyboard transmit: a key typed into a Transmit pane in Host mode goes out
// of the port on the other side, counted and shown as if its device sent it.
void txtCommunication_KeyPress(Program& program, int Index, int& KeyAscii);

}  // namespace tvl
