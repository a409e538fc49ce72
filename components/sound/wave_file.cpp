#include "components/sound/wave_file.h"

#include <fstream>
#include <iterator>

namespace tvl {

namespace {

std::uint32_t u32(const std::string& b, std::size_t at) {
    return static_cast<std::uint32_t>(static_cast<unsigned char>(b[at])) |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 1])) << 8 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 2])) << 16 |
           static_cast<std::uint32_t>(static_cast<unsigned char>(b[at + 3])) << 24;
}
std::uint16_t u16(const std::string& b, std::size_t at) {
    return static_cast<std::uint16_t>(static_cast<unsigned char>(b[at]) |
                                      static_cast<unsigned char>(b[at + 1]) << 8);
}
void put32(std::string& b, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(static_cast<char>(v >> (8 * i) & 0xff));
}
void put16(std::string& b, std::uint16_t v) {
    b.push_back(static_cast<char>(v & 0xff));
    b.push_back(static_cast<char>(v >> 8));
}

constexpr std::uint16_t formatPcm = 1;
constexpr std::uint16_t formatExtensible = 0xfffe;

}  // namespace

std::chrono::microseconds WaveSound::length() const {
    if (sampleRate <= 0) return {};
    return std::chrono::microseconds(static_cast<std::int64_t>(frames()) * 1'000'000 / sampleRate);
}

std::optional<WaveSound> parseWave(const std::string& b) {
    if (b.size() < 12 || b.compare(0, 4, "RIFF") != 0 || b.compare(8, 4, "WAVE") != 0) return {};
    // The RIFF size may overstate a file cut short; the chunks are checked one by one.
    WaveSound sound;
    bool haveFormat = false;
    std::size_t at = 12;
    while (at + 8 <= b.size()) {
        const std::string id = b.substr(at, 4);
        const std::uint64_t size = u32(b, at + 4);
        const std::size_t body = at + 8;
        if (size > b.size() - body) return {};  // a chunk running past the end
        if (id == "fmt ") {
            if (size < 16) return {};
            const std::uint16_t format = u16(b, body);
            const int channels = u16(b, body + 2);
            const std::uint32_t rate = u32(b, body + 4);
            const std::uint32_t byteRate = u32(b, body + 8);
            const int blockAlign = u16(b, body + 12);
            const int bits = u16(b, body + 14);
            if (format != formatPcm && format != formatExtensible) return {};
            if (format == formatExtensible) {
                // The sub-format's first two bytes name PCM as 1.
                if (size < 40 || u16(b, body + 24) != formatPcm) return {};
            }
            if (bits != 16 || channels < 1 || channels > 2) return {};
            if (rate < 8000 || rate > 192000) return {};
            if (blockAlign != channels * 2 ||
                byteRate != rate * static_cast<std::uint32_t>(blockAlign))
                return {};
            sound.channels = channels;
            sound.sampleRate = static_cast<int>(rate);
            haveFormat = true;
        } else if (id == "data") {
            if (!haveFormat) return {};
            const std::size_t frameBytes = static_cast<std::size_t>(sound.channels) * 2;
            const std::size_t usable = size - size % frameBytes;
            sound.samples.resize(usable / 2);
            for (std::size_t i = 0; i < sound.samples.size(); ++i)
                sound.samples[i] = static_cast<std::int16_t>(u16(b, body + 2 * i));
            return sound;
        }
        at = body + size + (size & 1);  // chunks are padded to even lengths
    }
    return {};  // no data chunk
}

std::optional<WaveSound> readWave(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return {};
    const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    return parseWave(bytes);
}

std::string encodeWave(const WaveSound& s) {
    const auto dataBytes = static_cast<std::uint32_t>(s.samples.size() * 2);
    const auto blockAlign = static_cast<std::uint16_t>(s.channels * 2);
    std::string b;
    b.reserve(44 + dataBytes);
    b += "RIFF";
    put32(b, 36 + dataBytes);
    b += "WAVEfmt ";
    put32(b, 16);
    put16(b, formatPcm);
    put16(b, static_cast<std::uint16_t>(s.channels));
    put32(b, static_cast<std::uint32_t>(s.sampleRate));
    put32(b, static_cast<std::uint32_t>(s.sampleRate) * blockAlign);
    put16(b, blockAlign);
    put16(b, 16);
    b += "data";
    put32(b, dataBytes);
    for (std::int16_t v : s.samples) put16(b, static_cast<std::uint16_t>(v));
    return b;
}

}  // namespace tvl
