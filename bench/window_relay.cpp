// bench_window_relay [MB]: the Host-mode relay as the window runs it. The
// whole program with its Qt event loop (run offscreen or on a display) on
// virtual ports 901 and 902, set up and started as a user does; clients on
// their published ends measure MB/s one way and both ways, and the one-byte
// round trip. bench_relay_vs_socat measures the same relay headless, beside
// socat; this shows the window's own loop keeps up as well.
#include <sys/stat.h>
#include <QApplication>
#include <QMetaObject>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <thread>

#include "app/frm_main.h"
#include "bench/relay_clients.h"
#include "bench/window_run.h"
#include "components/serial/virtual_port.h"
#include "desktop/qt_program.h"
#include "setup/setup.h"

int main(int argc, char** argv) {
    const std::size_t size = (argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 8) << 20;
    // The ports are published in a folder of the run's own.
    std::string folder =
        (std::filesystem::temp_directory_path() / "tvl-window-relay-XXXXXX").string();
    if (!::mkdtemp(folder.data())) return 1;
    ::setenv("XDG_RUNTIME_DIR", folder.c_str(), 1);

    QApplication app(argc, argv);
    tvl::QtProgram program(tvl::QtProgram::Lines::System);
    tvl::Program& p = *program.program;
    if (!relay::startHostRun(program)) {
        std::fprintf(stderr, "bench_window_relay: the run did not start\n");
        return 1;
    }

    int status = 0;
    std::thread clients([&] {
        const std::string ports = tvl::defaultVirtualPortFolder();
        const int a = relay::openRaw(tvl::virtualPortPath(ports, 901));
        const int b = relay::openRaw(tvl::virtualPortPath(ports, 902));
        const auto warm = relay::oneWay(a, b, 4096);
        const auto one = relay::oneWay(a, b, size);
        const auto both = relay::bothWays(a, b, size);
        const auto trips = relay::roundTrips(a, b, 2000);
        if (!warm || !one || !both || trips.empty()) {
            std::fprintf(stderr, "bench_window_relay: bytes did not arrive intact\n");
            status = 1;
        } else {
            std::printf("Host-mode relay through the window's event loop, %zu MiB each way\n",
                        size >> 20);
            std::printf("throughput one way (MB/s)      %8.2f\n", *one);
            std::printf("throughput both ways (MB/s)    %8.2f\n", *both);
            std::printf("1-byte round trip p50 (us)     %8.1f\n", relay::percentile(trips, 0.50));
            std::printf("1-byte round trip p99 (us)     %8.1f\n", relay::percentile(trips, 0.99));
        }
        ::close(a);
        ::close(b);
        QMetaObject::invokeMethod(
            qApp, [] { QApplication::quit(); }, Qt::QueuedConnection);
    });
    QApplication::exec();
    clients.join();
    program.desktop.dispatch([&] { p.FrmMain->mnuStartStop->Click(); });
    std::filesystem::remove_all(folder);
    return status;
}
