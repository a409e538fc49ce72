// bench_window_load [--seconds N]: what the windowed program costs the
// machine on a quiet line and on slow lines, beside socat in the same run.
//
// The whole program with its window runs in a child process (offscreen
// unless a display is set), Setup in Host mode on virtual ports 901 and 902
// and Start, as a user makes them. socat -b 65536 relays between two
// pseudo-terminals of its own. Each relay gets three phases of N seconds
// (default 10), with clients on both free ends:
//
//   quiet    nothing on the lines
//   115200   both ends send 115 bytes every 10 ms (11.5 kB/s each way)
//   921600   both ends send 922 bytes every 10 ms (92 kB/s each way)
//
// and for each the share of one core the relay's process used (the CPU time
// of all its threads, from /proc/PID/task/*/schedstat) and its wake-ups per
// second (the voluntary and involuntary context switches of all its threads).
// The clients check that every byte arrives, in order. A display server's
// own work (Xvfb) is not counted; offscreen, painting is the program's.
#include <sys/prctl.h>
#include <sys/wait.h>
#include <time.h>
#include <QApplication>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "app/frm_main.h"
#include "bench/relay_clients.h"
#include "bench/socat_relay.h"
#include "bench/window_run.h"
#include "components/serial/virtual_port.h"
#include "desktop/qt_program.h"
#include "setup/setup.h"

namespace {

namespace fs = std::filesystem;
using namespace relay;

// ---- the windowed program, in the child

// Runs the program until killed; writes one byte to `ready` once the run started.
int runProgram(int argc, char** argv, int ready) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    QApplication app(argc, argv);
    tvl::QtProgram program(tvl::QtProgram::Lines::System);
    const char started = startHostRun(program) ? 'y' : 'n';
    [[maybe_unused]] auto written = ::write(ready, &started, 1);
    ::close(ready);
    return started == 'y' ? QApplication::exec() : 1;
}

// ---- what a process costs

struct Usage {
    double cpu = 0;              // seconds on a CPU, all threads
    unsigned long switches = 0;  // context switches, all threads
};

Usage usageOf(pid_t pid) {
    Usage u;
    std::error_code error;
    for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(pid) + "/task", error)) {
        std::ifstream schedstat(task.path() / "schedstat");
        unsigned long long ns = 0;
        if (schedstat >> ns) u.cpu += ns / 1e9;
        std::ifstream status(task.path() / "status");
        std::string line;
        while (std::getline(status, line))
            if (line.starts_with("voluntary_ctxt_switches:") ||
                line.starts_with("nonvoluntary_ctxt_switches:"))
                u.switches += std::strtoul(line.c_str() + line.find(':') + 1, nullptr, 10);
    }
    return u;
}

// ---- the clients: paced chunks into both ends, every byte checked at the other

class Traffic {
public:
    // chunk bytes every 10 ms into a and into b; none when chunk is 0.
    Traffic(int a, int b, std::size_t chunk) {
        if (chunk == 0) return;
        threads_.emplace_back([=, this] { send(a, chunk, 1); });
        threads_.emplace_back([=, this] { send(b, chunk, 2); });
        threads_.emplace_back([=, this] { receive(b, 1, received_[0]); });
        threads_.emplace_back([=, this] { receive(a, 2, received_[1]); });
    }
    // Stops sending, waits for what was sent to arrive; true when all of it did, in order.
    bool finish() {
        stop_ = true;
        for (auto& t : threads_) t.join();
        threads_.clear();
        return intact_ && received_[0] == sent_[0] && received_[1] == sent_[1];
    }
    ~Traffic() {
        if (!threads_.empty()) finish();
    }

private:
    static char byteAt(std::uint64_t k, int seed) { return static_cast<char>(k * 7 + seed * 101); }

    void send(int fd, std::size_t chunk, int seed) {
        std::string data(chunk, '\0');
        std::uint64_t k = 0;
        timespec next{};
        ::clock_gettime(CLOCK_MONOTONIC, &next);
        while (!stop_) {
            for (char& c : data) c = byteAt(k++, seed);
            if (!writeAll(fd, data.data(), data.size())) intact_ = false;
            sent_[seed - 1] = k;
            next.tv_nsec += 10'000'000;
            if (next.tv_nsec >= 1'000'000'000) {
                next.tv_nsec -= 1'000'000'000;
                ++next.tv_sec;
            }
            ::clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, nullptr);
        }
        sending_ -= 1;
    }

    void receive(int fd, int seed, std::atomic<std::uint64_t>& got) {
        char buffer[65536];
        std::uint64_t k = 0;
        auto quietSince = Clock::now();
        for (;;) {
            // Once the senders stopped, what is still under way gets a second.
            if (sending_ == 0 && (k == sent_[seed - 1] ||
                                  Clock::now() - quietSince > std::chrono::seconds(1)))
                break;
            pollfd p{fd, POLLIN, 0};
            if (::poll(&p, 1, 20) <= 0) continue;
            const ssize_t n = ::read(fd, buffer, sizeof buffer);
            if (n <= 0) continue;
            for (ssize_t i = 0; i < n; ++i)
                if (buffer[i] != byteAt(k++, seed)) intact_ = false;
            got = k;
            quietSince = Clock::now();
        }
    }

    std::vector<std::thread> threads_;
    std::atomic<bool> stop_{false};
    std::atomic<int> sending_{2};
    std::atomic<bool> intact_{true};
    std::atomic<std::uint64_t> sent_[2] = {0, 0};
    std::atomic<std::uint64_t> received_[2] = {0, 0};
};

