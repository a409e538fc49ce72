#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>

#include "components/sound/wave_file.h"

namespace tvl {
namespace {

WaveSound ramp(int channels, int rate, int frames) {
    WaveSound s;
    s.channels = channels;
    s.sampleRate = rate;
    for (int i = 0; i < frames * channels; ++i)
        s.samples.push_back(static_cast<std::int16_t>(i * 97 - 30000));
    return s;
}

void put32(std::string& b, std::size_t at, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) b[at + i] = static_cast<char>(v >> (8 * i) & 0xff);
}

TEST(WaveFile, WrittenSoundsReadBackWithTheirFormatSamplesAndLength) {
    for (int channels : {1, 2}) {
        const WaveSound s = ramp(channels, 22050, 2205);
        const auto back = parseWave(encodeWave(s));
        ASSERT_TRUE(back) << channels;
        EXPECT_EQ(back->channels, channels);
        EXPECT_EQ(back->sampleRate, 22050);
        EXPECT_EQ(back->samples, s.samples);
        EXPECT_EQ(back->frames(), 2205u);
        EXPECT_EQ(back->length().count(), 100'000);  // 2205 frames at 22050 a second
    }
}

TEST(WaveFile, ChunksBeforeTheDataAreSkippedWithTheirPadding) {
    std::string b = encodeWave(ramp(1, 8000, 10));
    // A "LIST" chunk of odd length (padded to even) between "fmt " and "data".
    const std::string list =
        std::string("LIST") + std::string("\x03\0\0\0", 4) + "abc" + std::string(1, '\0');
    b.insert(36, list);
    put32(b, 4, static_cast<std::uint32_t>(b.size() - 8));
    const auto back = parseWave(b);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->samples, ramp(1, 8000, 10).samples);
}

TEST(WaveFile, MalformedFilesAreRefused) {
    const std::string good = encodeWave(ramp(2, 44100, 100));
    ASSERT_TRUE(parseWave(good));
    auto with = [&](std::size_t at, std::string bytes) {
        std::string b = good;
        b.replace(at, bytes.size(), bytes);
        return b;
    };
    EXPECT_FALSE(parseWave(""));
    EXPECT_FALSE(parseWave(good.substr(0, 11)));
    EXPECT_FALSE(parseWave(with(0, "RIFX")));
    EXPECT_FALSE(parseWave(with(8, "AVI ")));
    EXPECT_FALSE(parseWave(with(20, std::string("\x03\0", 2))));      // IEEE float
    EXPECT_FALSE(parseWave(with(22, std::string("\x03\0", 2))));      // three channels
    EXPECT_FALSE(parseWave(with(22, std::string("\0\0", 2))));        // no channels
    EXPECT_FALSE(parseWave(with(34, std::string("\x08\0", 2))));      // 8-bit
    EXPECT_FALSE(parseWave(with(24, std::string("\x10\0\0\0", 4))));  // 16 frames a second
    EXPECT_FALSE(parseWave(with(32, std::string("\x02\0", 2))));  // block size that isn't a frame
    EXPECT_FALSE(parseWave(with(12, "junk")));                    // no format before the data
    EXPECT_FALSE(parseWave(with(36, "nope")));                    // no data chunk at all
    EXPECT_FALSE(parseWave(good.substr(0, good.size() - 1)));     // data cut short
    EXPECT_FALSE(parseWave(with(16, std::string("\xff\xff\xff\x7f", 4))));  // a chunk past the end
}

TEST(WaveFile, AFileThatCannotBeReadGivesNothing) {
    EXPECT_FALSE(readWave("/nonexistent/tarvoline/button.wav"));
    const std::string path = ::testing::TempDir() + "tarvoline_wave_file_test.wav";
    {
        std::ofstream out(path, std::ios::binary);
        out << encodeWave(ramp(1, 8000, 8000));
    }
    const auto read = readWave(path);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->length().count(), 1'000'000);
    std::remove(path.c_str());
}

// The sounds made at build time, as the program finds them beside itself.
TEST(ProgramSounds, EachIsAValidWaveOfItsLengthAudibleAndUnclipped) {
    const struct {
        const char* name;
        int minMs, maxMs;
    } sounds[] = {{"Kelmar.wav", 800, 1300}, {"button.wav", 10, 99}, {"loadform.wav", 250, 350}};
    for (const auto& s : sounds) {
        const auto wave = readWave(std::string(TVL_BINARY_DIR) + "/bin/" + s.name);
        ASSERT_TRUE(wave) << s.name;
        const auto ms = wave->length().count() / 1000;
        EXPECT_GE(ms, s.minMs) << s.name;
        EXPECT_LE(ms, s.maxMs) << s.name;
        int peak = 0;
        for (std::int16_t v : wave->samples) peak = std::max(peak, std::abs(static_cast<int>(v)));
        EXPECT_GT(peak, 32767 / 10) << s.name;  // it can be heard
        EXPECT_LT(peak, 32767) << s.name;       // and isn't clipped
        // It ends in silence rather than with a click.
        EXPECT_LT(std::abs(static_cast<int>(wave->samples.back())), 200) << s.name;
    }
}

}  // namespace
}  // namespace tvl
