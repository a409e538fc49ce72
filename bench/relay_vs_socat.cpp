// Tarvoline's Host-mode relay beside socat, in one run, over the same kind of
// line: two pseudo-terminal pairs, a client program on the free end of each.
//
//   Tarvoline  the whole headless program, Setup in Host mode on virtual ports
//              901 and 902, Start; a user-interface thread runs what the line
//              threads post and drives tmrTarvoline with the desktop's
//              TimerDriver (ticks back to back while bytes wait, a readable
//              port brings the next slice forward at once).
//   socat      socat -b 65536 PTY,link=A,raw,echo=0 PTY,link=B,raw,echo=0
//
// Figures: throughput one way (A to B) and both ways at once, in MB/s, the
// best of five turns taken by the two relays in alternation; the round trip
// of one byte (written at A, echoed by the client at B, read back at A), p50
// and p99, and what either relay adds to the round trip over one bare
// pseudo-terminal pair. Goals are printed beside the figures.
//
//   build/bin/bench_relay_vs_socat [--tarvoline-mb N] [--socat-mb N] [--trips N]
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "bench/host_relay.h"
#include "bench/relay_clients.h"
#include "bench/socat_relay.h"
#include "components/serial/device_rule.h"
#include "components/serial/virtual_port.h"
#include "line/start_stop.h"
#include "line/transfer_pump.h"
#include "platform/headless_loop.h"
#include "platform/quiet_platform.h"
#include "platform/timer_driver.h"
#include "setup/setup.h"

namespace {

namespace fs = std::filesystem;
using namespace tvl;
using namespace relay;

struct Figures {
    double oneWay = 0;                 // MB/s
    double bothWays = 0;               // MB/s, the two directions together
    double p50 = 0, p90 = 0, p99 = 0;  // microseconds, one-byte round trip
    bool ok = true;
};

struct Sizes {
    std::size_t tarvoline = 8u << 20;  // each way, each turn
    std::size_t socat = 16u << 20;
    int trips = 2000;
};

// One turn of throughput one way and both ways, keeping the best figures;
// false when bytes did not arrive intact.
bool throughput(int a, int b, std::size_t size, Figures& f) {
    const auto one = oneWay(a, b, size);
    const auto both = one ? bothWays(a, b, size) : std::nullopt;
    if (!both) return f.ok = false;
    f.oneWay = std::max(f.oneWay, *one);
    f.bothWays = std::max(f.bothWays, *both);
    return true;
}

// The free ends of one relay (or of one bare pair), and its round trips so far.
struct Ends {
    explicit Ends(const char* n) : name(n) {}
    const char* name;
    int a = -1, b = -1;
    std::vector<double> trips;
    Figures figures;
};

// Round trips through every relay in turns, so that load coming and going on
// the machine falls on all of them alike.
void roundTripsInTurns(std::vector<Ends*> relays, int trips) {
    const int turns = 10;
    for (int turn = 0; turn < turns; ++turn)
        for (Ends* e : relays) {
            if (!e->figures.ok) continue;
            const auto some = roundTrips(e->a, e->b, trips / turns);
            if (some.empty()) e->figures.ok = false;
            e->trips.insert(e->trips.end(), some.begin(), some.end());
        }
    for (Ends* e : relays) {
        std::sort(e->trips.begin(), e->trips.end());
        e->figures.p50 = percentile(e->trips, 0.50);
        e->figures.p90 = percentile(e->trips, 0.90);
        e->figures.p99 = percentile(e->trips, 0.99);
    }
}

// ---- the headless program, on virtual ports 901 and 902

class Tarvoline {
public:
    Tarvoline() : folder_(makeFolder("tvl-relay-")) {
        relay_ = std::make_unique<HostRelay>(
            [this](Poster poster) {
                return std::make_unique<SystemDevices>(poster, folder_ + "/no-devices", folder_);
            },
            "901", "902");
        failure = relay_->failure;
        if (!failure.empty()) return;
        ends.a = openRaw(virtualPortPath(folder_, 901));
        ends.b = openRaw(virtualPortPath(folder_, 902));
        if (ends.a < 0 || ends.b < 0) failure = "cannot open the virtual ports' published ends";
    }
    ~Tarvoline() {
        if (ends.a >= 0) ::close(ends.a);
        if (ends.b >= 0) ::close(ends.b);
        relay_.reset();
        fs::remove_all(folder_);
    }

    std::uint64_t ticks() const { return relay_->ticks(); }
    std::uint64_t slices() const { return relay_->slices(); }
    std::uint64_t posts() const { return relay_->posts(); }

    Ends ends{Ends("Tarvoline")};
    std::string failure;

private:
    std::string folder_;
    std::unique_ptr<HostRelay> relay_;
};

// ---- socat

struct Socat {
    explicit Socat(const std::string& path) : relay(path) {
        ends.a = relay.a;
        ends.b = relay.b;
    }
    SocatRelay relay;
    Ends ends{Ends("socat")};
};

// ---- one bare pseudo-terminal pair, for what a relay adds to a round trip

class BarePair {
public:
    BarePair() {
        int master = -1, slave = -1;
        if (::openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) return;
        termios t{};
        tcgetattr(slave, &t);
        cfmakeraw(&t);
        tcsetattr(slave, TCSANOW, &t);
        ends.a = slave;
        ends.b = master;
    }
    ~BarePair() {
        if (ends.a >= 0) ::close(ends.a);
        if (ends.b >= 0) ::close(ends.b);
    }
    Ends ends{Ends("bare pair")};
};

void usage() {
    std::fprintf(stderr,
                 "usage: bench_relay_vs_socat [--tarvoline-mb N] [--socat-mb N] [--trips N]\n");
}

}  // namespace

