// Port behaviour on every backend: the simulated line, a device node (a
// pseudo-terminal reached through the number rule) and a virtual port.
#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <optional>

#include "components/serial/device_rule.h"
#include "components/serial/simulated_line.h"
#include "components/serial/virtual_port.h"
#include "tests/serial/line_fixtures.h"

namespace tvl::test {
namespace {

class Backend {
public:
    virtual ~Backend() = default;
    virtual SerialDeviceFactory& factory() = 0;
    // The same machine seen by a second program instance.
    virtual std::unique_ptr<SerialDeviceFactory> anotherInstance() = 0;
    virtual int number() const = 0;
    // Called once the port is open: the far end connects.
    virtual void attach() {}
    virtual void send(std::string_view bytes) = 0;
    virtual std::string receive(std::size_t count) = 0;
    // The DTR level the far end sees, where it can see one.
    virtual std::optional<bool> farDTR() const { return std::nullopt; }

    HeadlessLoop ui;
};

class SimulatedBackend : public Backend {
public:
    SerialDeviceFactory& factory() override { return line_; }
    std::unique_ptr<SerialDeviceFactory> anotherInstance() override {
        return std::make_unique<SimulatedLine>(shared_);
    }
    int number() const override { return 2; }
    void send(std::string_view bytes) override { line_.feed(bytes); }
    std::string receive(std::size_t) override { return line_.takeWritten(); }
    std::optional<bool> farDTR() const override { return line_.dtr(); }

private:
    SimulatedLines shared_;
    SimulatedLine line_{shared_};
};

// COM5 is <folder>/ttyS4, here a link to the slave end of a pseudo-terminal.
class DeviceNodeBackend : public Backend {
public:
    DeviceNodeBackend() { symlink(pty_.terminal().c_str(), (folder_ / "ttyS4").c_str()); }
    SerialDeviceFactory& factory() override { return devices_; }
    std::unique_ptr<SerialDeviceFactory> anotherInstance() override {
        return std::make_unique<SystemDevices>(ui.poster(), folder_.path(), folder_ / "virtual");
    }
    int number() const override { return 5; }
    void send(std::string_view bytes) override {
        ASSERT_EQ(writeAll(pty_.master(), bytes), bytes.size());
    }
    std::string receive(std::size_t count) override { return readSome(pty_.master(), count); }

private:
    TempFolder folder_;
    PtyPair pty_;
    SystemDevices devices_{ui.poster(), folder_.path(), folder_ / "virtual"};
};

class VirtualPortBackend : public Backend {
public:
    ~VirtualPortBackend() override { detach(); }
    SerialDeviceFactory& factory() override { return devices_; }
    std::unique_ptr<SerialDeviceFactory> anotherInstance() override {
        return std::make_unique<SystemDevices>(ui.poster(), folder_ / "dev", folder_.path());
    }
    int number() const override { return 907; }
    void attach() override {
        detach();
        client_ = ::open(virtualPortPath(folder_.path(), 907).c_str(),
                         O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        ASSERT_GE(client_, 0) << "the published link does not open";
    }
    void send(std::string_view bytes) override {
        ASSERT_EQ(writeAll(client_, bytes), bytes.size());
    }
    std::string receive(std::size_t count) override { return readSome(client_, count); }

private:
    void detach() {
        if (client_ >= 0) ::close(client_);
        client_ = -1;
    }
    TempFolder folder_;
    SystemDevices devices_{ui.poster(), folder_ / "dev", folder_.path()};
    int client_ = -1;
};

template <class B>
class PortContract : public ::testing::Test {
protected:
    void open(SerialPort& port) {
        port.setCommPort(backend.number());
        port.setPortOpen(true);
        backend.attach();
    }
    std::string arrive(SerialPort& port, std::size_t count) {
        backend.ui.runUntil([&] { return port.InBufferCount() >= static_cast<int>(count); });
        return port.Input();
    }

