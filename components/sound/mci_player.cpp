#include "components/sound/mci_player.h"

namespace tvl {

namespace {
class NullSoundOutput : public SoundOutput {
public:
    bool open(const std::string&) override { return true; }
    void play(bool) override {}
    void close() override {}
};
const char* word(bool on) { return on ? "True" : "False"; }
}  // namespace

std::unique_ptr<SoundOutput> makeNullSoundOutput() { return std::make_unique<NullSoundOutput>(); }

MciPlayer::MciPlayer(std::string name, std::unique_ptr<SoundOutput> output)
    : name_(std::move(name)), output_(std::move(output)) {}

void MciPlayer::note(const std::string& step) {
    if (trace) trace(step);
}

void MciPlayer::setNotify(bool on) {
    notify_ = on;
    note(std::string("Notify=") + word(on));
}
void MciPlayer::setWait(bool on) {
    wait_ = on;
    note(std::string("Wait=") + word(on));
}
void MciPlayer::setDeviceType(const std::string& type) {
    deviceType_ = type;
    note("DeviceType=" + type);
}
void MciPlayer::setShareable(bool on) {
    shareable_ = on;
    note(std::string("Shareable=") + word(on));
}
void MciPlayer::setFileName(const std::string& file) {
    fileName_ = file;
    note("FileName=" + file);
}

void MciPlayer::setCommand(const std::string& command) {
    note("Command=" + command);
    // Wait governs the command it precedes; the player forgets it afterwards.
    const bool wait = wait_;
    wait_ = false;
    if (command == "Open") {
        opened_ = output_->open(fileName_);
    } else if (command == "Play") {
        if (opened_) output_->play(wait);
    } else if (command == "Sound") {
        if (output_->open(fileName_)) output_->play(wait);
        opened_ = false;
    } else if (command == "Close") {
        output_->close();
        opened_ = false;
    }
}

}  // namespace tvl
