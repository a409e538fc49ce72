// The conversion dialog "Specify Action": per port, five rows of a Present
// Value and its Converted Value, and four signal rows.
#pragma once

#include <array>
#include <cstddef>

#include "platform/form.h"
#include "state/shared_state.h"

namespace tvl {

// The longest Present or Converted Value a row may hold: the match position
// and the longest-row limit of the pump are one byte wide.
inline constexpr std::size_t MaxRowValueLength = 255;

// The txtValue boxes of row r (from 0) of port block b (0 Port 1, 1 Port 2).
constexpr int presentBox(int b, int r) { return 2 * kConversionRows * b + r; }
constexpr int convertedBox(int b, int r) { return 2 * kConversionRows * b + kConversionRows + r; }
inline constexpr int kValueBoxes = 4 * kConversionRows;

class FrmHostAction : public Form {
public:
    FrmHostAction();

    // Index 0 is the Port 1 block, 1 the Port 2 block.
    std::array<Frame*, 2> fraDataConverter;
    std::array<Label*, 2> lblHeading;
    std::array<Label*, 8> lblTitle;
    // Port 1: 0..4 Present, 5..9 Converted; Port 2: 10..14 Present, 15..19 Converted.
    std::array<TextBox*, kValueBoxes> txtValue;
    // Port 1 rows top down 0..3, Port 2 rows top down 7..4.
    std::array<Label*, 8> lblSignalValue;
    std::array<ComboBox*, 8> cboUARTSignal;
    Label* lblRowRules;
    CommandButton* cmdOk;
    CommandButton* cmdCancel;
};

}  // namespace tvl
