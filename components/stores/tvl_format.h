// The building blocks of the .tvl capture file (docs/tvl-format.md), shared by
// the store that writes and reviews captures (KelTVLFile) and the reader that
// streams them (TvlRecordReader).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace tvl {

// When a record was written: microseconds since 1970-01-01 00:00:00 UTC.
using RecordTime = std::int64_t;

// "YYYY-MM-DDTHH:MM:SS.ffffffZ".
std::string FormatRecordTime(RecordTime time);

// The CRC-32 (IEEE 802.3, reflected, as zlib) of `data`, continuing `crc`.
std::uint32_t Crc32(std::string_view data, std::uint32_t crc = 0);

namespace tvlfile {

constexpr std::uint32_t kVersion =
    2;  // what is written; version 1 (records without times) still reads
constexpr std::size_t kFileHeader = 12;  // magic + version
constexpr std::size_t kRecordTrail = 8;  // CRC of head and texts, length1 + length2
constexpr std::size_t kMaxColumn = 65535;
// The head of a record: lengths, (time,) CRC of what comes before it.
constexpr std::size_t headSize(std::uint32_t version) { return version == 1 ? 12 : 20; }

std::uint32_t get32(const char* p);

// The header of the version written.
std::string fileHeader();
// The version a file header names; throws StoreError naming `file` for a
// header that is not one this program reads.
std::uint32_t checkFileHeader(std::string_view header, const std::string& file);

struct Head {
    std::uint32_t length1 = 0, length2 = 0;
    std::optional<RecordTime> time;
};
// Decodes the head of a record; false when its check fails.
bool decodeHead(std::string_view head, std::uint32_t version, Head& out);
// Whether a whole record (head, texts, trailer) checks out.
bool checkRecordTrail(std::string_view record, std::size_t head);
// Appends one record of the version written.
void appendRecord(std::string& out, std::string_view text1, std::string_view text2,
                  std::optional<RecordTime> time);

}  // namespace tvlfile
}  // namespace tvl
