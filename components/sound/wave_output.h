// The program's sound output: wave files played through ALSA on a thread of
// their own, so that a sound not waited for goes on while the program runs.
//
// open() reads and checks the whole file; a missing or malformed file is
// refused (false) and the next play() does nothing. play(true) returns when the
// sound has ended; play(false) returns at once. A new play() or open() stops a
// sound still going, and close() stops it and forgets the file.
//
// With no sound device, or one that fails part way, the sound is silent but
// keeps its time: a waited play still holds the caller for the sound's length.
// So the program runs to the same timing on any machine, with or without a
// sound card.
#pragma once

#include <memory>
#include <string>

#include "components/sound/mci_player.h"

namespace tvl {

// device is an ALSA PCM name; "default" is the user's chosen output.
std::unique_ptr<SoundOutput> makeWaveOutput(const std::string& device = "default");

}  // namespace tvl
