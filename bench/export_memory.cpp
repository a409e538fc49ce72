// bench_export_memory [RECORDS]: tarvoline-export streams a capture, so its
// memory does not grow with the capture. Writes captures of 10,000 and of
// RECORDS (default 1,000,000) records of a full ASCII pane (200 characters)
// and a blank, exports each as CSV to /dev/null, and prints the peak resident
// memory of each export, their ratio, and the throughput.
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include "components/stores/tvl_format.h"

namespace {

namespace fs = std::filesystem;

// A capture as the program writes it, built in memory a chunk at a time.
void writeCapture(const std::string& path, long records) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    std::string chunk = tvl::tvlfile::fileHeader();
    tvl::tvlfile::appendRecord(chunk, "Port1 (DTE1): ", "Port2 (DTE2/DCE): ", std::nullopt);
    const std::string pane = std::string(190, 'a') + "<CR><LF>OK";
    const tvl::RecordTime start = 1764000000000000;
    for (long i = 0; i < records; ++i) {
        tvl::tvlfile::appendRecord(chunk, pane, " ", start + i * 1000);
        if (chunk.size() > (1 << 20)) {
            out << chunk;
            chunk.clear();
        }
    }
    out << chunk;
}

struct Run {
    long maxRssKb = 0;
    double seconds = 0;
    int status = 0;
};

Run exportToNull(const std::string& exporter, const std::string& capture) {
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        execl(exporter.c_str(), exporter.c_str(), capture.c_str(), static_cast<char*>(nullptr));
        _exit(127);
    }
    Run run;
    rusage usage{};
    wait4(child, &run.status, 0, &usage);
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    run.maxRssKb = usage.ru_maxrss;
    return run;
}

}  // namespace

int main(int argc, char** argv) {
    const long big = argc > 1 ? std::atol(argv[1]) : 1000000;
    const std::string exporter =
        (fs::canonical("/proc/self/exe").parent_path() / "tarvoline-export").string();
    const fs::path folder =
        fs::temp_directory_path() / ("tarvoline-bench-export-" + std::to_string(getpid()));
    fs::create_directories(folder);
    Run runs[2];
    const long sizes[2] = {10000, big};
    for (int i = 0; i < 2; ++i) {
        const std::string capture = (folder / ("cap" + std::to_string(i) + ".tvl")).string();
        writeCapture(capture, sizes[i]);
        const double mb = double(fs::file_size(capture)) / 1e6;
        runs[i] = exportToNull(exporter, capture);
        std::printf(
            "%9ld records  %8.1f MB capture  peak memory %6ld KiB  %6.2f s  %6.1f MB/s  %s\n",
            sizes[i], mb, runs[i].maxRssKb, runs[i].seconds, mb / runs[i].seconds,
            runs[i].status == 0 ? "exit 0" : "FAILED");
        fs::remove(capture);
    }
    fs::remove_all(folder);
    std::printf("peak memory, %ld records / 10,000 records: %.2f (constant memory: about 1)\n", big,
                double(runs[1].maxRssKb) / double(runs[0].maxRssKb));
    return runs[0].status == 0 && runs[1].status == 0 ? 0 : 1;
}
