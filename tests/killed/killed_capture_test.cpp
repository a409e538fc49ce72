// A capture survives SIGKILL in the middle of a run. A child runs the whole
// program on simulated lines fed without pause, capturing into a .tvl file, and
// tells the parent through a pipe each record it begins ('B') and ends ('D')
// appending. Killed at a random moment, its file holds every record whose append
// returned, exact and in order, and at most the one under way (whole or torn).
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/keltvl_file.h"
#include "platform/quiet_platform.h"
#include "setup/setup.h"
#include "tests/stores/store_readers.h"
#include "tests/support/program_on_lines.h"

namespace tvl {
namespace {

using testing::Record;
const Record kTitles{"Port1 (DTE1): ", "Port2 (DTE2/DCE): "};

// One line per write() of at most PIPE_BUF bytes, so a kill never halves one:
// its kind, then each text in hex ("-" when empty).
void report(int fd, char kind, const std::string& a = {}, const std::string& b = {}) {
    std::string m(1, kind);
    for (const std::string* s : {&a, &b}) {
        m += s->empty() ? " -" : " ";
        for (unsigned char c : *s) m += "0123456789abcdef"[c >> 4], m += "0123456789abcdef"[c & 15];
    }
    m += '\n';
    if (m.size() > PIPE_BUF || ::write(fd, m.data(), m.size()) != ssize_t(m.size())) ::_exit(3);
}

// The real store, telling the parent around every append of a record.
class ReportingTVL : public KelTVLFile {
public:
    explicit ReportingTVL(int fd) : fd_(fd) {}
    void AppendRecord(int mode) override {
        if (mode == 0) report(fd_, 'B', PortText1, PortText2);
        KelTVLFile::AppendRecord(mode);
        if (mode == 0) report(fd_, 'D');
    }

private:
    int fd_;
};

// Serial traffic: text with line ends, now and then any other byte but NUL.
std::string traffic(std::mt19937& random, std::size_t n) {
    std::string out;
    while (out.size() < n) {
        const unsigned pick = random() % 40;
        if (pick == 0) out += "\r\n";
        if (pick > 0) out.push_back(char(pick == 1 ? 1 + random() % 255 : '!' + random() % 94));
    }
    return out;
}

// The child: never returns.
[[noreturn]] void capturingChild(int fd, const std::string& file, unsigned seed) {
    testing::ProgramOnLines<QuietPlatform> run;
    ProgramParts parts;
    parts.makeTVL = [fd] { return std::make_unique<ReportingTVL>(fd); };
    Program& program = run.make(std::move(parts));
    QuietPlatform& platform = run.platform;
    run.start();
    const auto fail = [&](const char* what) {
        report(fd, 'E', platform.messages.empty() ? what : platform.messages.front());
        ::_exit(1);
    };

    mnuSetup_Click(program);
    FrmSetup& setup = *program.frmSetup;
    setup.optMonitor[2]->choose();  // Monitor Both
    setup.optSaving[3]->choose();   // Save TVL
    setup.txtComPort[0]->setText("1");
    setup.txtComPort[1]->setText("2");
    platform.saveAnswer = file;
    setup.cmdOK->Click();
    program.FrmMain->mnuStartStop->Click();
    if (program.state.RunState != 1 || !platform.messages.empty()) fail("the run did not start");
    report(fd, 'R');

    std::mt19937 random(seed);
    for (;;) {
        run.line1.feed(traffic(random, 20 + random() % 60));
        run.line2.feed(traffic(random, 20 + random() % 60));
        run.pump();
        if (!program.FrmMain->tmrTarvoline->Enabled || program.state.RunState != 1)
            fail("the run stopped");
    }
}

struct Killed {
    std::vector<Record> appended;   // appends that returned, in order
    std::optional<Record> pending;  // an append begun and not known to have returned
    std::string error;              // the child's own complaint, or the parent's
    bool ready = false;             // the run is under way
};

// Takes the whole lines off the front of `buf` into `k`.
void takeMessages(std::string& buf, Killed& k) {
    for (std::size_t end; (end = buf.find('\n')) != std::string::npos; buf.erase(0, end + 1)) {
        const std::vector<std::string> w = testing::words(buf.substr(0, end));
        const Record texts{testing::fromHex(w.at(1)), testing::fromHex(w.at(2))};
        if (w[0] == "R") {
            k.ready = true;
        } else if (w[0] == "B" && !k.pending) {
            k.pending = texts;
        } else if (w[0] == "D" && k.pending) {
            k.appended.push_back(*k.pending);
            k.pending.reset();
        } else {
            k.error = w[0] == "E" ? "child: " + texts.first : "a message out of order";
        }
    }
}

// Where a kill's delay counts from.
enum class From { RunStart, AppendBegun, AppendReturned };

// Starts the child, kills it `delay` after `from` and collects what it said.
Killed runAndKill(const std::string& file, unsigned seed, std::chrono::microseconds delay,
                  From from) {
    Killed k;
    int fds[2];
    if (::pipe(fds) != 0) return k.error = "pipe failed", k;
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(fds[0]);
        try {
            capturingChild(fds[1], file, seed);
        } catch (...) {
            ::_exit(2);
        }
    }
    ::close(fds[1]);
    if (pid < 0) return ::close(fds[0]), k.error = "fork failed", k;

