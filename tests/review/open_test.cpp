// Every way opening a capture fails, and the most entries a review holds.
#include <gtest/gtest.h>

#include "tests/review/review_rig.h"

namespace tvl::review_test {
namespace {

// A capture of `entries` entries: the empty one, the head and data records "r2", "r3", ...
std::string numbered(ReviewRig& rig, int entries) {
    return rig.writeCapture("numbered.tvl", entries - 1, [](KelTVL& store, int i) {
        store.PortText1 = "r" + std::to_string(i + 2);
    });
}

TEST(ReviewOpen, EveryFailureEndsTheProgramAfterOneMessage) {
    const struct {
        const char* what;
        std::function<std::string(ReviewRig&)> path;  // the file to choose
        bool windowChanged;
    } cases[] = {
        {"missing file", [](ReviewRig& r) { return r.file("nothing.tvl"); }, false},
        {"name shorter than four characters",
         [](ReviewRig& r) {
             r.recordRun("ab.tvl", {}, {{"a", "b"}});
             return r.file("abc");
         },
         false},
        {"damaged record",
         [](ReviewRig& r) {
             const std::string path =
                 r.recordRun("bad.tvl", {}, {{"aaaa", "bbbb"}, {"cccc", "dddd"}});
             std::string bytes = readFile(path);
             bytes[bytes.find("aaaa")] = 'X';
             testing::writeFile(path, bytes);
             return path;
         },
         false},
        {"more than 32767 entries", [](ReviewRig& r) { return numbered(r, 32768); }, false},
        {"no data record",
         [](ReviewRig& r) {
             return r.recordRun("empty.tvl", {"x", "y"}, {});
         },
         true},
    };
    for (const auto& c : cases) {
        ReviewRig rig;
        rig.open(c.path(rig));
        EXPECT_EQ(rig.platform.messages,
                  std::vector<std::string>{
                      "Tarvoline File Open Error: The file is corrupt or not found!"})
            << c.what;
        EXPECT_TRUE(rig.platform.ends == 1 && rig.program->exited) << c.what;
        EXPECT_EQ(rig.form().tbrTarvoline->Visible, !c.windowChanged) << c.what;
        EXPECT_EQ(rig.form().txtPort1->Visible, c.windowChanged) << c.what;
    }
    ReviewRig rig;  // the most entries a review holds
    rig.open(numbered(rig, 32767));
    EXPECT_TRUE(rig.platform.messages.empty());
    EXPECT_EQ(rig.state().RecordCount, 32767);
    mnuEnd_Click(*rig.program);
    EXPECT_EQ(rig.form().txtPort1->Text(), "r32767");
}

}  // namespace
}  // namespace tvl::review_test
