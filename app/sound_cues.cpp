#include "app/sound_cues.h"

#include "app/program.h"

namespace tvl {

namespace {

// What every cue begins with: no notice, waiting, the wave device.
void prepare(MciPlayer& player) {
    player.setNotify(false);
    player.setWait(true);
}

// What every cue that opens its file ends with before its last command.
void openThenRelease(Program& program, MciPlayer& player, const char* file) {
    player.setFileName(program.programFile(file));
    player.setCommand("Open");
    player.setNotify(true);
    player.setWait(false);
}

}  // namespace

void playWelcome(Program& program) {
    MciPlayer& player = program.mciTarvoline;
    prepare(player);
    player.setDeviceType("WaveAudio");
    openThenRelease(program, player, "Kelmar.wav");
    player.setCommand("Play");
}

void playDialogOpening(Program& program, MciPlayer& player, const char* lastCommand) {
    prepare(player);
    player.setCommand("Close");
    player.setDeviceType("WaveAudio");
    player.setShareable(false);
    openThenRelease(program, player, "loadform.wav");
    player.setCommand(lastCommand);
}

void soundMonitorButton(Program& program) {
    MciPlayer& player = program.mciTarvoline;
    prepare(player);
    player.setDeviceType("WaveAudio");
    player.setFileName(program.programFile("button.wav"));
    player.setCommand("Sound");
    player.setCommand("Close");
}

void playReviewButton(Program& program) {
    MciPlayer& player = program.mciTarvoline;
    player.setCommand("Close");
    prepare(player);
    player.setDeviceType("WaveAudio");
    player.setShareable(false);
    player.setFileName(program.programFile("button.wav"));
    player.setCommand("Open");
    player.setCommand("Play");
}

}  // namespace tvl