int main(int argc, char** argv) {
    Sizes sizes;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (i + 1 >= argc) {
            usage();
            return 2;
        }
        const long value = std::strtol(argv[++i], nullptr, 10);
        if (value <= 0) {
            usage();
            return 2;
        }
        if (arg == "--tarvoline-mb")
            sizes.tarvoline = static_cast<std::size_t>(value) << 20;
        else if (arg == "--socat-mb")
            sizes.socat = static_cast<std::size_t>(value) << 20;
        else if (arg == "--trips")
            sizes.trips = static_cast<int>(value);
        else {
            usage();
            return 2;
        }
    }
    ::signal(SIGPIPE, SIG_IGN);

    const std::string socatPath = findSocat();
    if (socatPath.empty()) {
        std::fprintf(
            stderr,
            "bench_relay_vs_socat: socat is not installed (tools/install-deps.sh installs it);\n"
            "nothing to compare Tarvoline's relay with.\n");
        return 1;
    }

    double load[3] = {0, 0, 0};
    ::getloadavg(load, 3);
    const unsigned cores = std::max(1u, std::thread::hardware_concurrency());
    std::printf(
        "Host-mode relay between two pseudo-terminal pairs: Tarvoline %zu MiB, socat %zu MiB each "
        "way in each of five turns, %d one-byte round trips each\n",
        sizes.tarvoline >> 20, sizes.socat >> 20, sizes.trips);
    std::printf("machine: %u cores, load average %.2f%s\n\n", cores, load[0],
                load[0] > cores
                    ? " (busy: tails of the round trips reflect the scheduler, not the relays)"
                    : "");
    std::fflush(stdout);

    Tarvoline t;
    Socat s(socatPath);
    BarePair bare;
    if (!t.failure.empty()) {
        std::fprintf(stderr, "Tarvoline: %s\n", t.failure.c_str());
        return 1;
    }
    if (!s.relay.failure.empty()) {
        std::fprintf(stderr, "socat: %s\n", s.relay.failure.c_str());
        return 1;
    }
    if (bare.ends.a < 0) {
        std::fprintf(stderr, "cannot open a pseudo-terminal pair\n");
        return 1;
    }

    Figures& tf = t.ends.figures;
    Figures& sf = s.ends.figures;
    // A short run through each first, then turns in alternation, so that load
    // coming and going on the machine falls on both alike.
    for (const Ends* e : {&t.ends, &s.ends})
        if (!oneWay(e->a, e->b, 4096)) {
            std::fprintf(stderr, "%s: bytes did not arrive intact\n", e->name);
            return 1;
        }
    for (int turn = 0; turn < 5 && tf.ok && sf.ok; ++turn) {
        throughput(t.ends.a, t.ends.b, sizes.tarvoline, tf);
        throughput(s.ends.a, s.ends.b, sizes.socat, sf);
    }
    roundTripsInTurns({&bare.ends, &t.ends, &s.ends}, sizes.trips);
    const Figures& bf = bare.ends.figures;
    for (const Ends* e : {&t.ends, &s.ends, &bare.ends})
        if (!e->figures.ok) {
            std::fprintf(stderr, "%s: bytes did not arrive intact\n", e->name);
            return 1;
        }

    std::printf("%-36s %12s %12s %10s %10s\n", "", "Tarvoline", "socat", "ratio", "bare pair");
    std::printf("%-36s %12.2f %12.2f %10.3f\n", "throughput one way (MB/s)", tf.oneWay, sf.oneWay,
                tf.oneWay / sf.oneWay);
    std::printf("%-36s %12.2f %12.2f %10.3f\n", "throughput both ways (MB/s)", tf.bothWays,
                sf.bothWays, tf.bothWays / sf.bothWays);
    std::printf("%-36s %12.1f %12.1f %10s %10.1f\n", "1-byte round trip p50 (us)", tf.p50, sf.p50,
                "", bf.p50);
    std::printf("%-36s %12.1f %12.1f %10s %10.1f\n", "1-byte round trip p90 (us)", tf.p90, sf.p90,
                "", bf.p90);
    std::printf("%-36s %12.1f %12.1f %10s %10.1f\n", "1-byte round trip p99 (us)", tf.p99, sf.p99,
                "", bf.p99);
    std::printf("%-36s %12.1f %12.1f\n", "  added over the bare pair, p50 (us)", tf.p50 - bf.p50,
                sf.p50 - bf.p50);
    std::printf("%-36s %12.1f %12.1f\n", "  added over the bare pair, p99 (us)", tf.p99 - bf.p99,
                sf.p99 - bf.p99);
    std::printf("Tarvoline's UI thread: %llu ticks in %llu slices, %llu posted calls\n\n",
                static_cast<unsigned long long>(t.ticks()),
                static_cast<unsigned long long>(t.slices()),
                static_cast<unsigned long long>(t.posts()));

    ::getloadavg(load, 3);
    std::printf("load average at the end %.2f\n", load[0]);
    // Bulk within reach of the blind relay.
    const double oneWay = tf.oneWay / sf.oneWay, bothWays = tf.bothWays / sf.bothWays;
    const double added = tf.p99 - bf.p99, socatAdded = sf.p99 - bf.p99;
    std::printf("goal: throughput one way at least 0.6 of socat's     %-7s (ratio %.3f)\n",
                oneWay >= 0.6 ? "met" : "NOT met", oneWay);
    std::printf("goal: throughput both ways at least 0.75 of socat's  %-7s (ratio %.3f)\n",
                bothWays >= 0.75 ? "met" : "NOT met", bothWays);
    std::printf("goal: p99 added over the bare pair at most twice socat's  %-7s (%.1f us against "
                "%.1f)\n",
                added <= 2 * socatAdded ? "met" : "NOT met", added, socatAdded);
    return 0;
}
