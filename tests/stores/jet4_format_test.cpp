// What Access relies on and the readers do not check: index keys that sort as
// the values.
#include <gtest/gtest.h>

#include <string>

#include "components/stores/jet4_format.h"

using namespace tvl::jet4;

TEST(Jet4IndexKeys, SortLikeTheValues) {
    const std::vector<std::int32_t> longs = {-2147483647 - 1, -70000,    -1, 0, 1, 255, 256,
                                             0x0F000001,      2147483647};
    for (std::size_t i = 1; i < longs.size(); ++i)
        EXPECT_LT(indexKeyLong(longs[i - 1]), indexKeyLong(longs[i]));
    EXPECT_EQ(indexKeyLong(2), (Bytes{0x7F, 0x80, 0, 0, 2}));

    // General order: digits before letters, case not counted, trailing blanks ignored.
    const std::vector<std::string> names = {
        "0a",          "9",           "Capture",           "Databases",     "MSysACEs", "MSysDb",
        "MSysObjects", "MSysQueries", "MSysRelationships", "Relationships", "Tables",   "Z"};
    for (std::size_t i = 1; i < names.size(); ++i)
        EXPECT_LT(indexKeyText(names[i - 1]), indexKeyText(names[i]))
            << names[i - 1] << " < " << names[i];
    EXPECT_EQ(indexKeyText("MSysDb"), indexKeyText("msysDB  "));
    EXPECT_EQ(indexKeyText("Ab"), (Bytes{0x7F, 0x4A, 0x4C, 0x01, 0x00}));
    EXPECT_THROW(indexKeyText("a.b"), std::invalid_argument);
}
