// The wave output on a machine with no sound device (a device name that names
// none): it keeps the sound's time without making a sound.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "components/sound/wave_file.h"
#include "components/sound/wave_output.h"
#include "tests/stores/store_test_util.h"

namespace tvl {
namespace {

using std::chrono::milliseconds;

class WaveOutput : public ::testing::Test {
protected:
    std::string soundFile(int ms) {
        WaveSound s;
        s.channels = 1;
        s.sampleRate = 8000;
        s.samples.assign(std::size_t(8 * ms), 1000);
        const std::string path = dir.file(std::to_string(ms) + ".wav");
        testing::writeFile(path, encodeWave(s));
        return path;
    }
    template <class F>
    static milliseconds timed(F f) {
        const auto start = std::chrono::steady_clock::now();
        f();
        return std::chrono::duration_cast<milliseconds>(std::chrono::steady_clock::now() - start);
    }
    testing::ScratchFolder dir;
    std::unique_ptr<SoundOutput> out = makeWaveOutput("tarvoline-no-such-device");
};

TEST_F(WaveOutput, AWaitedPlayTakesTheSoundsLengthAndAnUnwaitedOneDoesNot) {
    ASSERT_TRUE(out->open(soundFile(300)));
    const auto waited = timed([&] { out->play(true); });
    EXPECT_GE(waited, milliseconds(290));
    EXPECT_LT(waited, milliseconds(2000));
    EXPECT_LT(timed([&] { out->play(false); }), milliseconds(150));
    EXPECT_GE(timed([&] { out->play(true); }), milliseconds(290))
        << "the file stays open until Close";
}

TEST_F(WaveOutput, CloseANewSoundOrTheEndCutShortTheOneGoing) {
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

TEST_F(WaveOutput, AFileThatWontReadIsRefusedAndPlaysNothing) {
    testing::writeFile(dir.file("bad.wav"), std::string("RIFF\x10\0\0\0WAVEnot a wave", 22));
    EXPECT_FALSE(out->open(dir.file("bad.wav")));
    EXPECT_LT(timed([&] { out->play(true); }), milliseconds(100));
    EXPECT_FALSE(out->open(dir.file("missing.wav")));
    out->close();  // closing with nothing open is harmless
}

}  // namespace
}  // namespace tvl
