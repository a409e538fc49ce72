// The wave output on a machine with no sound device (a device name that names
// none): it keeps the sound's time without making a sound.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <string>

#include "components/sound/wave_file.h"
#include "components/sound/wave_output.h"

namespace tvl {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const char* const kNoDevice = "tarvoline-no-such-device";

std::string soundFile(int ms) {
    const std::string path =
        ::testing::TempDir() + "tarvoline_output_" + std::to_string(ms) + ".wav";
    WaveSound s;
    s.channels = 1;
    s.sampleRate = 8000;
    s.samples.assign(static_cast<std::size_t>(8 * ms), 1000);
    std::ofstream(path, std::ios::binary) << encodeWave(s);
    return path;
}

template <class F>
milliseconds timed(F f) {
    const auto start = Clock::now();
    f();
    return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

TEST(WaveOutput, WithoutADeviceAWaitedPlayStillTakesTheSoundsLengthAndAnUnwaitedOneDoesNot) {
    auto out = makeWaveOutput(kNoDevice);
    ASSERT_TRUE(out->open(soundFile(300)));
    const auto waited = timed([&] { out->play(true); });
    EXPECT_GE(waited, milliseconds(290));
    EXPECT_LT(waited, milliseconds(2000));

    const auto started = timed([&] { out->play(false); });
    EXPECT_LT(started, milliseconds(150));
    // Playing again is possible: the file stays open until Close.
    const auto again = timed([&] { out->play(true); });
    EXPECT_GE(again, milliseconds(290));
}

TEST(WaveOutput, CloseAndANewSoundCutShortTheOneGoing) {
    auto out = makeWaveOutput(kNoDevice);
    ASSERT_TRUE(out->open(soundFile(1500)));
    out->play(false);
    EXPECT_LT(timed([&] { out->close(); }), milliseconds(500));
    // After Close nothing is open: a Play does nothing and returns at once.
    EXPECT_LT(timed([&] { out->play(true); }), milliseconds(100));

    ASSERT_TRUE(out->open(soundFile(1500)));
    out->play(false);
    ASSERT_TRUE(out->open(soundFile(100)));
    const auto next = timed([&] { out->play(true); });
    EXPECT_GE(next, milliseconds(95));
    EXPECT_LT(next, milliseconds(1000));  // the long sound didn't run on underneath
    // The output's end stops a sound still going.
    out->play(false);
    EXPECT_LT(timed([&] { out.reset(); }), milliseconds(500));
}

TEST(WaveOutput, AFileThatWontParseIsRefusedAndPlaysNothing) {
    auto out = makeWaveOutput(kNoDevice);
    const std::string bad = ::testing::TempDir() + "tarvoline_output_bad.wav";
    std::ofstream(bad, std::ios::binary) << "RIFF\x10\0\0\0WAVEnot a wave";
    EXPECT_FALSE(out->open(bad));
    EXPECT_LT(timed([&] { out->play(true); }), milliseconds(100));
    EXPECT_FALSE(out->open("/nonexistent/tarvoline.wav"));
    out->close();  // closing with nothing open is harmless
}

}  // namespace
}  // namespace tvl
