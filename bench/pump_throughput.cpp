// Bytes per second per port through the transfer pump, both ports busy, on the
// simulated line: Transparent ASCII, Transparent hexadecimal, and Host mode
// with five conversion rows per direction, also with both watches armed; and
// Transparent ASCII with a capture running ("Save TVL", "Save XLS", "Monitor
// Both", prepared through the Setup dialog), a record at every pane limit.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/stores.h"
#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "tests/support/program_on_lines.h"

namespace {

using namespace tvl;

struct Bench : testing::ProgramOnLines<QuietPlatform> {
    Bench(int mode, int display) {
        startProgram();
        openPorts();
        program->state.OperationMode = static_cast<std::uint8_t>(mode);
        program->state.DisplayMode = static_cast<std::uint8_t>(display);
    }

    // Transparent ASCII, Monitor Both, capturing to `file` with Setup's saving
    // option `saving` (2 "Save XLS", 3 "Save TVL"), the run started.
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
    void startProgram() {
        ProgramParts parts;
        parts.makeTVL = makeKelTVL;
        parts.makeXLS = makeKelXLS;
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

void run(benchmark::State& state, int mode, int display, bool withRows, bool watched = false,
         int saving = 0) {
    const std::size_t perPort = 1 << 20;
    const std::string a = traffic(perPort, 1), b = traffic(perPort, 2);
    const std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("tarvoline-bench-" + std::to_string(::getpid()));
    if (saving) std::filesystem::create_directories(folder);
    for (auto _ : state) {
        state.PauseTiming();
        std::unique_ptr<Bench> made =
            saving ? std::make_unique<Bench>(
                         saving, (folder / (saving == 3 ? "run.tvl" : "run.xls")).string())
                   : std::make_unique<Bench>(mode, display);
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
        bench.pump();
        state.PauseTiming();
        if (bench.program->state.TransmitCount[0] != static_cast<std::int64_t>(perPort) ||
            bench.program->state.TransmitCount[1] != static_cast<std::int64_t>(perPort)) {
            state.SkipWithError("the run stopped before every byte was read");
            break;
        }
        state.ResumeTiming();
    }
    if (saving) std::filesystem::remove_all(folder);
    state.counters["bytes/s per port"] =
        benchmark::Counter(double(perPort) * state.iterations(), benchmark::Counter::kIsRate);
    state.counters["times the goal"] = benchmark::Counter(
        double(perPort) * state.iterations() / (withRows ? 1e6 : 2e6), benchmark::Counter::kIsRate);
}

void TransparentAscii(benchmark::State& s) { run(s, 0, 0, false); }
void TransparentHex(benchmark::State& s) { run(s, 0, 1, false); }
void HostFiveRules(benchmark::State& s) { run(s, 1, 0, true); }
void HostFiveRulesWatched(benchmark::State& s) { run(s, 1, 0, true, true); }
void TransparentAsciiSavingTvl(benchmark::State& s) { run(s, 0, 0, false, false, 3); }
void TransparentAsciiSavingXls(benchmark::State& s) { run(s, 0, 0, false, false, 2); }

BENCHMARK(TransparentAscii)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(TransparentHex)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(HostFiveRules)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(HostFiveRulesWatched)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(TransparentAsciiSavingTvl)->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(TransparentAsciiSavingXls)->Unit(benchmark::kMillisecond)->MinTime(1);

}  // namespace

BENCHMARK_MAIN();
