// Reviewing a large capture: opening it and searching it.
//
//   BM_OpenLargestCapture  the whole open command (dialog to first record on
//                          screen) on the largest capture a review holds,
//                          32,765 data records (32,767 entries); goal < 1 s
//   BM_ReadCapture          the store read of a 100,000-record capture in the
//                          open's order of calls, into the review's arrays; goal < 1 s
//   BM_OpenTooLarge         the open command on the 100,000-record capture,
//                          which the review refuses (more entries than it
//                          holds): the time to the message
//   BM_Find                 Find over 100,002 entries: a text only in the
//                          first data record (the search from the end
//                          crosses all of them), and a text held nowhere; goal < 0.5 s
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/keltvl_file.h"
#include "components/stores/stores.h"
#include "platform/quiet_platform.h"
#include "review/review.h"
#include "tests/support/program_on_lines.h"

namespace {

namespace fs = std::filesystem;

const fs::path& folder() {
    static const fs::path f = [] {
        fs::path p = fs::temp_directory_path() / ("bench_review_" + std::to_string(::getpid()));
        fs::create_directories(p);
        return p;
    }();
    return f;
}

// A capture of `data` records of 200 to 204 characters, as a run writes at the pane limit.
std::string capture(int data) {
    const std::string name = "cap" + std::to_string(data) + ".tvl";
    const std::string path = (folder() / name).string();
    if (fs::exists(path)) return path;
    tvl::KelTVLFile file;
    file.StoreFolder = folder().string() + "/";
    file.StoreName = name;
    file.PortTitle1 = "Port1 (DTE1): ";
    file.PortTitle2 = "Port2 (DTE2/DCE): ";
    file.OpenStore();
    file.AppendRecord(1);
    for (int i = 1; i <= data; ++i) {
        std::string a = "#" + std::to_string(i) + " ";
        while (a.size() < 200) a += "ACK<CR><LF>data ";
        std::string b = "#" + std::to_string(i) + " ";
        while (b.size() < 200) b += "<41><42><0D><0A>";
        file.PortText1 = a.substr(0, 200 + i % 5);
        file.PortText2 = b.substr(0, 200 + i % 3);
        if (i == 1) file.PortText2 += "FIRSTONLY";
        file.AppendRecord(0);
    }
    file.CloseStore();
    return path;
}

class BenchPlatform : public tvl::QuietPlatform {
public:
    using QuietPlatform::QuietPlatform;
    std::string InputBox(const std::string&, const std::string&) override { return answer; }
    std::string answer;
};

struct Rig : tvl::testing::ProgramOnLines<BenchPlatform> {
    Rig() : ProgramOnLines(folder().string()) {
        tvl::ProgramParts parts;
        parts.makeTVL = tvl::makeKelTVL;
        make(std::move(parts));
        start();
    }
};

void BM_OpenLargestCapture(benchmark::State& state) {
    Rig rig;
    rig.platform.openAnswer = capture(32765);
    for (auto _ : state) {
        tvl::mnuOpenFile_Click(*rig.program);
        state.PauseTiming();
        if (!rig.platform.messages.empty() || rig.program->state.RecordCount != 32767)
            state.SkipWithError("the capture did not open");
        tvl::mnuNoSaveExit_Click(*rig.program);
        state.ResumeTiming();
    }
    state.counters["records/s"] =
        benchmark::Counter(32765, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_OpenLargestCapture)->Unit(benchmark::kMillisecond);

void BM_ReadCapture(benchmark::State& state) {
    const std::string path = capture(100000);
    for (auto _ : state) {
        auto store = tvl::makeKelTVL();
        store->StoreFolder = folder().string() + "/";
        store->StoreName = fs::path(path).stem().string();
        store->CountRecords();
        const auto n = static_cast<std::size_t>(store->RecordCount());
        store->OpenStore();
        store->ReadTitles();
        store->ReadRecord(1);
        std::vector<std::string> one(n + 1), two(n + 1);
        for (std::size_t i = 2; i <= n; ++i) {
            store->ReadRecord(0);
            one[i] = store->PortText1;
            two[i] = store->PortText2;
        }
        store->CloseStore();
        benchmark::DoNotOptimize(one.data());
        benchmark::DoNotOptimize(two.data());
    }
    state.counters["records/s"] =
        benchmark::Counter(100000, benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK(BM_ReadCapture)->Unit(benchmark::kMillisecond);

void BM_OpenTooLarge(benchmark::State& state) {
    Rig rig;
    rig.platform.openAnswer = capture(100000);
    for (auto _ : state) {
        tvl::mnuOpenFile_Click(*rig.program);
        state.PauseTiming();
        if (rig.platform.messages.size() != 1) state.SkipWithError("the capture was not refused");
        rig.platform.messages.clear();
        rig.program->KelTVL = tvl::makeKelTVL();  // nothing kept from the last load
        state.ResumeTiming();
    }
}
BENCHMARK(BM_OpenTooLarge)->Unit(benchmark::kMillisecond);

void BM_Find(benchmark::State& state, const char* text) {
    Rig rig;
    // The review's arrays hold the 100,000 records as an open would leave them.
    const std::string path = capture(100000);
    tvl::SharedState& s = rig.program->state;
    auto store = tvl::makeKelTVL();
    store->StoreFolder = folder().string() + "/";
    store->StoreName = fs::path(path).stem().string();
    store->CountRecords();
    s.RecordCount = store->RecordCount();
    const auto n = static_cast<std::size_t>(s.RecordCount);
    s.RecordPort1.assign(n + 1, {});
    s.RecordPort2.assign(n + 1, {});
    store->ReadRecord(1);
    for (std::size_t i = 2; i <= n; ++i) {
        store->ReadRecord(0);
        s.RecordPort1[i] = store->PortText1;
        s.RecordPort2[i] = store->PortText2;
    }
    store->CloseStore();
    rig.platform.answer = text;
    for (auto _ : state) {
        tvl::mnuFind_Click(*rig.program);
        benchmark::DoNotOptimize(s.RecordIndex);
    }
    std::printf("Find \"%s\" over %zu entries: entry %d, %zu messages\n", text, n, s.RecordIndex,
                rig.platform.messages.size());
    state.counters["entries/s"] =
        benchmark::Counter(double(n), benchmark::Counter::kIsIterationInvariantRate);
}
BENCHMARK_CAPTURE(BM_Find, in_first_record, "FIRSTONLY")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BM_Find, held_nowhere, "NOWHERE<00>")->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::error_code ignored;
    fs::remove_all(folder(), ignored);
    return 0;
}
