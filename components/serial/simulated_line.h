// The simulated backend: plays the device side of a port in tests and
// scenarios. One SimulatedLine stands behind one SerialPort; SimulatedLines
// holds what both share (numbers another program holds, numbers in use).
#pragma once

#include <cstdint>
#include <deque>
#include <set>
#include <string>
#include <vector>

#include "components/serial/serial_port.h"

namespace tvl {

struct SimulatedLines {
    std::set<int> busy;    // numbers that another program holds
    std::set<int> denied;  // numbers this user may not open
    std::set<int> inUse;   // numbers opened through a SimulatedLine
    int nextHandle = 1000;
    std::vector<PortListing> listed;  // Setup's device list
    std::vector<std::string> kept;    // stable names a pick gave a number: 300, 301, ...
};

class SimulatedLine : public SerialDeviceFactory {
public:
    explicit SimulatedLine(SimulatedLines& shared) : shared_(shared) {}

    std::unique_ptr<SerialDevice> open(int number, const LineSettings& line, bool dtr, bool rts,
                                       DeviceEvents events) override;
    std::string describe(int number) const override;
    Presence presence(int number) const override;
    std::vector<PortListing> listing() const override { return shared_.listed; }
    int keepNumber(const PortListing& pick) override;

    // The device sends bytes; they are lost while no port is open on the line.
    void feed(std::string_view bytes);
    // The device sets an input line (MS_* bit); an open port raises OnComm on a change.
    void setInput(std::uint32_t bit, bool on);
    // What the program wrote since the last call.
    std::string takeWritten();
    // The device goes away as an unplugged adapter does: an open port hears
    // of it, writes go nowhere, bytes fed are lost, and no number opens on
    // this line until plug().
    void hangUp();
    // The device is back at the same place, with no byte waiting.
    void plug();

    bool isOpen() const { return device_ != nullptr; }
    bool dtr() const { return dtr_; }
    bool rts() const { return rts_; }
    std::uint32_t inputs() const { return inputs_; }

private:
    class Device;
    friend class Device;

    SimulatedLines& shared_;
    Device* device_ = nullptr;
    std::deque<char> input_;
    std::string written_;
    std::uint32_t inputs_ = 0;
    bool dtr_ = false;
    bool rts_ = false;
    int number_ = 0;
    bool unplugged_ = false;
};

}  // namespace tvl
