// libFuzzer target for the .tvl reader: any bytes must give a parsed index or
// StoreError, never a crash, hang or huge allocation; whatever parses must
// describe spans inside the image.
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "components/stores/keltvl_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view image(reinterpret_cast<const char*>(data), size);
    try {
        const tvl::TvlIndex index = tvl::ParseTvlImage(image, "fuzz.tvl");
        const auto inside = [&](const tvl::TvlRecordSpan& s) {
            return s.offset + s.length1 + s.length2 <= size;
        };
        if (!inside(index.titles) || index.goodEnd > size) std::abort();
        for (const auto& r : index.records)
            if (!inside(r)) std::abort();
        if (!index.torn && index.goodEnd != size) std::abort();
    } catch (const tvl::StoreError&) {
    }
    return 0;
}
