#include "convert/watch_data.h"

#include "app/program.h"

namespace tvl {

bool watchArmedFor(const Program& program, int Index) {
    const int side = (Index == 0 || Index == 1) ? 0 : (Index == 2 || Index == 3) ? 1 : -1;
    return side >= 0 && program.state.WatchArmed[side] == 1;
}

void watchComparison(Program& program, int Index, std::string_view X) {
    SharedState& s = program.state;
    if ((Index == 0 || Index == 1) && s.WatchArmed[0] == 1 && s.WatchString[0] == X)
        program.startStop();
    if ((Index == 2 || Index == 3) && s.WatchArmed[1] == 1 && s.WatchString[1] == X)
        program.startStop();
}

}  // namespace tvl
