// The program's sounds: each cue is the exact sequence of settings and
// commands its player is given, in one place.
#pragma once

namespace tvl {

class MciPlayer;
class Program;

// The main window has loaded: Kelmar.wav plays without a wait.
void playWelcome(Program& program);

// A dialog opens: loadform.wav on the dialog's own player after an opening
// Close, started by `lastCommand` ("Play" for Setup, "Sound" for the
// conversion and watch dialogs) without a wait.
void playDialogOpening(Program& program, MciPlayer& player, const char* lastCommand);

// A monitor toolbar button: button.wav sounds to its end, then the device closes.
void soundMonitorButton(Program& program);

// A review toolbar button: button.wav starts without a wait after a Close.
void playReviewButton(Program& program);

}  // namespace tvl
