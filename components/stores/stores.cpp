#include "components/stores/stores.h"

#include "components/stores/keltvl_file.h"

namespace tvl {

std::unique_ptr<KelTVL> makeKelTVL() { return std::make_unique<KelTVLFile>(); }
// Not written yet: a program without these stores writes no such capture.
std::unique_ptr<KelMDB> makeKelMDB() { return nullptr; }
std::unique_ptr<KelXLS> makeKelXLS() { return nullptr; }

}  // namespace tvl
