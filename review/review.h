// Reviewing a saved capture: open, navigate, find, save and leave.
#pragma once

namespace tvl {

class Program;

// Registers the review commands on the main window.
void bindReview(Program& program);

}  // namespace tvl
