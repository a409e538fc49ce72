// tarvoline-sounds FOLDER: synthesizes the program's three sounds into FOLDER:
// the start-up chime "Kelmar.wav", the toolbar click "button.wav" and the
// dialog cue "loadform.wav". 16-bit mono PCM at 44.1 kHz.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

#include "components/sound/wave_file.h"

namespace {

constexpr int rate = 44100;
constexpr double tau = 2 * std::numbers::pi;

struct Buffer {
    explicit Buffer(double seconds) : v(static_cast<std::size_t>(seconds * rate), 0.0) {}
    std::vector<double> v;

    // A struck tone: a quick attack, then an exponential decay; overtone adds a
    // softer partial an octave up, which gives a bell its shine.
    void tone(double at, double seconds, double hz, double level, double decay,
              double overtone = 0) {
        const auto first = static_cast<std::size_t>(at * rate);
        const auto count = static_cast<std::size_t>(seconds * rate);
        for (std::size_t i = 0; i < count && first + i < v.size(); ++i) {
            const double t = static_cast<double>(i) / rate;
            const double attack = std::min(1.0, t / 0.004);
            const double release = std::min(1.0, (seconds - t) / 0.02);  // no click at the end
            const double envelope = level * attack * release * std::exp(-t * decay);
            v[first + i] +=
                envelope * (std::sin(tau * hz * t) + overtone * std::sin(tau * 2 * hz * t));
        }
    }

    tvl::WaveSound sound() const {
        double peak = 0;
        for (double x : v) peak = std::max(peak, std::abs(x));
        const double scale = peak > 0.9 ? 0.9 / peak : 1.0;
        tvl::WaveSound s;
        s.channels = 1;
        s.sampleRate = rate;
        s.samples.reserve(v.size());
        for (double x : v)
            s.samples.push_back(static_cast<std::int16_t>(std::lround(x * scale * 32767)));
        return s;
    }
};

int failures = 0;

void save(const std::string& folder, const char* name, const Buffer& buffer) {
    const std::string path = folder + "/" + name;
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << tvl::encodeWave(buffer.sound());
    if (!out) {
        std::fprintf(stderr, "tarvoline-sounds: cannot write %s\n", path.c_str());
        ++failures;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: tarvoline-sounds FOLDER\n");
        return 2;
    }
    const std::string folder = argv[1];

    // Start-up: a rising major arpeggio, C5 E5 G5 and C6 rung together at the end.
    Buffer chime(1.0);
    chime.tone(0.00, 1.00, 523.25, 0.30, 3.5, 0.25);
    chime.tone(0.12, 0.88, 659.25, 0.28, 3.5, 0.25);
    chime.tone(0.24, 0.76, 783.99, 0.26, 3.8, 0.20);
    chime.tone(0.36, 0.64, 1046.50, 0.22, 4.5, 0.15);
    save(folder, "Kelmar.wav", chime);

    // Click: a very short, bright tick with a lower body under it.
    Buffer click(0.045);
    click.tone(0.0, 0.045, 2400, 0.5, 140);
    click.tone(0.0, 0.045, 900, 0.4, 90);
    save(folder, "button.wav", click);

    // Dialog cue: two soft notes, G5 then C6.
    Buffer cue(0.30);
    cue.tone(0.00, 0.15, 783.99, 0.35, 9, 0.1);
    cue.tone(0.13, 0.17, 1046.50, 0.35, 9, 0.1);
    save(folder, "loadform.wav", cue);

    return failures ? 1 : 0;
}
