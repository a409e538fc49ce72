// Opening a run's capture and leaving the review: the capture written back,
// whole at every moment and with every record's time.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "tests/review/review_rig.h"

namespace tvl::review_test {
namespace {

// A run's capture opened with the monitor running on behind, then saved back.
TEST(ReviewSave, WritesTheEntriesOfARunsCaptureAsTheyStandNotThePanes) {
    ReviewRig r;
    const std::string path = r.recordRun("cap.tvl", {"head 1", "head 2"},
                                         {{"one", "uno"}, {"", "only b"}, {"three", ""}});
    Program& p = *r.program;
    mnuStartStop_Click(p);
    r.open(path);
    EXPECT_EQ(r.platform.asked.at(0), "open in " + r.platform.ProgramFolder() +
                                          ": Kelmar Tarvoline (*.tvl)|*.tvl|All Files (*.*)|*.*");
    EXPECT_EQ(r.state().RecordCount, 5);
    EXPECT_EQ(r.state().RecordPort1,
              (std::vector<std::string>{"", "", "head 1", "one", " ", "three"}));
    EXPECT_EQ(r.state().RecordPort2,
              (std::vector<std::string>{"", "", "head 2", "uno", "only b", " "}));
    // The store names the reviewed file: the chosen name less its last 4 characters.
    EXPECT_EQ(p.KelTVL->StoreFolder, r.folder());
    EXPECT_EQ(p.KelTVL->StoreName, "cap");
    // The run goes on under the review: the hidden panes fill.
    EXPECT_TRUE(r.form().tmrTarvoline->Enabled);
    r.line1.feed("later");
    r.pump();
    EXPECT_EQ(r.form().txtCommunication[0]->Text(), "later");
    EXPECT_EQ(r.form().txtPort1->Text(), "one");

    r.form().txtPort1->setText("one edited");
    mnuForward_Click(p);                          // keeps the edit of entry 3
    r.form().txtPort2->setText("only b edited");  // no step follows: not saved
    r.form().mnuSaveExit->Click();
    const testing::TvlCapture saved = readTvl(path);
    EXPECT_EQ(saved.titles, Record("Port1 (DTE1): ", "Port2 (DTE2/DCE): "));
    EXPECT_EQ(saved.head, Record());  // the head is replaced by the empty entry 1
    EXPECT_EQ(saved.records,
              (std::vector<Record>{{"one edited", "uno"}, {" ", "only b"}, {"three", " "}}));
    // Nothing is left beside the file, and the review stays as it was.
    EXPECT_EQ(std::distance(fs::directory_iterator(r.folder()), {}), 1);
    EXPECT_TRUE(r.form().tbrFileAccess->Visible);
    EXPECT_EQ(r.form().txtPort2->Text(), "only b edited");

    // The command can be given again, and picks up what a step wrote back since.
    mnuBack_Click(p);
    mnuSaveExit_Click(p);
    EXPECT_EQ(readTvl(path).records[1], Record(" ", "only b edited"));
    EXPECT_TRUE(r.platform.messages.empty());
}

TEST(ReviewSave, AFailedSaveNamesTheFileAndLosesNothing) {
    ReviewRig r;
    const std::string path = r.recordRun("cap.tvl", {}, {{"one", "uno"}});
    const std::string before = readFile(path);
    r.open(path);
    r.form().txtPort1->setText("precious");
    mnuHome_Click(*r.program);
    // Something stands where the new file would be written.
    fs::create_directories(path + ".new.tvl/inside");
    mnuSaveExit_Click(*r.program);
    ASSERT_EQ(r.platform.messages.size(), 1u);
    EXPECT_EQ(r.platform.messages[0].rfind("Tarvoline File Save Error: ", 0), 0u)
        << r.platform.messages[0];
    EXPECT_NE(r.platform.messages[0].find(path), std::string::npos) << r.platform.messages[0];
    EXPECT_EQ(r.platform.ends, 0);
    EXPECT_EQ(readFile(path), before);
    EXPECT_EQ(r.state().RecordPort1[3], "precious");
    EXPECT_TRUE(fs::exists(path + ".new.tvl/inside"));  // what was there is left alone
    EXPECT_EQ(r.program->KelTVL->StoreName, "cap");

    fs::remove_all(path + ".new.tvl");
    mnuSaveExit_Click(*r.program);
    EXPECT_EQ(r.platform.messages.size(), 1u);
    EXPECT_EQ(readTvl(path).records[0], Record("precious", "uno"));
}

// A save killed at any moment leaves the capture byte for byte as it was or as saved.
TEST(ReviewSave, KilledAtAnyMomentLeavesTheOldOrTheNewFileWhole) {
    using namespace std::chrono;
    ReviewRig r;
    const std::string path = r.writeCapture("big.tvl", 3001, [](KelTVL& store, int i) {
        store.PortText1 = std::string(150, char('a' + i % 26));
        store.PortText2 = std::to_string(i);
    });
    const std::string oldBytes = readFile(path);
    r.open(path);
    ASSERT_TRUE(r.platform.messages.empty());
    for (std::size_t i = 3; i < r.state().RecordPort1.size(); i += 7)
        r.state().RecordPort1[i] = "changed";

    // A save in a child process, killed after `us` microseconds unless that is negative.
    auto save = [&](long us) {
        const pid_t child = ::fork();
        if (child == 0) {
            mnuSaveExit_Click(*r.program);
            ::_exit(r.platform.messages.empty() ? 0 : 1);
        }
        if (child < 0) return -1;
        if (us >= 0) {
            std::this_thread::sleep_for(microseconds(us));
            ::kill(child, SIGKILL);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return status;
    };
    // One whole save, timed, gives the new content.
    const auto start = steady_clock::now();
    const int status = save(-1);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    const long took = duration_cast<microseconds>(steady_clock::now() - start).count();
    const std::string newBytes = readFile(path);
    ASSERT_NE(newBytes, oldBytes);

    std::mt19937 random(7);
    // Half the kills anywhere in the save, half close to its end, where the file is replaced.
    std::uniform_int_distribution<long> anywhere(0, took * 6 / 5),
        nearEnd(took * 7 / 10, took * 6 / 5);
    int sawOld = 0;
    for (int round = 0; round < 40; ++round) {
        testing::writeFile(path, oldBytes);
        save(round % 2 ? nearEnd(random) : anywhere(random));
        const std::string now = readFile(path);
        ASSERT_TRUE(now == oldBytes || now == newBytes)
            << "round " << round << ": " << now.size() << " bytes";
        sawOld += now == oldBytes;
        EXPECT_EQ(readTvl(path).records.size(), 3000u);  // reads without an error
    }
    std::printf("killed saves: %d of 40 left the old file (a save takes %ld us)\n", sawOld, took);
    // A save after all those leftovers still completes.
    testing::writeFile(path, oldBytes);
    mnuSaveExit_Click(*r.program);
    EXPECT_TRUE(r.platform.messages.empty());
    EXPECT_EQ(readFile(path), newBytes);
}

TEST(ReviewTimes, TheEntryOnScreenShowsItsTimeAndSavingKeepsEveryTime) {
    ReviewRig r;
    // Record 1 is the head; the third has no time; the last two are the extremes.
    const std::vector<std::optional<std::int64_t>> times = {
        1732425600000000, 1732425630123456, std::nullopt, 951782400000001, -1, INT64_MAX};
    r.open(r.writeCapture("cap.tvl", int(times.size()), [&](KelTVL& store, int i) {
        store.KeepPortTime = true;
        store.PortText1 = "record " + std::to_string(i + 1);
        store.PortTime = times[i];
    }));
    const Label& shown = *r.form().lblRecordTime;
    EXPECT_EQ(shown.Caption, "Written 2024-11-24 05:20:30.123456 UTC");
    mnuForward_Click(*r.program);
    EXPECT_EQ(shown.Caption, "No time recorded");
    mnuForward_Click(*r.program);
    EXPECT_EQ(shown.Caption, "Written 2000-02-29 00:00:00.000001 UTC");
    mnuForward_Click(*r.program);
    EXPECT_EQ(shown.Caption, "Written 1969-12-31 23:59:59.999999 UTC");
    r.platform.inputs = {"record 1"};
    mnuFind_Click(*r.program);  // the file's head record, entry 2
    EXPECT_EQ(shown.Caption, "Written 2024-11-24 05:20:00.000000 UTC");

    // Saved back, every record keeps its time, the empty entry 1 the head's.
    mnuSaveExit_Click(*r.program);
    EXPECT_EQ(readTvl(r.file("cap.tvl")).times, times);
    EXPECT_TRUE(r.platform.messages.empty());
}

}  // namespace
}  // namespace tvl::review_test
