// Watch data: a text per line side that stops the run when it passes. Side 0
// watches panes 0 and 1 (Port 1), side 1 panes 2 and 3 (Port 2).
#pragma once

#include <string_view>

namespace tvl {

class Program;

// Compares X, the text the rendering gives, with the watch of the pane's side;
// a hit runs the Start / Stop command.
void watchComparison(Program& program, int Index, std::string_view X);

// Whether the side of this pane has its watch in force.
bool watchArmedFor(const Program& program, int Index);

}  // namespace tvl
