// A whole headless program for the review tests: a desktop that answers from
// a queue, simulated lines, and captures written by the program's own runs.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <deque>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "app/frm_main.h"
#include "app/program.h"
#include "components/stores/stores.h"
#include "line/start_stop.h"
#include "platform/quiet_platform.h"
#include "review/review.h"
#include "tests/support/program_on_lines.h"

namespace tvl::review_test {

namespace fs = std::filesystem;

using Record = std::pair<std::string, std::string>;

struct Capture {
    std::string title1, title2;
    std::vector<Record> records;  // the first is the file's head record
    std::vector<std::optional<std::int64_t>> times;
};

// Reads a capture back through a fresh store, in the order the program reads.
inline Capture readCapture(const std::string& path) {
    auto file = makeKelTVL();
    const auto slash = path.rfind('/');
    file->StoreFolder = path.substr(0, slash + 1);
    file->StoreName = path.substr(slash + 1);
    file->CountRecords();
    const auto n = static_cast<long>(file->RecordCount());
    file->OpenStore();
    file->ReadTitles();
    Capture c{file->PortTitle1, file->PortTitle2, {}, {}};
    file->ReadRecord(1);
    for (long i = 1; i < n; ++i) {
        file->ReadRecord(0);
        c.records.emplace_back(file->PortText1, file->PortText2);
        c.times.push_back(file->PortTime);
    }
    file->CloseStore();
    return c;
}

inline std::string fileBytes(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

class ReviewPlatform : public QuietPlatform {
public:
    using QuietPlatform::QuietPlatform;
    std::string InputBox(const std::string& prompt, const std::string& title) override {
        prompts.push_back(prompt);
        titles.push_back(title);
        std::string answer = inputs.empty() ? std::string() : inputs.front();
        if (!inputs.empty()) inputs.pop_front();
        return answer;
    }
    std::string ShowOpen(const std::string& folder, const std::string& filter) override {
        openFolder = folder;
        openFilter = filter;
        return openAnswer;
    }
    std::deque<std::string> inputs;
    std::vector<std::string> prompts, titles;
    std::string openFolder, openFilter;
};

class Scratch {
public:
    Scratch() {
        std::string templ = (fs::temp_directory_path() / "tvl-review-XXXXXX").string();
        if (!::mkdtemp(templ.data())) std::abort();
        path_ = templ;
    }
    ~Scratch() {
        std::error_code ec;
        fs::remove_all(path_, ec);
    }
    std::string folder() const { return path_.string() + "/"; }
    std::string file(const std::string& name) const { return (path_ / name).string(); }

private:
    fs::path path_;
};

// The scratch folder comes first: the platform is told its name, and it is
// removed only once the program is gone.
struct WithScratch {
    Scratch scratch;
};

struct ReviewRig : WithScratch, testing::ProgramOnLines<ReviewPlatform> {
    ReviewRig() : ProgramOnLines(scratch.folder() + "program") {
        ProgramParts parts;
        parts.makeTVL = makeKelTVL;
        make(std::move(parts));
        start();
        openPorts();
    }

    FrmMain& form() { return *program->FrmMain; }
    SharedState& state() { return program->state; }

    // A capture as a run of the program writes it with "Save TVL" and "Monitor
    // Both": the head record takes the store's columns as they stand (`head`),
    // then each Start/Stop cycle writes one record, column 1 from what the
    // device on Port 2 sent, column 2 from what the device on Port 1 sent
    // (printable texts under 200 characters; an empty one is stored as a blank).
    std::string recordRun(const std::string& name, const Record& head,
                          const std::vector<Record>& runs) {
        KelTVL& store = *program->KelTVL;
        store.StoreFolder = scratch.folder();
        store.StoreName = name;
        store.PortTitle1 = "Port1 (DTE1): ";
        store.PortTitle2 = "Port2 (DTE2/DCE): ";
        store.PortText1 = head.first;
        store.PortText2 = head.second;
        store.OpenStore();
        store.AppendRecord(1);
        store.CloseStore();
        state().SavingMode = 3;
        state().MonitorChoice = 2;
        state().OperationMode = 0;
        for (const auto& [toPort1, toPort2] : runs) {
            mnuStartStop_Click(*program);
            line2.feed(toPort1);
            line1.feed(toPort2);
            pump();
            mnuStartStop_Click(*program);
        }
        state().SavingMode = 0;
        return scratch.file(name);
    }

    void open(const std::string& path) {
        platform.openAnswer = path;
        mnuOpenFile_Click(*program);
    }
};

}  // namespace tvl::review_test
