// What the network port tests share: ser2net serving a pseudo-terminal on
// 127.0.0.1, and a device server of the test's own, on gensio's server side of
// RFC 2217, that hears DTR/RTS and tells modem-line changes (a pseudo-terminal
// has no modem lines) and can answer a setting with another value.
#pragma once

#include <gensio/gensio.h>
#include <gensio/gensio_control.h>
#include <gensio/gensio_os_funcs.h>
#include <gensio/sergensio.h>
#include <netinet/in.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <fstream>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "components/serial/gensio_loops.h"
#include "tests/serial/line_fixtures.h"

namespace tvl::test {

// A socket listening on 127.0.0.1 that accepts nobody unless asked.
struct Listener {
    Listener() {
        ::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address);
        ::listen(fd, 1);
        socklen_t length = sizeof address;
        ::getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length);
    }
    ~Listener() { ::close(fd); }
    int port() const { return ntohs(address.sin_port); }
    int fd = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
};

// A TCP port on 127.0.0.1 that nothing listens on now.
inline int freeTcpPort() { return Listener().port(); }

// Whether something listens on 127.0.0.1:port, from /proc/net/tcp: a probe
// connection would take ser2net's one connection from the port under test.
inline bool listening(int port) {
    char local[32];
    std::snprintf(local, sizeof local, "0100007F:%04X", port);
    std::ifstream table("/proc/net/tcp");
    std::string line;
    while (std::getline(table, line))
        if (line.find(local) != std::string::npos && line.find(" 0A ") != std::string::npos)
            return true;
    return false;
}

// ser2net in front of a device on 127.0.0.1:port, speaking RFC 2217, or
// bytes only over raw TCP.
class Ser2net {
public:
    Ser2net(std::string device, bool rfc2217)
        : device_(std::move(device)), rfc2217_(rfc2217), port_(freeTcpPort()) {
        start();
    }
    ~Ser2net() { stop(); }
    std::string address() const {
        return (rfc2217_ ? "rfc2217://127.0.0.1:" : "tcp://127.0.0.1:") + std::to_string(port_);
    }

    void start() {
        const std::string config =
            "connection: &line#  accepter: " + std::string(rfc2217_ ? "telnet(rfc2217)," : "") +
            "tcp,127.0.0.1," + std::to_string(port_) + "#  connector: serialdev," + device_ +
            ",9600n81,local";
        pid_ = ::fork();
        if (pid_ == 0) {
            ::freopen("/dev/null", "w", stdout);
            ::freopen("/dev/null", "w", stderr);
            ::execlp("ser2net", "ser2net", "-n", "-u", "-Y", config.c_str(),
                     static_cast<char*>(nullptr));
            ::_exit(127);
        }
        if (!waitFor([&] { return listening(port_); }, 10s))
            ADD_FAILURE() << "ser2net does not listen on " << port_;
    }
    void stop() {
        if (pid_ <= 0) return;
        ::kill(pid_, SIGTERM);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
    }

private:
    std::string device_;
    bool rfc2217_;
    int port_;
    pid_t pid_ = -1;
};

// A device server of one connection, serviced on a thread of its own.
class DeviceServer {
public:
    DeviceServer() {
        gensioloops::take(&o_);
        str_to_gensio_accepter("telnet(rfc2217),tcp,127.0.0.1,0", o_, &DeviceServer::onAccept, this,
                               &accepter_);
        gensio_acc_startup(accepter_);
        char port[16] = "0";
        gensiods length = sizeof port;
        gensio_acc_control(accepter_, GENSIO_CONTROL_DEPTH_FIRST, GENSIO_CONTROL_GET,
                           GENSIO_ACC_CONTROL_LPORT, port, &length);
        port_ = std::atoi(port);
        thread_ = std::thread([this] { run(); });
    }
    ~DeviceServer() {
        stop_ = true;
        thread_.join();
        // The connection is let go through gensio's loop, as a closing one must be.
        if (io_) gensio_close(io_, [](gensio* io, void*) { gensio_free(io); }, nullptr);
        gensio_acc_shutdown(accepter_, nullptr, nullptr);
        for (int i = 0; i < 20; ++i) {
            gensio_time slice{0, 5'000'000};
            gensio_os_funcs_service(o_, &slice);
        }
        gensio_acc_free(accepter_);
        gensioloops::giveBack(o_);
    }
    std::string address() const { return "rfc2217://127.0.0.1:" + std::to_string(port_); }

