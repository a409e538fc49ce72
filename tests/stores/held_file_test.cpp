// A store's file held open between records is trusted as left only while it
// is: another size is seen at once, a file moved away at the next lookup of
// its path. (Files grown, replaced or deleted by another program are caught
// by the .mdb and capture writer tests.)
#include <fcntl.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "components/stores/file_io.h"
#include "tests/support/scratch_folder.h"

namespace tvl {
namespace {

TEST(HeldFile, IsAsLeftOnlyAtItsSizeAndWhileNamedByItsPath) {
    testing::ScratchFolder dir;
    const std::string path = dir / "run.tvl";
    std::ofstream(path) << "four";
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    fileio::HeldFile held;
    ASSERT_EQ(held.hold(fd), 0);
    EXPECT_TRUE(held.asLeft(fd, path, 4));
    EXPECT_FALSE(held.asLeft(fd, path, 5));

    // Moved away: the path is looked up again once its second is over.
    std::filesystem::rename(path, dir / "moved.tvl");
    EXPECT_TRUE(held.asLeft(fd, path, 4));
    held.named -= std::chrono::seconds(2);
    EXPECT_FALSE(held.asLeft(fd, path, 4));
    std::filesystem::rename(dir / "moved.tvl", path);
    EXPECT_TRUE(held.asLeft(fd, path, 4));
    ::close(fd);
}

}  // namespace
}  // namespace tvl
