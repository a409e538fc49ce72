// KelMDB: time per record of OpenStore, AppendRecord and CloseStore over a
// capture of 100,000 records, printed per block of 10,000 records. Flat
// figures from the first block to the last show that an append costs the same
// whatever the table's size.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>

#include "components/stores/kelmdb_database.h"

namespace {

using Clock = std::chrono::steady_clock;

double micros(Clock::duration d) { return std::chrono::duration<double, std::micro>(d).count(); }

void BM_KelMDBCapture(benchmark::State& state) {
    const int records = static_cast<int>(state.range(0));
    const int block = records / 10;
    const auto folder =
        std::filesystem::temp_directory_path() / ("bench_kelmdb_" + std::to_string(getpid()));
    std::filesystem::create_directories(folder);
    for (auto _ : state) {
        tvl::KelMDBDatabase db;
        db.StoreFolder = folder.string() + "/";
        db.StoreName = "bench.mdb";
        db.PortTitle1 = "Port1 (DTE1): ";
        db.PortTitle2 = "Port2 (DTE2/DCE): ";
        db.CreateStore();
        db.CloseStore();
        std::printf("%8s %10s %10s %10s %10s   (microseconds per record)\n", "records", "open",
                    "append", "close", "total");
        Clock::duration open{}, append{}, close{};
        double first_total = 0, last_total = 0;
        for (int i = 1; i <= records; ++i) {
            db.PortText1 = "#" + std::to_string(i) +
                           std::string(static_cast<std::size_t>(20 + i % 180), 'a' + i % 26);
            db.PortText2 = i % 3 ? " " : std::string(204, static_cast<char>(0x80 + i % 128));
            const auto t0 = Clock::now();
            db.OpenStore();
            const auto t1 = Clock::now();
            db.AppendRecord();
            const auto t2 = Clock::now();
            db.CloseStore();
            const auto t3 = Clock::now();
            open += t1 - t0;
            append += t2 - t1;
            close += t3 - t2;
            if (i % block == 0) {
                const double o = micros(open) / block, a = micros(append) / block,
                             c = micros(close) / block;
                std::printf("%8d %10.1f %10.1f %10.1f %10.1f\n", i, o, a, c, o + a + c);
                if (i == block) first_total = o + a + c;
                last_total = o + a + c;
                open = append = close = {};
            }
        }
        state.counters["first_block_us"] = first_total;
        state.counters["last_block_us"] = last_total;
        state.counters["file_MB"] =
            static_cast<double>(std::filesystem::file_size(db.path())) / 1e6;
    }
    std::filesystem::remove_all(folder);
}

BENCHMARK(BM_KelMDBCapture)->Arg(100000)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
