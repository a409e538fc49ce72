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

// How many of `bytes`, appended to pane Index one at a time, would have the
// change handler do no more than render them and empty the pane at its limit
// (no watch that could hit, no record to write): those appendSettled may
// take without running it.
std::size_t settledLength(const Program& program, int Index, std::string_view bytes);

// Appends as many of `bytes` as settledLength allows, with the outcome of
// appending each and running the change handler, without running it; how
// many it appended.
std::size_t appendSettled(Program& program, int Index, std::string_view bytes);

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
