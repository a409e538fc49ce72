#include "components/stores/tvl_format.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <limits>

#include "components/stores/capture_store.h"

namespace tvl {
namespace {

constexpr std::array<unsigned char, 8> kMagic = {0x89, 'T', 'V', 'L', '\r', '\n', 0x1A, '\n'};
// The stored time of a record that has none (written by version 1).
constexpr std::int64_t kNoTime = std::numeric_limits<std::int64_t>::min();

using Table = std::array<std::array<std::uint32_t, 256>, 8>;

constexpr Table makeTable() {
    Table t{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t c = i;
        for (int k = 0; k < 8; ++k) c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        t[0][i] = c;
    }
    for (std::uint32_t i = 0; i < 256; ++i)
        for (int s = 1; s < 8; ++s) t[s][i] = (t[s - 1][i] >> 8) ^ t[0][t[s - 1][i] & 0xFF];
    return t;
}
constexpr Table kCrcTable = makeTable();

std::uint32_t load32(const unsigned char* p) {
    return std::uint32_t(p[0]) | std::uint32_t(p[1]) << 8 | std::uint32_t(p[2]) << 16 |
           std::uint32_t(p[3]) << 24;
}

void put32(std::string& out, std::uint32_t v) {
    const char b[4] = {char(v), char(v >> 8), char(v >> 16), char(v >> 24)};
    out.append(b, 4);
}

}  // namespace

std::string FormatRecordTime(RecordTime time) {
    std::int64_t seconds = time / 1000000, micros = time % 1000000;
    if (micros < 0) {
        micros += 1000000;
        --seconds;
    }
    const std::time_t t = static_cast<std::time_t>(seconds);
    std::tm tm{};
    if (!::gmtime_r(&t, &tm)) return "?";
    char out[64];
    std::snprintf(out, sizeof out, "%04d-%02d-%02dT%02d:%02d:%02d.%06dZ", tm.tm_year + 1900,
                  tm.tm_mon + 1, tm.tm_mday, tm.tm_hour, tm.tm_min, tm.tm_sec, int(micros));
    return out;
}

std::uint32_t Crc32(std::string_view data, std::uint32_t crc) {
    const auto& t = kCrcTable;
    const auto* p = reinterpret_cast<const unsigned char*>(data.data());
    std::size_t n = data.size();
    crc = ~crc;
    while (n >= 8) {
        const std::uint32_t lo = load32(p) ^ crc, hi = load32(p + 4);
        crc = t[7][lo & 0xFF] ^ t[6][(lo >> 8) & 0xFF] ^ t[5][(lo >> 16) & 0xFF] ^ t[4][lo >> 24] ^
              t[3][hi & 0xFF] ^ t[2][(hi >> 8) & 0xFF] ^ t[1][(hi >> 16) & 0xFF] ^ t[0][hi >> 24];
        p += 8;
        n -= 8;
    }
    while (n--) crc = t[0][(crc ^ *p++) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

namespace tvlfile {

std::uint32_t get32(const char* p) { return load32(reinterpret_cast<const unsigned char*>(p)); }

std::string fileHeader() {
    std::string h(reinterpret_cast<const char*>(kMagic.data()), kMagic.size());
    put32(h, kVersion);
    return h;
}

std::uint32_t checkFileHeader(std::string_view header, const std::string& file) {
    if (header.size() < kMagic.size() ||
        std::memcmp(header.data(), kMagic.data(), kMagic.size()) != 0)
        throw StoreError(file + ": not a Tarvoline capture file");
    if (header.size() < kFileHeader) throw StoreError(file + ": capture file header is cut short");
    const std::uint32_t version = get32(header.data() + 8);
    if (version != 1 && version != kVersion)
        throw StoreError(file + ": capture file version " + std::to_string(version) +
                         " is not supported");
    return version;
}

bool decodeHead(std::string_view head, std::uint32_t version, Head& out) {
    const std::size_t crcAt = headSize(version) - 4;
    if (Crc32(head.substr(0, crcAt)) != get32(head.data() + crcAt)) return false;
    out.length1 = get32(head.data());
    out.length2 = get32(head.data() + 4);
    out.time.reset();
    if (version != 1) {
        const std::int64_t t = std::int64_t(std::uint64_t(get32(head.data() + 8)) |
                                            std::uint64_t(get32(head.data() + 12)) << 32);
        if (t != kNoTime) out.time = t;
    }
    return true;
}

bool checkRecordTrail(std::string_view record, std::size_t head) {
    const std::size_t body = record.size() - kRecordTrail;
    return Crc32(record.substr(0, body)) == get32(record.data() + body) &&
           get32(record.data() + body + 4) == body - head;
}

void appendRecord(std::string& out, std::string_view text1, std::string_view text2,
                  std::optional<RecordTime> time) {
    const std::size_t start = out.size();
    const std::uint64_t t = std::uint64_t(time.value_or(kNoTime));
    put32(out, std::uint32_t(text1.size()));
    put32(out, std::uint32_t(text2.size()));
    put32(out, std::uint32_t(t));
    put32(out, std::uint32_t(t >> 32));
    put32(out, Crc32(std::string_view(out).substr(start, 16)));
    out.append(text1);
    out.append(text2);
    put32(out, Crc32(std::string_view(out).substr(start)));
    put32(out, std::uint32_t(text1.size() + text2.size()));
}

}  // namespace tvlfile
}  // namespace tvl
