// Leaving a review: writing the capture back, and going back to the monitor.
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>

#include <gtest/gtest.h>

#include "tests/review/review_rig.h"

namespace tvl::review_test {
namespace {

std::vector<std::string> folderNames(const std::string& folder) {
    std::vector<std::string> names;
    for (const auto& e : fs::directory_iterator(folder))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(ReviewSave, WritesTheEntriesAsTheyStandNotThePanes) {
    ReviewRig r;
    const std::string path =
        r.recordRun("cap.tvl", {"head 1", "head 2"}, {{"one", "uno"}, {"two", "dos"}});
    r.open(path);
    Program& p = *r.program;
    r.form().txtPort1->setText("one edited");
    mnuForward_Click(p);                       // keeps the edit of entry 3
    r.form().txtPort2->setText("dos edited");  // no step follows: not saved
    r.form().mnuSaveExit->Click();

    const testing::TvlCapture saved = readTvl(path);
    EXPECT_EQ(saved.titles, Record("Port1 (DTE1): ", "Port2 (DTE2/DCE): "));
    EXPECT_EQ(saved.head, Record());  // the head is replaced by the empty entry 1
    EXPECT_EQ(saved.records, (std::vector<Record>{{"one edited", "uno"}, {"two", "dos"}}));
    EXPECT_EQ(folderNames(r.scratch.folder()), std::vector<std::string>{"cap.tvl"});
    EXPECT_EQ(r.form().txtPort2->Text(), "dos edited");

    // The command can be given again, and picks up what a step wrote back since.
    mnuBack_Click(p);
    mnuSaveExit_Click(p);
    EXPECT_EQ(readTvl(path).records[1], Record("two", "dos edited"));
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

// A save killed at any moment leaves the capture either as it was or as saved,
// each byte for byte, and the file always reads.
TEST(ReviewSave, KilledAtAnyMomentLeavesTheOldOrTheNewFileWhole) {
    ReviewRig r;
    KelTVL& store = *r.program->KelTVL;
    store.StoreFolder = r.scratch.folder();
    store.StoreName = "big.tvl";
    store.PortTitle1 = "T1";
    store.PortTitle2 = "T2";
    store.PortText1.clear();
    store.PortText2.clear();
    store.OpenStore();
    store.AppendRecord(1);
    for (int i = 0; i < 3000; ++i) {
        store.PortText1 = std::string(150, char('a' + i % 26));
        store.PortText2 = std::to_string(i);
        store.AppendRecord(0);
    }
    store.CloseStore();
    const std::string path = r.scratch.file("big.tvl");
    const std::string oldBytes = readFile(path);
    r.open(path);
    ASSERT_TRUE(r.platform.messages.empty());
    for (std::size_t i = 3; i < r.state().RecordPort1.size(); i += 7)
        r.state().RecordPort1[i] = "changed";

    auto saveInChild = [&] {
        const pid_t child = ::fork();
        if (child == 0) {
            mnuSaveExit_Click(*r.program);
            ::_exit(r.platform.messages.empty() ? 0 : 1);
        }
        return child;
    };
    // One whole save, timed, gives the new content.
    const auto start = std::chrono::steady_clock::now();
    const pid_t full = saveInChild();
    ASSERT_GT(full, 0);
    int status = 0;
    ::waitpid(full, &status, 0);
    ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    const auto took = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - start);
    const std::string newBytes = readFile(path);
    ASSERT_NE(newBytes, oldBytes);

    std::mt19937 random(7);
    // Half the kills anywhere in the save, half close to its end, where the file is replaced.
    std::uniform_int_distribution<long> anywhere(0, took.count() + took.count() / 5);
    std::uniform_int_distribution<long> nearEnd(took.count() * 7 / 10,
                                                took.count() + took.count() / 5);
    int sawOld = 0, sawNew = 0;
    for (int round = 0; round < 40; ++round) {
        testing::writeFile(path, oldBytes);
        const pid_t child = saveInChild();
        ASSERT_GT(child, 0);
        std::this_thread::sleep_for(
            std::chrono::microseconds(round % 2 ? nearEnd(random) : anywhere(random)));
        ::kill(child, SIGKILL);
        ::waitpid(child, &status, 0);
        const std::string now = readFile(path);
        ASSERT_TRUE(now == oldBytes || now == newBytes)
            << "round " << round << ": " << now.size() << " bytes";
        (now == oldBytes ? sawOld : sawNew)++;
        EXPECT_EQ(readTvl(path).records.size(), 3000u);  // reads without an error
    }
    std::printf("killed saves: %d left the old file, %d the new one (a save takes %ld us)\n",
                sawOld, sawNew, long(took.count()));
    // A save after all those leftovers still completes.
    testing::writeFile(path, oldBytes);
    mnuSaveExit_Click(*r.program);
    EXPECT_TRUE(r.platform.messages.empty());
    EXPECT_EQ(readFile(path), newBytes);
}

TEST(ReviewTimes, TheEntryOnScreenShowsItsTimeAndSavingKeepsEveryTime) {
    ReviewRig r;
    // Record 1 is the file's head; the third was written with no time.
    const std::vector<std::optional<std::int64_t>> times = {1732425600000000, 1732425630123456,
                                                            std::nullopt, 951782400000001};
    KelTVL& store = *r.program->KelTVL;
    store.StoreFolder = r.scratch.folder();
    store.StoreName = "cap.tvl";
    store.KeepPortTime = true;
    for (std::size_t i = 0; i < times.size(); ++i) {
        store.PortText1 = "record " + std::to_string(i + 1);
        store.PortTime = times[i];
        store.OpenStore();
        store.AppendRecord(i == 0 ? 1 : 0);
        store.CloseStore();
    }
    store.KeepPortTime = false;
    r.open(r.scratch.file("cap.tvl"));
    const Label& shown = *r.form().lblRecordTime;
    EXPECT_EQ(shown.Caption, "Written 2024-11-24 05:20:30.123456 UTC");
    mnuForward_Click(*r.program);
    EXPECT_EQ(shown.Caption, "No time recorded");
    mnuForward_Click(*r.program);
    EXPECT_EQ(shown.Caption, "Written 2000-02-29 00:00:00.000001 UTC");
    r.platform.inputs.push_back("record 1");
    mnuFind_Click(*r.program);  // the file's head record, entry 2
    EXPECT_EQ(shown.Caption, "Written 2024-11-24 05:20:00.000000 UTC");

    // Saved back, every record keeps its time; the empty entry 1 that takes
    // the head's place keeps the head's.
    mnuSaveExit_Click(*r.program);
    EXPECT_EQ(readTvl(r.scratch.file("cap.tvl")).times, times);

    // A capture written before records carried a time opens, shows none, and
    // saves its records as they were, still with none.
    mnuNoSaveExit_Click(*r.program);
    const std::string old = r.scratch.file("old.tvl");
    fs::copy_file(std::string(TVL_SOURCE_DIR) + "/tests/stores/version1_capture.tvl", old);
    const testing::TvlCapture before = readTvl(old);
    r.open(old);
    EXPECT_EQ(shown.Caption, "No time recorded");
    mnuSaveExit_Click(*r.program);
    const testing::TvlCapture after = readTvl(old);
    EXPECT_TRUE(r.platform.messages.empty());
    EXPECT_EQ(after.head, before.head);
    EXPECT_EQ(after.records, before.records);
    EXPECT_EQ(after.times, before.times);
}

}  // namespace
}  // namespace tvl::review_test