    // Answers a speed asked for with this one.
    void answerSpeed(unsigned baud) { speed_ = baud; }
    // The server's modem lines (SERGENSIO_MODEMSTATE_* bits), told to the client.
    void setModemState(unsigned state) {
        std::lock_guard lock(mutex_);
        pendingState_ = state;
    }
    // "DTR on", "RTS off" ... as the client asked, and the speed it asked for.
    std::vector<std::string> heard() {
        std::lock_guard lock(mutex_);
        return heard_;
    }

private:
    static int onAccept(gensio_accepter*, void* data, int event, void* connection) {
        auto& server = *static_cast<DeviceServer*>(data);
        if (event != GENSIO_ACC_EVENT_NEW_CONNECTION) return GE_NOTSUP;
        if (server.io_) gensio_free(server.io_);  // the client left it for a new one
        server.io_ = static_cast<gensio*>(connection);
        gensio_set_callback(server.io_, &DeviceServer::onEvent, &server);
        gensio_set_read_callback_enable(server.io_, true);
        return 0;
    }

    static int onEvent(gensio* io, void* data, int event, int, unsigned char* buf, gensiods*,
                       const char* const*) {
        auto& server = *static_cast<DeviceServer*>(data);
        sergensio* serial = gensio_to_sergensio(io);
        const unsigned value =
            buf && event >= SERGENSIO_EVENT_BASE ? *reinterpret_cast<int*>(buf) : 0;
        const auto hear = [&](const std::string& what) {
            std::lock_guard lock(server.mutex_);
            server.heard_.push_back(what);
        };
        if (event == GENSIO_EVENT_READ) return 0;
        if (event == GENSIO_EVENT_SER_BAUD) hear("speed " + std::to_string(value));
        if (event == GENSIO_EVENT_SER_DTR) hear(value == SERGENSIO_DTR_ON ? "DTR on" : "DTR off");
        if (event == GENSIO_EVENT_SER_RTS) hear(value == SERGENSIO_RTS_ON ? "RTS on" : "RTS off");
        // Each setting is taken as asked, but a speed the server is told to answer.
        const bool ownSpeed = event == GENSIO_EVENT_SER_BAUD && server.speed_;
        using Set = int (*)(sergensio*, unsigned, sergensio_done, void*);
        static const std::map<int, Set> sets = {
            {GENSIO_EVENT_SER_BAUD, sergensio_baud},
            {GENSIO_EVENT_SER_DATASIZE, sergensio_datasize},
            {GENSIO_EVENT_SER_PARITY, sergensio_parity},
            {GENSIO_EVENT_SER_STOPBITS, sergensio_stopbits},
            {GENSIO_EVENT_SER_FLOWCONTROL, sergensio_flowcontrol},
            {GENSIO_EVENT_SER_DTR, sergensio_dtr},
            {GENSIO_EVENT_SER_RTS, sergensio_rts}};
        const auto set = sets.find(event);
        if (set == sets.end()) return GE_NOTSUP;
        return set->second(serial, ownSpeed ? server.speed_.load() : value, nullptr, nullptr);
    }

    void run() {
        while (!stop_) {
            gensio_time slice{0, 5'000'000};
            gensio_os_funcs_service(o_, &slice);
            std::optional<unsigned> state;
            {
                std::lock_guard lock(mutex_);
                state.swap(pendingState_);
            }
            if (state && io_) sergensio_modemstate(gensio_to_sergensio(io_), *state);
        }
    }

    gensio_os_funcs* o_ = nullptr;
    gensio_accepter* accepter_ = nullptr;
    gensio* io_ = nullptr;
    int port_ = 0;
    std::atomic<bool> stop_{false};
    std::atomic<unsigned> speed_{0};
    std::mutex mutex_;
    std::optional<unsigned> pendingState_;
    std::vector<std::string> heard_;
    std::thread thread_;
};

}  // namespace tvl::test