struct Phase {
    const char* name;
    std::size_t chunk;  // bytes every 10 ms on each end
    double coreGoal;    // share of a core, per cent
    double wakeGoal;    // wake-ups a second; 0: none
};

constexpr Phase kPhases[] = {
    {"quiet line", 0, 0.3, 20},
    {"115200 baud both ports", 115, 3.0, 0},
    {"921600 baud both ports", 922, 10.0, 0},
};

struct Cost {
    double core = 0;  // per cent of one core
    double wakeups = 0;
    bool intact = true;
};

// One phase on the relay of process pid with free ends a and b.
Cost measure(pid_t pid, int a, int b, const Phase& phase, double seconds) {
    Traffic traffic(a, b, phase.chunk);
    std::this_thread::sleep_for(std::chrono::seconds(1));  // settled
    const Usage before = usageOf(pid);
    const auto start = Clock::now();
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    const Usage after = usageOf(pid);
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();
    Cost c;
    c.core = 100.0 * (after.cpu - before.cpu) / wall;
    c.wakeups = static_cast<double>(after.switches - before.switches) / wall;
    c.intact = traffic.finish();
    return c;
}

void usage() { std::fprintf(stderr, "usage: bench_window_load [--seconds N]\n"); }

}  // namespace

int main(int argc, char** argv) {
    double seconds = 10;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--seconds") == 0 && i + 1 < argc &&
            (seconds = std::strtod(argv[++i], nullptr)) > 0)
            continue;
        usage();
        return 2;
    }
    const std::string socatPath = findSocat();
    if (socatPath.empty()) {
        std::fprintf(stderr,
                     "bench_window_load: socat is not installed (tools/install-deps.sh installs "
                     "it); nothing to compare the program with.\n");
        return 1;
    }
    if (!std::getenv("DISPLAY") && !std::getenv("WAYLAND_DISPLAY") &&
        !std::getenv("QT_QPA_PLATFORM"))
        ::setenv("QT_QPA_PLATFORM", "offscreen", 1);
    ::signal(SIGPIPE, SIG_IGN);

    // The program publishes its ports in a folder of the run's own.
    const std::string folder = makeFolder("tvl-window-load-");
    ::setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);
    int ready[2];
    if (folder.empty() || ::pipe(ready) != 0) return 1;
    std::fflush(stdout);
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(ready[0]);
        std::_Exit(runProgram(argc, argv, ready[1]));
    }
    ::close(ready[1]);
    char started = 'n';
    [[maybe_unused]] auto got = ::read(ready[0], &started, 1);
    ::close(ready[0]);
    int a = -1, b = -1;
    if (started == 'y') {
        const std::string ports = tvl::defaultVirtualPortFolder();
        a = openRaw(tvl::virtualPortPath(ports, 901));
        b = openRaw(tvl::virtualPortPath(ports, 902));
    }
    auto end = [&](int status) {
        if (a >= 0) ::close(a);
        if (b >= 0) ::close(b);
        ::kill(child, SIGTERM);
        ::waitpid(child, nullptr, 0);
        fs::remove_all(folder);
        return status;
    };
    if (a < 0 || b < 0) {
        std::fprintf(stderr, "bench_window_load: the program's run did not start\n");
        return end(1);
    }
    SocatRelay socat(socatPath);
    if (!socat.failure.empty()) {
        std::fprintf(stderr, "bench_window_load: %s\n", socat.failure.c_str());
        return end(1);
    }

    double load[3] = {0, 0, 0};
    ::getloadavg(load, 3);
    std::printf("The windowed program (%s) in Host mode on two virtual ports, beside socat;\n"
                "%.0f s a phase; machine: %u cores, load average %.2f\n\n",
                std::getenv("QT_QPA_PLATFORM") ? std::getenv("QT_QPA_PLATFORM") : "on the display",
                seconds, std::max(1u, std::thread::hardware_concurrency()), load[0]);
    std::printf("%-26s %22s %22s\n", "", "Tarvoline", "socat");
    std::printf("%-26s %10s %11s %10s %11s\n", "", "% of core", "wake-ups/s", "% of core",
                "wake-ups/s");
    std::fflush(stdout);
    Cost program[3], blind[3];
    bool intact = true;
    for (int i = 0; i < 3; ++i) {
        program[i] = measure(child, a, b, kPhases[i], seconds);
        blind[i] = measure(socat.pid(), socat.a, socat.b, kPhases[i], seconds);
        std::printf("%-26s %10.2f %11.0f %10.2f %11.0f\n", kPhases[i].name, program[i].core,
                    program[i].wakeups, blind[i].core, blind[i].wakeups);
        std::fflush(stdout);
        intact = intact && program[i].intact && blind[i].intact;
    }
    std::printf("\n");
    for (int i = 0; i < 3; ++i) {
        const Phase& phase = kPhases[i];
        const Cost& c = program[i];
        const bool met =
            c.core <= phase.coreGoal && (phase.wakeGoal == 0 || c.wakeups <= phase.wakeGoal);
        std::printf("goal: %-24s at most %4.1f %% of a core", phase.name, phase.coreGoal);
        if (phase.wakeGoal > 0) std::printf(" and %.0f wake-ups/s", phase.wakeGoal);
        std::printf("  %s (%.2f %%", met ? "met" : "NOT MET", c.core);
        if (phase.wakeGoal > 0) std::printf(", %.0f/s", c.wakeups);
        std::printf(")\n");
    }
    if (!intact) {
        std::fprintf(stderr, "bench_window_load: bytes did not arrive intact\n");
        return end(1);
    }
    return end(0);
}
