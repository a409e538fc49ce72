// Tarvoline's Host-mode relay between two RFC 2217 ports beside socat relaying
// the same two TCP device servers, in one run.
//
//   ser2net    one process on 127.0.0.1 in front of two pseudo-terminals, each
//              offered twice: telnet(rfc2217) for Tarvoline and raw tcp for
//              socat (ser2net gives a device to one connection at a time, so
//              the relays take turns)
//   Tarvoline  the whole headless program, ports 301 and 302 in its ports file
//              naming the two rfc2217 servers, Setup in Host mode, Start
//   socat      socat -b 65536 TCP:127.0.0.1:A TCP:127.0.0.1:B
//
// The clients sit on the pseudo-terminals' master ends. Figures: throughput one
// way and both ways at once in MB/s, one-byte round trips p50 and p99, and the
// ratios of Tarvoline to socat.
//
//   build/bin/bench_relay_rfc2217 [--mb N] [--trips N]
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "bench/host_relay.h"
#include "bench/relay_clients.h"
#include "components/serial/device_rule.h"

extern char** environ;

namespace {

using namespace relay;

struct Figures {
    double oneWay = 0, bothWays = 0, p50 = 0, p99 = 0;
};

pid_t spawn(std::vector<std::string> args) {
    std::vector<char*> argv;
    for (auto& arg : args) argv.push_back(arg.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, 2, "/dev/null", O_WRONLY, 0);
    const int error = ::posix_spawnp(&pid, argv[0], &quiet, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&quiet);
    return error ? 0 : pid;
}

void end(pid_t pid) {
    if (pid <= 0) return;
    ::kill(pid, SIGTERM);
    ::waitpid(pid, nullptr, 0);
}

// A pseudo-terminal's master, the client's end; its other end is for ser2net.
struct Terminal {
    Terminal() {
        master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
        ::grantpt(master);
        ::unlockpt(master);
        char name[128] = {};
        ::ptsname_r(master, name, sizeof name);
        path = name;
        held = ::open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);  // quiet between ser2net's opens
        termios t{};
        tcgetattr(held, &t);
        cfmakeraw(&t);
        tcsetattr(held, TCSANOW, &t);
    }
    ~Terminal() {
        ::close(held);
        ::close(master);
    }
    int master = -1, held = -1;
    std::string path;
};

// A TCP port on 127.0.0.1 that nothing listens on now.
int freePort() {
    const int s = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof a;
    ::bind(s, reinterpret_cast<sockaddr*>(&a), sizeof a);
    ::getsockname(s, reinterpret_cast<sockaddr*>(&a), &length);
    ::close(s);
    return ntohs(a.sin_port);
}

bool listening(int port) {
    char local[32];
    std::snprintf(local, sizeof local, "0100007F:%04X", port);
    std::ifstream table("/proc/net/tcp");
    for (std::string line; std::getline(table, line);)
        if (line.find(local) != std::string::npos && line.find(" 0A ") != std::string::npos)
            return true;
    return false;
}

Figures measure(int a, int b, std::size_t size, int trips, bool& ok) {
    Figures f;
    const auto warm = oneWay(a, b, 4096);
    const auto one = warm ? oneWay(a, b, size) : std::nullopt;
    const auto both = one ? bothWays(a, b, size) : std::nullopt;
    const auto round = both ? roundTrips(a, b, trips) : std::vector<double>{};
    ok = !round.empty();
    if (!ok) return f;
    f.oneWay = *one;
    f.bothWays = *both;
    f.p50 = percentile(round, 0.50);
    f.p99 = percentile(round, 0.99);
    return f;
}

}  // namespace

