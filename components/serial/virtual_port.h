// Virtual ports: a pseudo-terminal whose master the program uses as its line,
// and whose other end is published as a symbolic link at a stable path
// (<folder>/comN) for any other program to open.
//
// The port holds the other end open itself, so the master stays quiet between
// clients; that end is raw, so bytes pass unchanged both ways. A lock file
// beside the link (<folder>/comN.lock, flock) keeps a number to one program
// instance. The link is replaced when stale and removed when the port closes;
// the lock file stays (it holds no state).
#pragma once

#include <memory>
#include <string>

#include "components/serial/posix_device.h"
#include "components/serial/serial_port.h"

namespace tvl {

// $XDG_RUNTIME_DIR/tarvoline when XDG_RUNTIME_DIR names a writable folder,
// else /tmp/tarvoline-<uid>. Nothing is created here.
std::string defaultVirtualPortFolder();

// <folder>/com<number>
std::string virtualPortPath(const std::string& folder, int number);

class VirtualPort : public SerialDevice {
public:
    // Creates the folder (0700) when missing. Throws SerialError when the number
    // is held by another instance or the link cannot be published.
    static std::unique_ptr<VirtualPort> open(int number, const std::string& folder,
                                             const LineSettings& line, bool dtr, bool rts,
                                             DeviceEvents events, Poster poster);
    ~VirtualPort() override;
    VirtualPort(const VirtualPort&) = delete;
    VirtualPort& operator=(const VirtualPort&) = delete;

    int handle() const override { return master_->handle(); }
    std::size_t inBufferCount() const override { return master_->inBufferCount(); }
    std::size_t read(char* into, std::size_t max) override { return master_->read(into, max); }
    void write(std::string_view bytes) override { master_->write(bytes); }
    void setDTR(bool on) override { master_->setDTR(on); }
    void setRTS(bool on) override { master_->setRTS(on); }
    std::uint32_t modemStatus() const override { return master_->modemStatus(); }
    std::string deviceName() const override { return master_->deviceName(); }
    bool lineUp() const override { return master_->lineUp(); }
    std::uint64_t takeUndelivered() override { return master_->takeUndelivered(); }

    const std::string& link() const { return link_; }          // <folder>/comN
    const std::string& terminal() const { return terminal_; }  // /dev/pts/N
    PosixDevice& line() { return *master_; }

private:
    VirtualPort() = default;

    int lock_ = -1;
    int other_ = -1;  // our own fd of the published end
    std::string link_;
    std::string terminal_;
    bool published_ = false;
    std::unique_ptr<PosixDevice> master_;
};

}  // namespace tvl