    B backend;
};

using Backends = ::testing::Types<SimulatedBackend, DeviceNodeBackend, VirtualPortBackend>;
TYPED_TEST_SUITE(PortContract, Backends);

TYPED_TEST(PortContract, BytesPassBothWaysUnchangedAndInOrderAndReadableFollowsThem) {
    SerialPort port(this->backend.factory());
    int waitingWhenRaised = -1;
    port.OnReadable = [&] {
        if (waitingWhenRaised < 0) waitingWhenRaised = port.InBufferCount();
    };
    this->open(port);

    const std::string in = allBytes() + "\r\n\r" + std::string(3, '\0');
    this->backend.send(in);
    ASSERT_TRUE(this->backend.ui.runUntil([&] { return waitingWhenRaised >= 0; }));
    EXPECT_GT(waitingWhenRaised, 0) << "readable was raised before the bytes waited";
    EXPECT_EQ(this->arrive(port, in.size()), in);
    EXPECT_EQ(port.InBufferCount(), 0);

    port.Output("first ");
    port.Output(std::string("\0\x11\x13\r\n", 5));
    port.Output(allBytes());
    const std::string out = "first " + std::string("\0\x11\x13\r\n", 5) + allBytes();
    EXPECT_EQ(this->backend.receive(out.size()), out);
}

TYPED_TEST(PortContract, ClosedPortHoldsLineLevelsAndDropsOutput) {
    SerialPort port(this->backend.factory());
    port.setCommPort(this->backend.number());
    EXPECT_EQ(port.InBufferCount(), 0);
    EXPECT_NO_THROW(port.Output("dropped"));  // a tick has no error path
    EXPECT_THROW(port.CommID(), SerialError);
    EXPECT_NO_THROW(port.setDTREnable(true));
    EXPECT_NO_THROW(port.setRTSEnable(true));
    EXPECT_TRUE(port.DTREnable());
    EXPECT_TRUE(port.RTSEnable());

    this->open(port);
    port.Output("sent");  // what was dropped while closed never reaches the line
    EXPECT_EQ(this->backend.receive(4), "sent");
    EXPECT_NE(this->backend.farDTR(), std::optional(false));  // where the far end sees it
    EXPECT_NO_THROW(port.setDTREnable(false));
    EXPECT_NE(this->backend.farDTR(), std::optional(true));

    this->backend.send("left behind");
    this->backend.ui.runUntil([&] { return port.InBufferCount() == 11; });
    port.setPortOpen(false);
    EXPECT_EQ(port.InBufferCount(), 0);
    EXPECT_EQ(port.Input(), "");
    this->open(port);  // a new run starts with nothing of the last one
    EXPECT_EQ(port.InBufferCount(), 0);
    EXPECT_EQ(port.Input(), "");
}

TYPED_TEST(PortContract, OneNumberOpensInOneProgramAtATime) {
    SerialPort first(this->backend.factory());
    this->open(first);

    auto other = this->backend.anotherInstance();
    SerialPort second(*other);
    second.setCommPort(this->backend.number());
    try {
        second.setPortOpen(true);
        FAIL() << "a second program opened a port that is in use";
    } catch (const SerialError& refusal) {
        EXPECT_NE(std::string(refusal.what()).find("another program"), std::string::npos)
            << refusal.what();
    }
    EXPECT_FALSE(second.PortOpen());
    EXPECT_THROW(first.setPortOpen(true), SerialError);  // already open

    first.setPortOpen(false);
    EXPECT_NO_THROW(second.setPortOpen(true));
}

TYPED_TEST(PortContract, HandlesReachOnlyOpenPortsAndAPortReopens) {
    SerialPort port(this->backend.factory());
    this->open(port);
    const int handle = port.CommID();

    std::uint32_t status = 0xdead;
    EXPECT_TRUE(GetCommModemStatus(handle, status));
    EXPECT_EQ(status, port.modemStatus());

    EXPECT_TRUE(CloseHandle(handle));
    EXPECT_FALSE(port.PortOpen());
    status = 0xdead;
    EXPECT_FALSE(GetCommModemStatus(handle, status));
    EXPECT_EQ(status, 0u);
    EXPECT_FALSE(CloseHandle(handle));

    this->open(port);
    this->backend.send("again");
    EXPECT_EQ(this->arrive(port, 5), "again");
    port.Output("back");
    EXPECT_EQ(this->backend.receive(4), "back");
}

}  // namespace
}  // namespace tvl::test
