#include "components/serial/simulated_line.h"

#include <algorithm>

#include "components/serial/line_tap.h"

namespace tvl {

class SimulatedLine::Device : public SerialDevice {
public:
    Device(SimulatedLine& line, int handle, DeviceEvents events)
        : line_(line), handle_(handle), events_(std::move(events)) {}
    ~Device() override {
        line_.shared_.inUse.erase(line_.number_);
        line_.input_.clear();  // what waited in the buffer goes with the port
        line_.device_ = nullptr;
    }

    int handle() const override { return handle_; }
    std::size_t inBufferCount() const override { return line_.input_.size(); }
    std::size_t read(char* into, std::size_t max) override {
        const std::size_t n = std::min(max, line_.input_.size());
        const auto end = line_.input_.begin() + static_cast<std::ptrdiff_t>(n);
        std::copy(line_.input_.begin(), end, into);
        line_.input_.erase(line_.input_.begin(), end);
        return n;
    }
    void write(std::string_view bytes) override {
        if (line_.unplugged_) return;
        line_.written_.append(bytes);
        if (events_.tap) events_.tap->transmitted(bytes, levels());
    }
    bool lineUp() const override { return !line_.unplugged_; }
    void setDTR(bool on) override { line_.dtr_ = on; }
    void setRTS(bool on) override { line_.rts_ = on; }
    std::uint32_t modemStatus() const override { return line_.inputs_; }
    std::string deviceName() const override { return line_.describe(line_.number_); }

    void raise(int code) {
        if (events_.tap) events_.tap->changed(levels());
        if (events_.modemChanged) events_.modemChanged(code);
    }
    void arrived(std::string_view bytes) {
        if (events_.tap) events_.tap->received(bytes, levels());
        if (events_.readable) events_.readable();
    }
    void lost(const std::string& why) {
        if (events_.lost) events_.lost(why);
    }
    void back() {
        if (events_.back) events_.back();
    }

private:
    LineLevels levels() const { return {line_.inputs_, line_.dtr_, line_.rts_}; }

    SimulatedLine& line_;
    int handle_;
    DeviceEvents events_;
};

std::unique_ptr<SerialDevice> SimulatedLine::open(int number, const LineSettings& /*line*/,
                                                  bool dtr, bool rts, DeviceEvents events) {
    if (shared_.busy.count(number) || shared_.inUse.count(number))
        throw SerialError("port " + std::to_string(number) + " is used by another program");
    if (shared_.denied.count(number)) throw SerialError(describe(number) + ": permission denied");
    if (unplugged_) throw SerialError(describe(number) + ": no such device");
    shared_.inUse.insert(number);
    number_ = number;
    dtr_ = dtr;
    rts_ = rts;
    auto device = std::make_unique<Device>(*this, shared_.nextHandle++, std::move(events));
    device_ = device.get();
    return device;
}

std::string SimulatedLine::describe(int number) const {
    return "simulated line " + std::to_string(number);
}

Presence SimulatedLine::presence(int number) const {
    if (shared_.busy.count(number)) return Presence::Busy;
    if (shared_.denied.count(number)) return Presence::NotPermitted;
    return unplugged_ ? Presence::Missing : Presence::Present;
}

int SimulatedLine::keepNumber(const PortListing& pick) {
    if (pick.keep.empty()) return pick.number;
    auto& kept = shared_.kept;
    auto found = std::find(kept.begin(), kept.end(), pick.keep);
    if (found == kept.end()) found = kept.insert(kept.end(), pick.keep);
    return 300 + static_cast<int>(found - kept.begin());
}

void SimulatedLine::feed(std::string_view bytes) {
    if (!device_ || unplugged_ || bytes.empty()) return;
    input_.insert(input_.end(), bytes.begin(), bytes.end());
    device_->arrived(bytes);
}

void SimulatedLine::setInput(std::uint32_t bit, bool on) {
    const std::uint32_t before = inputs_;
    inputs_ = on ? (inputs_ | bit) : (inputs_ & ~bit);
    if (inputs_ == before || !device_) return;
    switch (bit) {
        case MS_CTS_ON:
            device_->raise(comEvCTS);
            break;
        case MS_DSR_ON:
            device_->raise(comEvDSR);
            break;
        case MS_RLSD_ON:
            device_->raise(comEvCD);
            break;
        case MS_RING_ON:
            device_->raise(comEvRing);
            break;
        default:
            break;
    }
}

void SimulatedLine::hangUp() {
    if (unplugged_) return;
    unplugged_ = true;
    if (device_) device_->lost(describe(number_) + ": the line hung up");
}

void SimulatedLine::plug() {
    if (!unplugged_) return;
    unplugged_ = false;
    if (device_) device_->back();
}

std::string SimulatedLine::takeWritten() {
    std::string out;
    out.swap(written_);
    return out;
}

}  // namespace tvl
