// A new Jet 4 database, whole: the header, the global usage map, the four
// system tables of the engine (MSysObjects, MSysACEs, MSysQueries,
// MSysRelationships) with their rows and indexes, and one empty user table of
// text columns.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "components/stores/jet4_format.h"

namespace tvl::jet4 {

// Fixed places of a database built here.
inline constexpr std::uint32_t kGlobalMapPage = 1;
inline constexpr std::uint32_t kMSysObjectsPage = 2;
inline constexpr std::uint32_t kMSysACEsPage = 3;
inline constexpr std::uint32_t kMSysQueriesPage = 4;
inline constexpr std::uint32_t kMSysRelationshipsPage = 5;
inline constexpr std::uint32_t kUsageMapsPage = 6;  // usage-map rows of every table
inline constexpr std::uint32_t kUserTablePage = 7;  // the user table's definition

struct UserTable {
    std::string name;                  // 0-9, A-Z, a-z only (it is indexed in MSysObjects)
    std::vector<std::string> columns;  // column names, ISO-8859-1
    std::uint16_t textLength = 255;    // characters per column
};

// The user table's definition as written (columns with ids 0..n-1).
TableDef userTableDef(const UserTable& table);

// The file's bytes (a whole number of pages). `unixSeconds` stamps the header
// and the catalog rows.
Bytes buildDatabase(const UserTable& table, std::int64_t unixSeconds);

}  // namespace tvl::jet4