int main(int argc, char** argv) {
    std::size_t size = 4u << 20;
    int trips = 1000;
    for (int i = 1; i + 1 < argc; i += 2) {
        const std::string arg = argv[i];
        const long value = std::strtol(argv[i + 1], nullptr, 10);
        if (arg == "--mb" && value > 0)
            size = static_cast<std::size_t>(value) << 20;
        else if (arg == "--trips" && value > 0)
            trips = static_cast<int>(value);
        else {
            std::fprintf(stderr, "usage: bench_relay_rfc2217 [--mb N] [--trips N]\n");
            return 2;
        }
    }
    ::signal(SIGPIPE, SIG_IGN);

    Terminal deviceA, deviceB;
    const int rfcA = freePort(), rfcB = freePort(), rawA = freePort(), rawB = freePort();
    std::string config;
    for (const auto& [accepter, device] :
         {std::pair{"telnet(rfc2217),tcp,127.0.0.1," + std::to_string(rfcA), deviceA.path},
          {"telnet(rfc2217),tcp,127.0.0.1," + std::to_string(rfcB), deviceB.path},
          {"tcp,127.0.0.1," + std::to_string(rawA), deviceA.path},
          {"tcp,127.0.0.1," + std::to_string(rawB), deviceB.path}})
        config += "connection: &c" + accepter.substr(accepter.rfind(',') + 1) +
                  "#  accepter: " + accepter + "#  connector: serialdev," + device +
                  ",115200n81,local#";
    const pid_t ser2net = spawn({"ser2net", "-n", "-u", "-Y", config});
    if (!ser2net) {
        std::fprintf(stderr,
                     "bench_relay_rfc2217: cannot start ser2net (tools/install-deps.sh "
                     "installs it)\n");
        return 1;
    }
    for (int i = 0; i < 500 && !(listening(rfcA) && listening(rawB)); ++i) ::usleep(10000);

    double load[3] = {0, 0, 0};
    ::getloadavg(load, 3);
    std::printf(
        "Host-mode relay between two RFC 2217 ports of ser2net (pseudo-terminals behind), "
        "%zu MiB each way, %d one-byte round trips; socat on the same servers' raw TCP\n",
        size >> 20, trips);
    std::printf("machine: %u cores, load average %.2f\n\n", std::thread::hardware_concurrency(),
                load[0]);
    std::fflush(stdout);

    bool tarvolineOk = false, socatOk = false;
    Figures t, s;
    {
        const std::string folder = makeFolder("tvl-rfc2217-");
        std::ofstream(folder + "/ports")
            << "301 rfc2217://127.0.0.1:" << rfcA << "\n302 rfc2217://127.0.0.1:" << rfcB << "\n";
        HostRelay relay(
            [&](tvl::Poster poster) {
                auto devices =
                    std::make_unique<tvl::SystemDevices>(poster, folder + "/no-devices", folder);
                devices->usePortsFile(folder + "/ports");
                return devices;
            },
            "301", "302");
        if (relay.failure.empty())
            t = measure(deviceA.master, deviceB.master, size, trips, tarvolineOk);
        else
            std::fprintf(stderr, "Tarvoline: %s\n", relay.failure.c_str());
        std::filesystem::remove_all(folder);
    }
    {
        const pid_t socat = spawn({"socat", "-b", "65536", "TCP:127.0.0.1:" + std::to_string(rawA),
                                   "TCP:127.0.0.1:" + std::to_string(rawB)});
        ::usleep(300000);  // its two connections made
        if (socat) s = measure(deviceA.master, deviceB.master, size, trips, socatOk);
        end(socat);
    }
    end(ser2net);
    if (!tarvolineOk || !socatOk) {
        std::fprintf(stderr, "bench_relay_rfc2217: bytes did not arrive intact through %s\n",
                     tarvolineOk ? "socat" : "Tarvoline");
        return 1;
    }

    std::printf("%-32s %12s %12s %8s\n", "", "Tarvoline", "socat", "ratio");
    std::printf("%-32s %12.2f %12.2f %8.3f\n", "throughput one way (MB/s)", t.oneWay, s.oneWay,
                t.oneWay / s.oneWay);
    std::printf("%-32s %12.2f %12.2f %8.3f\n", "throughput both ways (MB/s)", t.bothWays,
                s.bothWays, t.bothWays / s.bothWays);
    std::printf("%-32s %12.1f %12.1f %8.3f\n", "1-byte round trip p50 (us)", t.p50, s.p50,
                t.p50 / s.p50);
    std::printf("%-32s %12.1f %12.1f %8.3f\n", "1-byte round trip p99 (us)", t.p99, s.p99,
                t.p99 / s.p99);
    return 0;
}
