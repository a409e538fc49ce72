// A capture's records as CSV (RFC 4180, UTF-8) or as text for a terminal,
// written one record at a time.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "components/stores/tvl_record_reader.h"

namespace tvl::exporting {

enum class Format { csv, text };

// ISO-8859-1 to UTF-8: every byte is the code point of the same number.
std::string latin1ToUtf8(std::string_view text);

// Append to `out`: the lines before the first record, then one record's lines.
void writeHead(std::string& out, Format format, const std::string& title1,
               const std::string& title2);
void writeRecord(std::string& out, Format format, std::uint64_t number,
                 const TvlRecordReader::Record& record, const std::string& title1,
                 const std::string& title2);

}  // namespace tvl::exporting