    using Clock = std::chrono::steady_clock;
    std::string buf;
    bool eof = false;
    std::size_t returned = 0;  // appends known to have returned at the last look
    const auto giveUp = Clock::now() + std::chrono::seconds(30);
    Clock::time_point killAt = Clock::time_point::max();
    const auto drain = [&](int timeoutMs) {
        pollfd p{fds[0], POLLIN, 0};
        if (::poll(&p, 1, timeoutMs) <= 0) return;
        char chunk[65536];
        const ssize_t n = ::read(fds[0], chunk, sizeof chunk);
        if (n <= 0) return void(eof = true);
        buf.append(chunk, std::size_t(n));
        takeMessages(buf, k);
    };
    for (auto now = Clock::now(); !eof && now < killAt && now < giveUp; now = Clock::now()) {
        const bool justReturned = k.appended.size() > returned;
        returned = k.appended.size();
        if (k.ready && killAt == Clock::time_point::max() &&
            (from == From::RunStart || (from == From::AppendBegun && k.pending) ||
             (from == From::AppendReturned && justReturned)))
            killAt = now + delay;
        drain(int(std::clamp<long long>(
            std::chrono::duration_cast<std::chrono::milliseconds>(killAt - now).count(), 0, 50)));
    }
    ::kill(pid, SIGKILL);
    if (Clock::now() >= giveUp) k.error = "the child never got far enough to be killed";
    int status = 0;
    ::waitpid(pid, &status, 0);
    while (!eof) drain(1000);  // what it wrote before it died
    ::close(fds[0]);
    if (!buf.empty()) k.error = "half a message in the pipe";
    if (k.error.empty() && !(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL))
        k.error = "the child ended by itself, status " + std::to_string(status);
    return k;
}

// Fifteen kills: anywhere in the run's first 400 ms; microseconds into an append
// (where a write is cut); microseconds after one returned (where one held back is missed).
TEST(KilledCapture, TvlKeepsEveryRecordAppendedBeforeTheKill) {
    testing::ScratchFolder folder;
    const unsigned seed = std::random_device{}();
    std::printf("kill moments from seed %u\n", seed);
    std::mt19937 random(seed);
    std::size_t total = 0, inAppend = 0;
    for (int i = 0; i < 15 && !HasFailure(); ++i) {
        const From from = From(i % 3);
        const auto delay = std::chrono::microseconds(random() % (i % 3 ? 300 : 400000));
        const std::string file = folder / ("run" + std::to_string(i) + ".tvl");
        const Killed k = runAndKill(file, random(), delay, from);
        SCOPED_TRACE(file + ": " + std::to_string(k.appended.size()) + " appends returned" +
                     (k.pending ? ", killed while appending" : ""));
        ASSERT_EQ(k.error, "");
        total += k.appended.size();
        inAppend += k.pending.has_value();
        testing::TvlCapture c;
        ASSERT_NO_THROW(c = testing::readTvl(file)) << "the file does not read";
        EXPECT_EQ(c.titles, kTitles);
        EXPECT_EQ(c.head, Record()) << "the head Setup wrote";
        ASSERT_GE(c.records.size(), k.appended.size()) << "records lost";
        for (std::size_t r = 0; r < k.appended.size(); ++r)
            ASSERT_EQ(c.records[r], k.appended[r]) << "record " << r;
        ASSERT_LE(c.records.size(), k.appended.size() + (k.pending ? 1 : 0))
            << "records nobody appended";
        if (c.records.size() > k.appended.size()) {
            EXPECT_EQ(c.records.back(), *k.pending) << "the record under way";
        }
        if (c.torn) {  // only the record under way, and not as well as it whole
            EXPECT_TRUE(k.pending.has_value()) << "a torn tail with no append under way";
            EXPECT_EQ(c.records.size(), k.appended.size()) << "a torn tail and the record whole";
        }
    }
    EXPECT_GT(total, 0u) << "no kill came after a record was written";
    std::printf("15 kills: %zu records appended in all, %zu kills during an append\n", total,
                inAppend);
}

}  // namespace
}  // namespace tvl
