// The line format on a Linux terminal: LineSettings to termios2 flags and back.
//
//   TermiosFlags        the termios2 fields we set, free of kernel headers
//   encodeLine          raw mode plus speed, data bits, parity, stop bits, handshaking
//   decodeLine          what a read-back set of flags means in LineSettings terms
//   lineRefusal         why a read-back line is not the wanted one ("" when it is)
//   applyLine           encode, TCSETS2, TCGETS2, refuse what the driver ignored
//   saveLine, restoreLine   the whole termios2 of a line as found, put back at close
//   isPseudoTerminal    the fd is either end of a pseudo-terminal
//   modemBitsOf         TIOCM_* input bits to MS_* bits
//   modemChanges        the CommEvent codes between two MS_* words, in CTS, DSR, CD, RI order
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "components/serial/serial_port.h"

namespace tvl {

struct TermiosFlags {
    std::uint32_t iflag = 0;
    std::uint32_t oflag = 0;
    std::uint32_t cflag = 0;
    std::uint32_t lflag = 0;
    std::uint8_t vmin = 0;
    std::uint8_t vtime = 0;
    std::uint32_t ispeed = 0;
    std::uint32_t ospeed = 0;
};

// Raw mode (no echo, no signals, no line editing, no byte translation), the
// receiver on, modem control lines honoured by open (CLOCAL) and the line format.
// Flags of `current` that the format does not concern are kept.
TermiosFlags encodeLine(const LineSettings& line, TermiosFlags current);

LineSettings decodeLine(const TermiosFlags& flags);

// A pseudo-terminal keeps CS8 without parity whatever it is given, so only its
// speed is held to the wanted line. Speeds within 2% pass: some drivers report
// the rate their divisor really gives, and a UART tolerates that much.
std::string lineRefusal(const LineSettings& wanted, const LineSettings& readBack,
                        bool pseudoTerminal);

// Throws SerialError naming `name` when the fd is no terminal or refuses the line.
void applyLine(int fd, const LineSettings& line, bool pseudoTerminal, const std::string& name);

// A line's settings as found, opaque here: restoreLine puts them back.
struct FoundLine {
    alignas(8) unsigned char bytes[64] = {};
    bool saved = false;
};
FoundLine saveLine(int fd);
void restoreLine(int fd, const FoundLine& found);  // does nothing when nothing was saved

bool isPseudoTerminal(int fd);

std::uint32_t modemBitsOf(int tiocm);

std::vector<int> modemChanges(std::uint32_t before, std::uint32_t after);

}  // namespace tvl
