#include "components/stores/stores.h"

#include "components/stores/kelmdb_database.h"
#include "components/stores/keltvl_file.h"
#include "components/stores/kelxls_workbook.h"

namespace tvl {

std::unique_ptr<KelTVL> makeKelTVL() { return std::make_unique<KelTVLFile>(); }
std::unique_ptr<KelMDB> makeKelMDB() { return std::make_unique<KelMDBDatabase>(); }
std::unique_ptr<KelXLS> makeKelXLS() { return std::make_unique<KelXLSWorkbook>(); }

}  // namespace tvl
