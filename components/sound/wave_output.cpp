#include "components/sound/wave_output.h"

#include <alsa/asoundlib.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

#include "components/sound/wave_file.h"

namespace tvl {

namespace {

// ALSA writes its complaints to stderr; a sound that won't play is silent here.
void quietAlsa(const char*, int, const char*, int, const char*, ...) {}

class WaveOutput : public SoundOutput {
public:
    explicit WaveOutput(std::string device) : device_(std::move(device)) {
        static std::once_flag quiet;
        std::call_once(quiet, [] { snd_lib_error_set_handler(quietAlsa); });
    }
    ~WaveOutput() override { stop(); }

    bool open(const std::string& file) override {
        stop();
        std::optional<WaveSound> sound = readWave(file);
        sound_ = sound ? std::make_shared<const WaveSound>(std::move(*sound)) : nullptr;
        return sound_ != nullptr;
    }

    void play(bool wait) override {
        stop();
        if (!sound_) return;
        worker_ = std::thread([this, sound = sound_] { run(*sound); });
        if (wait) worker_.join();
    }

    void close() override {
        stop();
        sound_.reset();
    }

private:
    void stop() {
        if (!worker_.joinable()) return;
        {
            std::lock_guard lock(mutex_);
            stopping_ = true;
        }
        wake_.notify_all();
        worker_.join();
        stopping_ = false;
    }

    // Keeps the sound's time without a device: until the deadline or a stop.
    void silence(std::chrono::steady_clock::time_point until) {
        std::unique_lock lock(mutex_);
        wake_.wait_until(lock, until, [this] { return stopping_.load(); });
    }

    void run(const WaveSound& sound) {
        const auto start = std::chrono::steady_clock::now();
        const auto end = start + sound.length();
        snd_pcm_t* pcm = nullptr;
        if (snd_pcm_open(&pcm, device_.c_str(), SND_PCM_STREAM_PLAYBACK, 0) < 0)
            return silence(end);
        const int latencyUs = 100'000;
        if (snd_pcm_set_params(pcm, SND_PCM_FORMAT_S16_LE, SND_PCM_ACCESS_RW_INTERLEAVED,
                               static_cast<unsigned>(sound.channels),
                               static_cast<unsigned>(sound.sampleRate), 1, latencyUs) < 0) {
            snd_pcm_close(pcm);
            return silence(end);
        }
        // Written in pieces of 20 ms so that a stop is heard within one.
        const std::size_t piece = static_cast<std::size_t>(sound.sampleRate) / 50;
        std::size_t frame = 0;
        bool failed = false;
        while (frame < sound.frames() && !stopping_) {
            const std::size_t count = std::min(piece, sound.frames() - frame);
            snd_pcm_sframes_t written = snd_pcm_writei(
                pcm, sound.samples.data() + frame * static_cast<std::size_t>(sound.channels),
                count);
            if (written < 0) written = snd_pcm_recover(pcm, static_cast<int>(written), 1);
            if (written < 0) {
                failed = true;
                break;
            }
            frame += static_cast<std::size_t>(written);
        }
        if (stopping_)
            snd_pcm_drop(pcm);
        else if (!failed)
            snd_pcm_drain(pcm);
        snd_pcm_close(pcm);
        if (failed) silence(end);
    }

    std::string device_;
    std::shared_ptr<const WaveSound> sound_;
    std::thread worker_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::atomic<bool> stopping_{false};
};

}  // namespace

std::unique_ptr<SoundOutput> makeWaveOutput(const std::string& device) {
    return std::make_unique<WaveOutput>(device);
}

}  // namespace tvl
