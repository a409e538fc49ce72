#include "components/serial/serial_port.h"

#include "components/serial/line_tap.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace tvl {

namespace {
// Open ports by handle, for GetCommModemStatus and CloseHandle.
std::map<std::int32_t, SerialPort*>& openPorts() {
    static std::map<std::int32_t, SerialPort*> ports;
    return ports;
}
}  // namespace

SerialPort::SerialPort(SerialDeviceFactory& factory) : factory_(factory) {}

SerialPort::~SerialPort() { close(); }

void SerialPort::setCommPort(int number) {
    if (PortOpen()) throw SerialError("the port number cannot change while the port is open");
    if (number < 1) throw SerialError("port number " + std::to_string(number) + " is not valid");
    commPort_ = number;
}

void SerialPort::setSettings(const std::string& settings) {
    parseLineSettings(settings, handshaking_);
    settings_ = settings;
}

void SerialPort::setHandshaking(int value) {
    if (value < comNone || value > comRTSXOnXOff)
        throw SerialError("handshaking " + std::to_string(value) + " is not valid");
    handshaking_ = value;
}

void SerialPort::setPortOpen(bool open) {
    if (!open) {
        close();
        return;
    }
    if (PortOpen()) throw SerialError("the port is already open");
    const LineSettings line = parseLineSettings(settings_, handshaking_);
    DeviceEvents events;
    events.modemChanged = [this](int code) {
        commEvent_ = code;
        if (OnComm) OnComm();
    };
    events.readable = [this] {
        if (OnReadable) OnReadable();
    };
    events.lost = [this](const std::string& why) {
        lost_ = everLost_ = true;
        lossReason_ = why;
        if (OnLineLost) OnLineLost();
    };
    events.back = [this] {
        lost_ = false;
        if (OnLineBack) OnLineBack();
    };
    if (trace_) tap_ = trace_->tap(tracePort_, factory_.describe(commPort_), line);
    events.tap = tap_;
    device_ = factory_.open(commPort_, line, dtr_, rts_, std::move(events));
    lost_ = everLost_ = false;
    lossReason_.clear();
    openPorts()[device_->handle()] = this;
}

void SerialPort::close() {
    taken_.clear();
    takenHead_ = 0;
    lost_ = everLost_ = false;
    if (!device_) return;
    openPorts().erase(device_->handle());
    device_.reset();
    tap_.reset();
}

int SerialPort::CommID() const {
    if (!device_) throw SerialError("the port is not open");
    return device_->handle();
}

int SerialPort::InBufferCount() const {
    return device_ ? static_cast<int>(taken_.size() - takenHead_ + device_->inBufferCount()) : 0;
}

std::string_view SerialPort::peek(std::size_t max) {
    if (!device_) return {};
    std::size_t held = taken_.size() - takenHead_;
    if (held < max) {
        taken_.erase(0, takenHead_);
        takenHead_ = 0;
        const std::size_t waiting = device_->inBufferCount();
        taken_.resize(held + waiting);
        held += device_->read(taken_.data() + held, waiting);
        taken_.resize(held);
    }
    return std::string_view(taken_).substr(takenHead_, std::min(held, max));
}

void SerialPort::skip(std::size_t n) { takenHead_ += std::min(n, taken_.size() - takenHead_); }

std::string SerialPort::Input() {
    const std::string_view bytes =
        peek(inputLen_ > 0 ? static_cast<std::size_t>(inputLen_) : SIZE_MAX);
    std::string taken(bytes);
    skip(taken.size());
    return taken;
}

void SerialPort::Output(std::string_view bytes) {
    if (device_) device_->write(bytes);
}

void SerialPort::setDTREnable(bool on) {
    const bool before = dtr_;
    dtr_ = on;
    if (device_) device_->setDTR(on);
    traceLevels(before, rts_);
}

void SerialPort::setRTSEnable(bool on) {
    const bool before = rts_;
    rts_ = on;
    if (device_) device_->setRTS(on);
    traceLevels(dtr_, before);
}

// A switch that moved an open port's line, once the device took it.
void SerialPort::traceLevels(bool dtrBefore, bool rtsBefore) {
    if (tap_ && device_ && (dtrBefore != dtr_ || rtsBefore != rts_))
        tap_->changed({device_->modemStatus(), dtr_, rts_});
}

std::uint32_t SerialPort::modemStatus() const { return device_ ? device_->modemStatus() : 0; }

bool GetCommModemStatus(std::int32_t handle, std::uint32_t& status) {
    status = 0;
    auto found = openPorts().find(handle);
    if (found == openPorts().end()) return false;
    status = found->second->modemStatus();
    return true;
}

bool CloseHandle(std::int32_t handle) {
    auto found = openPorts().find(handle);
    if (found == openPorts().end()) return false;
    found->second->close();
    return true;
}

}  // namespace tvl
