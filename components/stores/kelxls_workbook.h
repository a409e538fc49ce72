// KelXLSWorkbook: the capture as an Excel 97-2003 workbook (BIFF8 in a
// compound file; layout in docs/xls-format.md).
//
// CreateStore writes a workbook holding the titles in row 1 and keeps it open;
// every AppendRecord adds one row (PortText1 in column A, PortText2 in B) and
// leaves the file a complete workbook on disk: a kill at any moment, or a
// power cut after a synced append, loses no row already appended. Its cost
// does not depend on the file's size: the row goes behind the sheet's end,
// DIMENSIONS is patched, and eight bytes reveal the row. A sheet holds 65,536
// rows; the capture then goes on in a new sheet that starts with the titles
// again. Texts are ISO-8859-1 (byte value = character).
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "components/stores/capture_store.h"
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
    void SyncStore() override;

    // Sync the file after every row. Off (the default), a row reaches the disk
    // within DeferredSync::kDelay, and at once at SyncStore and CloseStore; the
    // file stays valid either way.
    bool SyncEachAppend = false;

    // Tests see every write before it is made, to check each state a kill
    // could leave the file in.
    void watchWrites(std::function<void(std::uint64_t fileOffset, std::string_view bytes)> watch) {
        watch_ = std::move(watch);
        if (file_) file_->beforeWrite = watch_;
    }

    std::uint32_t SheetCount() const { return sheets_; }

private:
    // Also sets eofAt_ and dimensionsAt_ for the sheet placed at `sheetAt`.
    std::string sheetStart(std::uint32_t index, std::uint64_t sheetAt);
    void addSheet();
    std::string rowAtEof(const std::string& a, const std::string& b) const;
    void appendRow(const std::string& a, const std::string& b);

    std::unique_ptr<AppendCompoundFile> file_;  // none before the first CreateStore
    std::function<void(std::uint64_t, std::string_view)> watch_;
    std::uint32_t sheets_ = 0;
    std::uint32_t rows_ = 0;             // rows in the current sheet
    std::uint64_t eofAt_ = 0;            // stream offset of the current sheet's EOF record
    std::uint64_t dimensionsAt_ = 0;     // stream offset of its DIMENSIONS payload
    std::vector<std::uint64_t> slotAt_;  // stream offsets of the sheet entries in the globals
};

}  // namespace tvl
