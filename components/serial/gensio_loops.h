// The gensio loops (os funcs) that network ports run on, one per port's line
// thread. gensio keeps the first loop a process gives it for as long as the
// process runs (it locks its count of connections through it), so no loop is
// ever freed: one a port lets go waits here for the next port that opens.
#pragma once

struct gensio_os_funcs;

namespace tvl::gensioloops {

// A loop of its own for the caller's thread; 0 or a gensio error.
int take(gensio_os_funcs** loop);
// Hands back a loop whose timers and descriptors the caller has released.
void giveBack(gensio_os_funcs* loop);

}  // namespace tvl::gensioloops
