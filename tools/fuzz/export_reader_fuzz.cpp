// libFuzzer target for tarvoline-export's reading of damaged captures: any
// file gives its records or a StoreError, never a crash or hang; the streamed
// reader agrees with the whole-file reader the review uses, and the text
// form shows no byte that could drive a terminal.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "components/stores/capture_store.h"
#include "components/stores/keltvl_file.h"
#include "tools/export/capture_export.h"

namespace {

using tvl::exporting::Format;

// Control bytes other than the line feed, and C1 controls as UTF-8 (C2 80-9F).
bool drivesATerminal(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if ((c < 0x20 && c != '\n') || c == 0x7F) return true;
        if (c == 0xC2 && i + 1 < text.size() &&
            static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
            static_cast<unsigned char>(text[i + 1]) <= 0x9F)
            return true;
    }
    return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view image(reinterpret_cast<const char*>(data), size);
    const int fd = memfd_create("capture", MFD_CLOEXEC);
    if (fd < 0 || write(fd, data, size) != static_cast<ssize_t>(size)) std::abort();
    const std::string path = "/proc/self/fd/" + std::to_string(fd);

    bool whole = true;
    tvl::TvlIndex index;
    try {
        index = tvl::ParseTvlImage(image, path);
    } catch (const tvl::StoreError&) {
        whole = false;
    }
    std::size_t records = 0;
    bool streamed = true, torn = false;
    try {
        tvl::TvlRecordReader reader(path);
        std::string csv, text;
        tvl::exporting::writeHead(csv, Format::csv, reader.title1(), reader.title2());
        tvl::TvlRecordReader::Record record;
        while (reader.next(record)) {
            if (whole) {
                if (records >= index.records.size()) std::abort();
                const tvl::TvlRecordSpan& span = index.records[records];
                if (image.substr(span.offset, span.length1) != record.text1 ||
                    image.substr(span.offset + span.length1, span.length2) != record.text2)
                    std::abort();
            }
            ++records;
            tvl::exporting::writeRecord(csv, Format::csv, records, record, reader.title1(),
                                        reader.title2());
            tvl::exporting::writeRecord(text, Format::text, records, record, reader.title1(),
                                        reader.title2());
        }
        torn = reader.torn();
        if (drivesATerminal(text)) std::abort();
    } catch (const tvl::StoreError&) {
        streamed = false;
    }
    close(fd);
    if (streamed != whole) std::abort();
    if (whole && (records != index.records.size() || torn != index.torn)) std::abort();
    return 0;
}
