// The capture stores the program is built with.
#pragma once

#include <memory>

#include "components/stores/capture_store.h"

namespace tvl {

std::unique_ptr<KelTVL> makeKelTVL();
std::unique_ptr<KelMDB> makeKelMDB();
std::unique_ptr<KelXLS> makeKelXLS();

}  // namespace tvl
