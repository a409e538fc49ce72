// Wave files written, read and refused, the sounds the build makes, and the
// wave output keeping a sound's time. (What each command plays: tests/layout.)
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include "components/sound/wave_file.h"
#include "components/sound/wave_output.h"
#include "tests/stores/store_test_util.h"

namespace tvl {
namespace {

WaveSound ramp(int channels, int rate, int frames) {
    WaveSound s;
    s.channels = channels;
    s.sampleRate = rate;
    for (int i = 0; i < frames * channels; ++i) s.samples.push_back(std::int16_t(i * 97 - 30000));
    return s;
}

TEST(WaveFile, ReadsBackWhatItWritesSkipsOtherChunksAndRefusesMalformedFiles) {
    for (int channels : {1, 2}) {
        const auto back = parseWave(encodeWave(ramp(channels, 22050, 2205)));
        ASSERT_TRUE(back) << channels;
        EXPECT_EQ(back->channels, channels);
        EXPECT_EQ(back->sampleRate, 22050);
        EXPECT_EQ(back->samples, ramp(channels, 22050, 2205).samples);
        EXPECT_EQ(back->length().count(), 100'000);  // 2205 frames at 22050 a second
    }
    // A "LIST" chunk of odd length (padded to even) between "fmt " and "data".
    std::string b = encodeWave(ramp(1, 8000, 10));
    b.insert(36, std::string("LIST\x03\0\0\0abc\0", 12));
    b[4] = char(b.size() - 8);
    const auto back = parseWave(b);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->samples, ramp(1, 8000, 10).samples);
    EXPECT_FALSE(readWave("/nonexistent/tarvoline/button.wav"));

    // Malformed files are refused.
    const std::string good = encodeWave(ramp(2, 44100, 100));
    const auto with = [&](std::size_t at, std::string bytes) {
        return std::string(good).replace(at, bytes.size(), bytes);
    };
    const std::string bad[] = {
        "",
        good.substr(0, 11),
        with(0, "RIFX"),
        with(8, "AVI "),
        with(20, std::string("\x03\0", 2)),           // IEEE float
        with(22, std::string("\x03\0", 2)),           // three channels
        with(22, std::string("\0\0", 2)),             // no channels
        with(34, std::string("\x08\0", 2)),           // 8-bit
        with(24, std::string("\x10\0\0\0", 4)),       // 16 frames a second
        with(32, std::string("\x02\0", 2)),           // a block that isn't a frame
        with(12, "junk"),                             // no format before the data
        with(36, "nope"),                             // no data chunk at all
        good.substr(0, good.size() - 1),              // data cut short
        with(16, std::string("\xff\xff\xff\x7f", 4))  // a chunk past the end
    };
    ASSERT_TRUE(parseWave(good));
    for (const std::string& b : bad) EXPECT_FALSE(parseWave(b)) << &b - bad;
}

TEST(ProgramSounds, EachIsAValidWaveOfItsLengthAudibleAndUnclipped) {
    const std::tuple<const char*, int, int> sounds[] = {
        {"Kelmar.wav", 800, 1300}, {"button.wav", 10, 99}, {"loadform.wav", 250, 350}};
    for (const auto& [name, minMs, maxMs] : sounds) {
        const auto wave = readWave(std::string(TVL_BINARY_DIR) + "/bin/" + name);
        ASSERT_TRUE(wave) << name;
        EXPECT_GE(wave->length().count() / 1000, minMs) << name;
        EXPECT_LE(wave->length().count() / 1000, maxMs) << name;
        int peak = 0;
        for (std::int16_t v : wave->samples) peak = std::max(peak, std::abs(int(v)));
        EXPECT_GT(peak, 32767 / 10) << name;  // it can be heard
        EXPECT_LT(peak, 32767) << name;       // and isn't clipped
        EXPECT_LT(std::abs(int(wave->samples.back())), 200) << name << " ends with a click";
    }
}

// The wave output on a machine with no sound device (a device name that names
// none): it keeps the sound's time without making a sound.
TEST(WaveOutput, AWaitedPlayTakesTheSoundsLengthAndCloseANewSoundOrTheEndCutItShort) {
    using std::chrono::milliseconds;
    testing::ScratchFolder dir;
    const auto soundFile = [&](int ms) {
        const std::string path = dir.file(std::to_string(ms) + ".wav");
        testing::writeFile(path, encodeWave(ramp(1, 8000, 8 * ms)));
        return path;
    };
    const auto timed = [](auto f) {
        const auto start = std::chrono::steady_clock::now();
        f();
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
    };
    auto out = makeWaveOutput("tarvoline-no-such-device");
    ASSERT_TRUE(out->open(soundFile(300)));
    const auto waited = timed([&] { out->play(true); });
    EXPECT_GE(waited, milliseconds(290));
    EXPECT_LT(waited, milliseconds(2000));
    EXPECT_LT(timed([&] { out->play(false); }), milliseconds(150));
    EXPECT_GE(timed([&] { out->play(true); }), milliseconds(290))
        << "the file stays open until Close";
    // Close, a new sound or the end cut short the one going.
    ASSERT_TRUE(out->open(soundFile(1500)));
    out->play(false);
    EXPECT_LT(timed([&] { out->close(); }), milliseconds(500));
    EXPECT_LT(timed([&] { out->play(true); }), milliseconds(100)) << "nothing open plays nothing";

    ASSERT_TRUE(out->open(soundFile(1500)));
    out->play(false);
    ASSERT_TRUE(out->open(soundFile(100)));
    const auto next = timed([&] { out->play(true); });
    EXPECT_GE(next, milliseconds(95));
    EXPECT_LT(next, milliseconds(1000)) << "the long sound ran on underneath";
    out->play(false);
    EXPECT_LT(timed([&] { out.reset(); }), milliseconds(500));
}

}  // namespace
}  // namespace tvl
