// KelXLSWorkbook: the capture as an Excel 97-2003 workbook (BIFF8 in a
// compound file; layout in docs/xls-format.md).
//
// CreateStore writes a workbook holding the titles in row 1 and keeps it open;
// every AppendRecord adds one row (PortText1 in column A, PortText2 in B) and
// leaves the file a complete workbook on disk, so a crash or power cut loses
// no row already appended. Its cost does not depend on the file's size: the
// two cells go at the end of the sheet, then a few fixed places are patched
// (the sheet's EOF and DIMENSIONS, the stream size, a FAT sector now and then).
// A sheet holds 65,536 rows; the capture then goes on in a new sheet that
// starts with the titles again. Texts are ISO-8859-1 (byte value = character).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "capture/capture_store.h"
#include "components/stores/compound_file.h"

namespace tvl {

class KelXLSWorkbook : public KelXLS {
public:
    static constexpr std::uint32_t kRowsPerSheet = 65536;
    static constexpr std::uint32_t kMaxSheets = 256;
    static constexpr std::size_t kMaxCellText = 255;  // longer texts are cut to this

    KelXLSWorkbook() = default;
    ~KelXLSWorkbook() override;

    void CreateStore() override;
    void AppendRecord() override;
    void CloseStore() override;

    // Sync the file after every row (the default). Off, rows reach the disk at
    // CloseStore or when the system writes them back; the file stays valid.
    bool SyncEachAppend = true;

    std::uint32_t SheetCount() const { return sheets_; }
    std::uint32_t RowsInSheet() const { return rows_; }  // titles included

private:
    std::string sheetStart(std::uint32_t index) const;

    AppendCompoundFile file_;
    std::uint32_t sheets_ = 0;
    std::uint32_t rows_ = 0;         // rows in the current sheet
    std::uint64_t eofAt_ = 0;        // stream offset of the current sheet's EOF record
    std::uint64_t dimensionsAt_ = 0; // stream offset of its DIMENSIONS payload
    std::vector<std::uint64_t> slotAt_;  // stream offsets of the sheet entries in the globals
};

}  // namespace tvl
