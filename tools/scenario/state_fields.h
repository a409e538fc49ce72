// The entries of the shared state by name, for "let" and "print state.NAME(I)".
#pragma once

#include <optional>
#include <string>

#include "platform/control.h"
#include "state/shared_state.h"

namespace tvl::scenario {

// Throws std::invalid_argument for an unknown name or an index out of bounds
// (index -1: the entry is not an array).
PropertyValue readState(const SharedState& state, const std::string& name, int index);
void writeState(SharedState& state, const std::string& name, int index, const std::string& value,
                bool quotedValue);

}  // namespace tvl::scenario
