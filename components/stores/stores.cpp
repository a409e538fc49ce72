#include "components/stores/stores.h"

namespace tvl {

// Not written yet: a program without a store writes no capture.
std::unique_ptr<KelTVL> makeKelTVL() { return nullptr; }
std::unique_ptr<KelMDB> makeKelMDB() { return nullptr; }
std::unique_ptr<KelXLS> makeKelXLS() { return nullptr; }

}  // namespace tvl
