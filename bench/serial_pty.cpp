// Bytes per second through a virtual port: a client writing into the port's
// published end while the UI thread takes what arrives, and the port writing
// out to a client that reads.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <unistd.h>

#include <condition_variable>
#include <deque>
#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "components/serial/device_rule.h"
#include "components/serial/virtual_port.h"
#include "platform/headless_loop.h"

namespace {

using namespace tvl;

struct Rig {
    Rig() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "tvl-bench-XXXXXX").string();
        folder = mkdtemp(pattern.data());
        devices = std::make_unique<SystemDevices>(queue.poster(), folder + "/dev", folder);
        port = std::make_unique<SerialPort>(*devices);
        port->setCommPort(901);
        port->setSettings("921600,N,8,1");
        port->setPortOpen(true);
        client = ::open(virtualPortPath(folder, 901).c_str(), O_RDWR | O_NOCTTY);
    }
    ~Rig() {
        ::close(client);
        port.reset();
        std::filesystem::remove_all(folder);
    }
    HeadlessLoop queue;  // the UI thread's queue
    std::string folder;
    std::unique_ptr<SystemDevices> devices;
    std::unique_ptr<SerialPort> port;
    int client = -1;
};

constexpr std::size_t kBlock = 1 << 20;

void IntoThePort(benchmark::State& state) {
    Rig rig;
    const std::string chunk(static_cast<std::size_t>(state.range(0)), 'x');
    for (auto _ : state) {
        std::thread writer([&] {
            for (std::size_t sent = 0; sent < kBlock; sent += chunk.size())
                if (::write(rig.client, chunk.data(), chunk.size()) < 0) break;
        });
        std::size_t taken = 0;
        while (taken < kBlock) {
            rig.queue.runUntil([&] { return rig.port->InBufferCount() > 0; },
                               std::chrono::milliseconds(1));
            taken += rig.port->Input().size();
        }
        writer.join();
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBlock));
}
BENCHMARK(IntoThePort)->Arg(64)->Arg(4096)->UseRealTime()->Unit(benchmark::kMillisecond);

void OutOfThePort(benchmark::State& state) {
    Rig rig;
    const std::string chunk(static_cast<std::size_t>(state.range(0)), 'y');
    std::string into(65536, '\0');
    for (auto _ : state) {
        for (std::size_t sent = 0; sent < kBlock; sent += chunk.size()) rig.port->Output(chunk);
        std::size_t got = 0;
        while (got < kBlock) {
            const ssize_t n = ::read(rig.client, into.data(), into.size());
            if (n <= 0) break;
            got += static_cast<std::size_t>(n);
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * kBlock));
}
BENCHMARK(OutOfThePort)->Arg(1)->Arg(64)->Arg(4096)->UseRealTime()->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
