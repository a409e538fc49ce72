// The MCI-like sound player: properties set one by one, and a Command that is
// carried out at once. Wait True makes the next command return only when it is
// complete. A failure is silent: nothing of the program reads a player's result.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace tvl {

// Where a player's sound goes. The null output plays nothing.
class SoundOutput {
public:
    virtual ~SoundOutput() = default;
    // Opens a wave file; false when it cannot be read.
    virtual bool open(const std::string& file) = 0;
    // Plays what was opened; with wait, returns when it has ended.
    virtual void play(bool wait) = 0;
    virtual void close() = 0;
};

std::unique_ptr<SoundOutput> makeNullSoundOutput();

class MciPlayer {
public:
    MciPlayer(std::string name, std::unique_ptr<SoundOutput> output);

    const std::string& name() const { return name_; }
    void setNotify(bool on);
    void setWait(bool on);
    void setDeviceType(const std::string& type);
    void setShareable(bool on);
    void setFileName(const std::string& file);
    // "Open", "Play", "Sound" or "Close".
    void setCommand(const std::string& command);

    bool Notify() const { return notify_; }
    bool Wait() const { return wait_; }
    const std::string& DeviceType() const { return deviceType_; }
    const std::string& FileName() const { return fileName_; }

    // Every property set and command, as "Notify=False", "Command=Open", for tests.
    std::function<void(const std::string& step)> trace;

private:
    void note(const std::string& step);

    std::string name_;
    std::unique_ptr<SoundOutput> output_;
    bool notify_ = false;
    bool wait_ = false;
    bool shareable_ = true;
    bool opened_ = false;
    std::string deviceType_;
    std::string fileName_;
};

}  // namespace tvl
