// The review scenarios open small captures kept under
// tests/scenarios/review_captures/. They are what the program's own runs
// write, at the times they were made; this test writes them again and checks
// that the kept files still hold exactly those records. With
// TVL_WRITE_REVIEW_CAPTURES=1 it writes them into place.
#include <cstdlib>
#include <tuple>

#include <gtest/gtest.h>

#include "tests/review/review_rig.h"

namespace tvl::review_test {
namespace {

struct Fixture {
    const char* name;
    Record head;
    std::vector<Record> runs;
};

const Fixture kFixtures[] = {
    // No data record: the review refuses it.
    {"empty.tvl", {}, {}},
    // One data record.
    {"one.tvl", {}, {{"only record", "the answer"}}},
    // A head record with text (a second Setup after a run writes the columns
    // as they stand) and four data records, one with an empty pane.
    {"ring.tvl",
     {"head text", "Head Two"},
     {{"first", "uno"}, {"second", "dos"}, {"third find", "Find tres"}, {"", "cuatro find"}}},
    // An empty head: saving it unchanged gives the same bytes.
    {"save.tvl", {}, {{"alpha", "beta"}, {"gamma", ""}, {"delta", "epsilon"}}},
};

TEST(ReviewCaptures, TheKeptCapturesAreWhatARunWrites) {
    const std::string kept = std::string(TVL_SOURCE_DIR) + "/tests/scenarios/review_captures/";
    const char* write = std::getenv("TVL_WRITE_REVIEW_CAPTURES");
    for (const Fixture& f : kFixtures) {
        ReviewRig rig;
        const std::string made = fileBytes(rig.recordRun(f.name, f.head, f.runs));
        // What the run wrote reads back as asked for.
        const Capture c = readCapture(rig.scratch.file(f.name));
        ASSERT_EQ(c.records.size(), f.runs.size() + 1) << f.name;
        EXPECT_EQ(c.records[0], f.head) << f.name;
        if (write && std::string(write) == "1") {
            fs::create_directories(kept);
            std::ofstream(kept + f.name, std::ios::binary | std::ios::trunc) << made;
        }
        const Capture k = readCapture(kept + f.name);
        EXPECT_EQ(std::tie(k.title1, k.title2, k.records), std::tie(c.title1, c.title2, c.records))
            << f.name << " differs from a fresh run's capture";
    }
}

}  // namespace
}  // namespace tvl::review_test
