// Reading a wave file: RIFF/WAVE holding 16-bit PCM, mono or stereo. Anything
// else, or a file cut short or inconsistent, is refused: the reader returns
// nothing and says nothing, since no caller reports a sound that won't play.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace tvl {

struct WaveSound {
    int channels = 0;                   // 1 or 2
    int sampleRate = 0;                 // frames a second, 8000 to 192000
    std::vector<std::int16_t> samples;  // interleaved, channels x frames

    std::size_t frames() const {
        return channels ? samples.size() / static_cast<std::size_t>(channels) : 0;
    }
    std::chrono::microseconds length() const;
};

// Parses the bytes of a whole file.
std::optional<WaveSound> parseWave(const std::string& bytes);
// Reads and parses a file; nothing for one that can't be read or parsed.
std::optional<WaveSound> readWave(const std::string& path);

// The bytes of a wave file holding the sound; what parseWave reads back.
std::string encodeWave(const WaveSound& sound);

}  // namespace tvl
