// Appending 200-character records to the capture stores: records per second,
// and the rate per block of 10,000 records from first to last (a flat line
// means the cost of a record does not grow with the file).
//
//   bench_stores_append [--records=N] [--folder=/path/]   (default 100000, /tmp/)
//
// .tvl is measured three ways: the program's OpenStore/AppendRecord(0)/
// CloseStore per record with its fsync, the same with fsync replaced by
// nothing (eatmydata-style: the store's own work), and reading the whole file
// back with the program's read sequence. .xls is measured with and without
// the sync after every row.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "components/stores/keltvl_file.h"
#include "components/stores/kelxls_workbook.h"

namespace {

bool gSkipSync = false;  // the fsync/fdatasync below do nothing while set

using Clock = std::chrono::steady_clock;

// 200 characters from 0x20-0xFF, or from printable ASCII only.
std::string text(std::size_t i, int col, bool ascii = false) {
    std::string s(200, ' ');
    for (std::size_t k = 0; k < s.size(); ++k)
        s[k] = char(0x20 + (i * 31 + k * 7 + col) % (ascii ? 0x5F : 0xE0));
    return s;
}

void report(const char* what, const std::vector<double>& blockSeconds, std::size_t block,
            double total, std::size_t n) {
    std::printf("%-34s %9.0f records/s  (%zu records, %.2f s)\n", what, n / total, n, total);
    std::printf("  per %zu-record block, records/s:", block);
    for (double s : blockSeconds) std::printf(" %.0f", block / s);
    std::printf("\n");
}

void tvlAppend(const std::string& folder, std::size_t n, bool sync) {
    gSkipSync = !sync;
    tvl::KelTVLFile f;
    f.StoreFolder = folder;
    f.StoreName = "bench-append";
    f.PortTitle1 = "Port 1";
    f.PortTitle2 = "Port 2";
    const std::size_t block = std::max<std::size_t>(1, n / 10);
    std::vector<double> blocks;
    auto start = Clock::now(), blockStart = start;
    for (std::size_t i = 0; i < n; ++i) {
        f.PortText1 = text(i, 0);
        f.PortText2 = text(i, 1);
        f.OpenStore();
        f.AppendRecord(i == 0 ? 1 : 0);
        f.CloseStore();
        if ((i + 1) % block == 0) {
            const auto now = Clock::now();
            blocks.push_back(std::chrono::duration<double>(now - blockStart).count());
            blockStart = now;
        }
    }
    const double total = std::chrono::duration<double>(Clock::now() - start).count();
    report(sync ? ".tvl append (with fsync)" : ".tvl append (fsync skipped)", blocks, block, total,
           n);
    gSkipSync = false;
}

void tvlRead(const std::string& folder) {
    tvl::KelTVLFile f;
    f.StoreFolder = folder;
    f.StoreName = "bench-append";
    const auto start = Clock::now();
    f.CountRecords();
    const auto n = std::size_t(f.RecordCount()) - 1;
    f.OpenStore();
    f.ReadTitles();
    f.ReadRecord(1);
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < n; ++i) {
        f.ReadRecord(0);
        bytes += f.PortText1.size() + f.PortText2.size();
    }
    f.CloseStore();
    const double total = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("%-34s %9.3f s for %zu records (%zu text bytes)\n", ".tvl read sequence", total, n,
                bytes);
}

void xlsAppend(const std::string& folder, std::size_t n, bool sync) {
    tvl::KelXLSWorkbook wb;
    wb.StoreFolder = folder;
    wb.StoreName = "bench-append.xls";
    wb.PortTitle1 = "Port 1";
    wb.PortTitle2 = "Port 2";
    wb.SyncEachAppend = sync;
    wb.CreateStore();
    const std::size_t block = std::max<std::size_t>(1, n / 10);
    std::vector<double> blocks;
    auto start = Clock::now(), blockStart = start;
    for (std::size_t i = 0; i < n; ++i) {
        wb.PortText1 = text(i, 0);
        wb.PortText2 = text(i, 1);
        wb.AppendRecord();
        if ((i + 1) % block == 0) {
            const auto now = Clock::now();
            blocks.push_back(std::chrono::duration<double>(now - blockStart).count());
            blockStart = now;
        }
    }
    const double total = std::chrono::duration<double>(Clock::now() - start).count();
    wb.CloseStore();
    report(sync ? ".xls append (sync every row)" : ".xls append (no sync per row)", blocks, block,
           total, n);
    std::printf("  %.0f bytes per record in a workbook of %zu records (%.1f MB)\n",
                double(std::filesystem::file_size(wb.path())) / double(n), n,
                double(std::filesystem::file_size(wb.path())) / 1e6);
}

// The size of a workbook of printable ASCII records (cells with a byte
// 0x80-0x9F, as in the texts above, keep two bytes a character).
void xlsAsciiSize(const std::string& folder, std::size_t n) {
    tvl::KelXLSWorkbook wb;
    wb.StoreFolder = folder;
    wb.StoreName = "bench-append.xls";
    wb.CreateStore();
    for (std::size_t i = 0; i < n; ++i) {
        wb.PortText1 = text(i, 0, true);
        wb.PortText2 = text(i, 1, true);
        wb.AppendRecord();
    }
    wb.CloseStore();
    std::printf(".xls of printable ASCII records: %.0f bytes per record (%zu records)\n",
                double(std::filesystem::file_size(wb.path())) / double(n), n);
}

// Google Benchmark's own figure for one .tvl append, fsync skipped.
void BM_TvlAppendNoSync(benchmark::State& state) {
    const std::string folder = std::filesystem::temp_directory_path().string() + "/";
    tvl::KelTVLFile f;
    f.StoreFolder = folder;
    f.StoreName = "bench-bm";
    f.PortText1 = text(1, 0);
    f.PortText2 = text(1, 1);
    f.OpenStore();
    f.AppendRecord(1);
    f.CloseStore();
    gSkipSync = true;
    for (auto _ : state) {
        f.OpenStore();
        f.AppendRecord(0);
        f.CloseStore();
    }
    gSkipSync = false;
    state.SetItemsProcessed(state.iterations());
    std::filesystem::remove(folder + "bench-bm.tvl");
}
BENCHMARK(BM_TvlAppendNoSync);

}  // namespace

// Lets the "fsync skipped" runs measure the store's own work.
extern "C" int fsync(int fd) {
    if (gSkipSync) return 0;
    static auto real = reinterpret_cast<int (*)(int)>(dlsym(RTLD_NEXT, "fsync"));
    return real(fd);
}

int main(int argc, char** argv) {
    std::size_t n = 100000;
    std::string folder = "/tmp/";
    std::vector<char*> rest{argv[0]};
    for (int i = 1; i < argc; ++i) {
        if (std::strncmp(argv[i], "--records=", 10) == 0)
            n = std::strtoul(argv[i] + 10, nullptr, 10);
        else if (std::strncmp(argv[i], "--folder=", 9) == 0)
            folder = argv[i] + 9;
        else
            rest.push_back(argv[i]);
    }
    if (folder.back() != '/') folder += '/';
    std::printf("folder %s, 200-character columns\n", folder.c_str());
    tvlAppend(folder, n, false);
    tvlRead(folder);
    tvlAppend(folder, std::min<std::size_t>(n, 20000), true);
    xlsAppend(folder, n, false);
    xlsAsciiSize(folder, n);
    xlsAppend(folder, std::min<std::size_t>(n, 20000), true);
    std::filesystem::remove(folder + "bench-append.tvl");
    std::filesystem::remove(folder + "bench-append.xls");

    int count = int(rest.size());
    benchmark::Initialize(&count, rest.data());
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}
