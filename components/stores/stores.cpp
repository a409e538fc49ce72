#include "components/stores/stores.h"

#include "components/stores/kelmdb_database.h"
#include "components/stores/keltvl_file.h"

namespace tvl {

std::unique_ptr<KelTVL> makeKelTVL() { return std::make_unique<KelTVLFile>(); }
std::unique_ptr<KelMDB> makeKelMDB() { return std::make_unique<KelMDBDatabase>(); }
// Not written yet: a program without this store writes no such capture.
std::unique_ptr<KelXLS> makeKelXLS() { return nullptr; }

}  // namespace tvl
