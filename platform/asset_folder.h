// Where the program's pictures, sounds and help file lie.
#pragma once

#include <string>

namespace tvl {

// In the build tree they lie beside the executable; an installed program
// (<prefix>/bin/tarvoline) finds them in <prefix>/share/tarvoline. The
// folder of the executable when neither holds them.
std::string assetFolder(const std::string& executableFolder);

}  // namespace tvl
