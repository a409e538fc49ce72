// The signals that ask a program to end (SIGTERM, SIGINT, and SIGHUP when the
// terminal or session that started it goes away) turned into a call on the
// event loop, so that the program ends as its own Exit would, not in the
// middle of whatever the signal interrupted.
#pragma once

#include <functional>

namespace tvl {

// From now on each of the three signals runs `end` on the event loop of the
// calling thread. Called once per process.
void endOnSignals(std::function<void()> end);

}  // namespace tvl
