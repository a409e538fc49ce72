// Bytes per second per port through the transfer pump, both ports busy, on the
// simulated line: Transparent ASCII, Transparent hexadecimal, and Host mode
// with five conversion rows per direction, also with both watches armed; and
// Transparent ASCII with a capture running ("Save TVL", "Save XLS", "Save
// MDB", "Monitor Both", prepared through the Setup dialog), a record at every
// pane limit; and Transparent ASCII and Host mode again with a trace of both
// lines written beside the pump (--trace), against the same without. The
// ticks run as the desktop runs them (TimerDriver slices); figures are wall
// time, a capture's up to the end of its Stop, a trace's up to its last frame
// written.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <random>
#include <utility>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/stores.h"
#include "components/trace/trace_file.h"
#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "tests/support/program_on_lines.h"

namespace {

using namespace tvl;

struct Bench : testing::ProgramOnLines<QuietPlatform> {
    Bench(int mode, int display, LineTrace* trace = nullptr) {
        startProgram(trace);
        openPorts();
        program->state.OperationMode = static_cast<std::uint8_t>(mode);
        program->state.DisplayMode = static_cast<std::uint8_t>(display);
    }

    // Transparent ASCII, Monitor Both, capturing to `file` with Setup's saving
    // option `saving` (1 "Save MDB", 2 "Save XLS", 3 "Save TVL"), the run started.
    Bench(int saving, const std::string& file) {
        startProgram();
        mnuSetup_Click(*program);
        FrmSetup& setup = *program->frmSetup;
        setup.optMode[0]->choose();
        setup.optDisplay[0]->choose();
        setup.optMonitor[2]->choose();
        setup.optSaving[saving]->choose();
        setup.txtComPort[0]->setText("1");
        setup.txtComPort[1]->setText("2");
        platform.saveAnswer = file;
        setup.cmdOK->Click();
        program->FrmMain->mnuStartStop->Click();
    }

    // The program with the stores a capture needs, at its main window.
    void startProgram(LineTrace* trace = nullptr) {
        ProgramParts parts;
        parts.trace = trace;
        parts.makeTVL = makeKelTVL;
        parts.makeXLS = makeKelXLS;
        parts.makeMDB = makeKelMDB;
        make(std::move(parts));
        start();
    }

    void rows() {
        SharedState& s = program->state;
        const char* present[5] = {"ATZ\r", "OK\r\n", "+++", "ERROR", "RING"};
        const char* converted[5] = {"ATZ0\r", "OK\n", "", "ERR", "RING!"};
        for (int r = 0; r < 5; ++r) {
            s.PresentValue1[r] = s.PresentValue2[r] = present[r];
            s.ConvertedValue1[r] = s.ConvertedValue2[r] = converted[r];
        }
        s.MaxPresentLength[0] = s.MaxPresentLength[1] = 5;
    }

    // Both sides watched, during a run, for texts the traffic never shows: every
    // byte is compared, and each control byte with its whole pane.
    void watches() {
        SharedState& s = program->state;
        s.WatchString[0] = "#";
        s.WatchString[1] = "STOP<CR>";
        s.WatchArmed[0] = s.WatchArmed[1] = 1;
        program->FrmMain->mnuStartStop->Click();
    }
};

// Modem-like traffic: text lines with CR LF, and now and then a row's text.
std::string traffic(std::size_t n, unsigned seed) {
    std::mt19937 random(seed);
    const char* words[] = {"AT", "OK", "RING", "DATA", "+++", "ATZ", "VALUE=42", "ERROR"};
    std::string out;
    while (out.size() < n) {
        out += words[random() % 8];
        out += (random() % 4 == 0) ? "\r\n" : " ";
    }
    out.resize(n);
    return out;
}

// Figures by benchmark name, MB/s per port of wall time, for the goals.
std::map<std::string, double>& figures() {
    static std::map<std::string, double> f;
    return f;
}

void run(benchmark::State& state, const char* name, int mode, int display, bool withRows,
         bool watched = false, int saving = 0, bool traced = false) {
    const std::size_t perPort = 1 << 20;
    const std::string a = traffic(perPort, 1), b = traffic(perPort, 2);
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("tarvoline-bench-" + std::to_string(::getpid()));
    static const char* const files[4] = {"", "run.mdb", "run.xls", "run.tvl"};
    if (saving || traced) std::filesystem::create_directories(folder);
    std::chrono::duration<double> wall{};
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<TraceFile> trace;
        if (traced) trace = std::make_unique<TraceFile>((folder / "run.pcapng").string(), nullptr);
        std::unique_ptr<Bench> made =
            saving ? std::make_unique<Bench>(saving, (folder / files[saving]).string())
                   : std::make_unique<Bench>(mode, display, trace.get());
        Bench& bench = *made;
        if (withRows) bench.rows();
        if (watched) bench.watches();
        if (saving && (bench.program->state.RunState != 1 || !bench.platform.messages.empty())) {
            state.SkipWithError("the capture run did not start");
            break;
        }
        bench.line1.feed(a);
        bench.line2.feed(b);
        state.ResumeTiming();
        const auto start = std::chrono::steady_clock::now();
        bench.pumpInSlices();
        // A capture counts until Stop has written its last record and synced the file.
        if (saving) bench.program->FrmMain->mnuStartStop->Click();
        if (trace) trace->close();
        wall += std::chrono::steady_clock::now() - start;
        state.PauseTiming();
        if (bench.program->state.TransmitCount[0] != static_cast<std::int64_t>(perPort) ||
            bench.program->state.TransmitCount[1] != static_cast<std::int64_t>(perPort) ||
            !bench.platform.messages.empty()) {
            state.SkipWithError("the run stopped before every byte was read");
            break;
        }
        if (trace && !std::filesystem::exists(folder / "run.pcapng")) {
            state.SkipWithError("the trace was not written");
            break;
        }
        state.ResumeTiming();
    }
    if (saving || traced) std::filesystem::remove_all(folder);
    const double rate = double(perPort) * double(state.iterations()) / wall.count();
    state.counters["MB/s per port"] = rate / 1e6;
    figures()[name] = rate / 1e6;
}

