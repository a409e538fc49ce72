// The one record of shared state: every piece of state that outlives one event
// handler. Created zeroed with the program, touched only on the user-interface
// thread, never stored. In every pair index 0 is Port 1 and index 1 is Port 2.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tvl {

// The conversion table of each port holds this many rows.
inline constexpr int kConversionRows = 5;

struct SharedState {
    // Settings, written only by Setup OK.
    std::uint8_t OperationMode = 0;  // 0 Transparent, 1 Host
    std::uint8_t MonitorChoice = 0;  // 0 Com 1, 1 Com 2, 2 Both
    std::uint8_t SavingMode = 0;     // 0 Not Save, 1 MDB, 2 XLS, 3 TVL
    std::uint8_t DisplayMode = 0;    // 0 ASCII, 1 Hexadecimal
    std::string CommSettings[4];     // speed, parity letter, data bits, stop bits
    std::int32_t CommHandle[2] = {0, 0};

    // Traffic counters, shown in the fraTxRx captions.
    std::int64_t TransmitCount[2] = {0, 0};
    std::int64_t ReceiveCount[2] = {0, 0};
    std::uint8_t CounterInitDone[2] = {0, 0};  // (0) transmit, (1) receive counters zeroed

    // Conversion tables.
    std::string PresentValue1[kConversionRows];
    std::string ConvertedValue1[kConversionRows];
    std::string PresentValue2[kConversionRows];
    std::string ConvertedValue2[kConversionRows];
    std::uint8_t MaxPresentLength[2] = {0, 0};

    // Watch data.
    std::string WatchString[2];
    std::uint8_t WatchArmed[2] = {0, 0};

    // Pump state.
    std::string LastByte[2];
    std::uint8_t MatchPosition[2] = {0, 0};
    std::string MatchBuffer[2];
    std::uint8_t MatchFailed[2] = {0, 0};

    // Run state.
    std::uint8_t RunState = 0;  // 0 stopped, 1 running

    // Pane rendering: 1 while a rendering rewrite of that pane is in progress.
    std::uint8_t PaneSeen[4] = {0, 0, 0, 0};

    // Review of a capture.
    double RecordCount = 0;
    std::int32_t RecordIndex = 0;
    std::vector<std::string> RecordPort1;
    std::vector<std::string> RecordPort2;
    // When each entry was written (microseconds since 1970-01-01 UTC), if known.
    std::vector<std::optional<std::int64_t>> RecordWritten;
    std::string ReviewHeader1;
    std::string ReviewHeader2;
};

}  // namespace tvl