void TransparentAscii(benchmark::State& s) { run(s, "TransparentAscii", 0, 0, false); }
void TransparentHex(benchmark::State& s) { run(s, "TransparentHex", 0, 1, false); }
void HostFiveRules(benchmark::State& s) { run(s, "HostFiveRules", 1, 0, true); }
void HostFiveRulesWatched(benchmark::State& s) { run(s, "HostFiveRulesWatched", 1, 0, true, true); }
void TransparentAsciiTraced(benchmark::State& s) {
    run(s, "TransparentAsciiTraced", 0, 0, false, false, 0, true);
}
void HostFiveRulesTraced(benchmark::State& s) {
    run(s, "HostFiveRulesTraced", 1, 0, true, false, 0, true);
}
void TransparentAsciiSavingTvl(benchmark::State& s) {
    run(s, "TransparentAsciiSavingTvl", 0, 0, false, false, 3);
}
void TransparentAsciiSavingXls(benchmark::State& s) {
    run(s, "TransparentAsciiSavingXls", 0, 0, false, false, 2);
}
void TransparentAsciiSavingMdb(benchmark::State& s) {
    run(s, "TransparentAsciiSavingMdb", 0, 0, false, false, 1);
}

BENCHMARK(TransparentAscii)->Unit(benchmark::kMillisecond)->MinTime(1)->UseRealTime();
BENCHMARK(TransparentHex)->Unit(benchmark::kMillisecond)->MinTime(1)->UseRealTime();
BENCHMARK(HostFiveRules)->Unit(benchmark::kMillisecond)->MinTime(1)->UseRealTime();
BENCHMARK(HostFiveRulesWatched)->Unit(benchmark::kMillisecond)->MinTime(1)->UseRealTime();
BENCHMARK(TransparentAsciiTraced)->Unit(benchmark::kMillisecond)->MinTime(1)->UseRealTime();
BENCHMARK(HostFiveRulesTraced)->Unit(benchmark::kMillisecond)->MinTime(1)->UseRealTime();
BENCHMARK(TransparentAsciiSavingTvl)->Unit(benchmark::kMillisecond)->MinTime(1)->UseRealTime();
BENCHMARK(TransparentAsciiSavingXls)->Unit(benchmark::kMillisecond)->MinTime(1)->UseRealTime();
BENCHMARK(TransparentAsciiSavingMdb)->Unit(benchmark::kMillisecond)->MinTime(1)->UseRealTime();

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    double load = 0;
    ::getloadavg(&load, 1);
    std::printf("\nload average %.2f (figures are wall time; a busy machine lowers them)\n", load);
    // Goals in MB/s per port, both ports busy: the figures the last round of
    // speed work reached on an idle machine, not to fall below, and an .mdb
    // capture of at least 10.
    const struct {
        const char* name;
        double least;
        const char* what;
    } goals[] = {
        {"TransparentAscii", 42.7, "no regression"},
        {"HostFiveRules", 17.8, "no regression"},
        {"TransparentAsciiSavingTvl", 12.2, "no regression"},
        {"TransparentAsciiSavingXls", 11.7, "no regression"},
        {"TransparentAsciiSavingMdb", 10, "capture at least"},
    };
    for (const auto& goal : goals) {
        const auto found = figures().find(goal.name);
        if (found == figures().end()) continue;
        std::printf("goal: %-26s %-16s %4.1f MB/s per port  %-7s (%.2f)\n", goal.name, goal.what,
                    goal.least, found->second >= goal.least ? "met" : "NOT met", found->second);
    }
    // A trace beside the pump keeps at least half its speed.
    for (const char* name : {"TransparentAscii", "HostFiveRules"}) {
        const auto plain = figures().find(name);
        const auto traced = figures().find(std::string(name) + "Traced");
        if (plain == figures().end() || traced == figures().end()) continue;
        const double ratio = traced->second / plain->second;
        std::printf("goal: %-26s traced/untraced at least 0.50  %-7s (%.2f: %.2f against %.2f MB/s)\n",
                    name, ratio >= 0.5 ? "met" : "NOT met", ratio, traced->second, plain->second);
    }
    return 0;
}
