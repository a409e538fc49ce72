#include "components/stores/kelxls_workbook.h"

#include <algorithm>

namespace tvl {
namespace {

// BIFF8 record types.
constexpr std::uint16_t kBof = 0x0809, kEof = 0x000A, kCodepage = 0x0042, kWindow1 = 0x003D,
                        kFont = 0x0031, kXf = 0x00E0, kStyle = 0x0293, kBoundsheet = 0x0085,
                        kDimensions = 0x0200, kWindow2 = 0x023E, kLabel = 0x0204,
                        kBlank = 0x0201;
// Holds the place of a sheet entry not yet written; readers skip it as an
// unknown record.
constexpr std::uint16_t kReserved = 0x0000;
constexpr std::uint16_t kCellXf = 15;  // the first cell format, after the 15 style formats
constexpr std::size_t kMinStream = 4096;  // smaller streams would go to the mini stream

struct Bytes {
    std::string s;
    Bytes& u8(unsigned v) { s.push_back(char(v)); return *this; }
    Bytes& u16(unsigned v) { return u8(v & 0xFF).u8((v >> 8) & 0xFF); }
    Bytes& u32(std::uint32_t v) { return u16(v & 0xFFFF).u16(v >> 16); }
    Bytes& raw(std::string_view v) { s.append(v); return *this; }
};

void record(std::string& out, std::uint16_t type, const std::string& payload) {
    Bytes b;
    b.u16(type).u16(unsigned(payload.size())).raw(payload);
    out += b.s;
}

std::string bof(std::uint16_t kind) {
    return Bytes().u16(0x0600).u16(kind).u16(0x0DBB).u16(0x07CC).u32(0).u32(6).s;
}

std::string sheetName(std::uint32_t index) { return "Sheet" + std::to_string(index + 1); }

std::string boundsheet(std::uint32_t index, std::uint32_t offset) {
    const std::string name = sheetName(index);
    return Bytes().u32(offset).u8(0).u8(0).u8(unsigned(name.size())).u8(0).raw(name).s;
}

// A LABEL cell: 16-bit characters, each the byte's ISO-8859-1 code point.
// An empty text is a BLANK cell (readers reject an empty LABEL).
std::string label(std::uint32_t row, unsigned col, std::string_view text) {
    text = text.substr(0, KelXLSWorkbook::kMaxCellText);
    Bytes b;
    if (text.empty()) return b.u16(kBlank).u16(6).u16(row).u16(col).u16(kCellXf).s;
    b.u16(kLabel).u16(unsigned(9 + 2 * text.size()));
    b.u16(row).u16(col).u16(kCellXf).u16(unsigned(text.size())).u8(1);
    for (unsigned char c : text) b.u16(c);
    return b.s;
}

std::string eofRecord() { return Bytes().u16(kEof).u16(0).s; }

std::string globals(std::vector<std::uint64_t>& slotAt) {
    std::string g;
    record(g, kBof, bof(0x0005));
    record(g, kCodepage, Bytes().u16(1200).s);
    record(g, kWindow1, Bytes().u16(0).u16(0).u16(0x4000).u16(0x2000).u16(0x0038).u16(0).u16(0).u16(1).u16(0x0258).s);
    const std::string font = Bytes().u16(200).u16(0).u16(0x7FFF).u16(400).u16(0).u8(0).u8(0).u8(0).u8(0)
                                 .u8(5).u8(0).raw("Arial").s;
    for (int i = 0; i < 4; ++i) record(g, kFont, font);
    for (int i = 0; i < 16; ++i) {
        const bool style = i < 15;
        Bytes xf;
        xf.u16(style && i > 0 ? (i < 3 ? 1 : i < 5 ? 2 : 0) : 0).u16(0);
        xf.u16(style ? 0xFFF5 : 0x0001).u8(0x20).u8(0).u8(0).u8(style && i > 0 ? 0xF4 : 0);
        xf.u32(0).u32(0).u16(0x20C0);
        record(g, kXf, xf.s);
    }
    record(g, kStyle, Bytes().u16(0x8000).u8(0).u8(0xFF).s);
    slotAt.clear();
    for (std::uint32_t i = 0; i < KelXLSWorkbook::kMaxSheets; ++i) {
        slotAt.push_back(g.size());
        record(g, kReserved, std::string(boundsheet(i, 0).size(), '\0'));
    }
    record(g, kEof, {});
    return g;
}

}  // namespace

KelXLSWorkbook::~KelXLSWorkbook() {
    try {
        file_.close();
    } catch (const StoreError&) {
    }
}

// BOF, DIMENSIONS (one row), WINDOW2, the titles, EOF.
std::string KelXLSWorkbook::sheetStart(std::uint32_t index) const {
    std::string s;
    record(s, kBof, bof(0x0010));
    record(s, kDimensions, Bytes().u32(0).u32(1).u16(0).u16(2).u16(0).s);
    record(s, kWindow2, Bytes().u16(index == 0 ? 0x06B6 : 0x00B6).u16(0).u16(0).u32(0x40).u16(0).u16(0).u32(0).s);
    s += label(0, 0, PortTitle1);
    s += label(0, 1, PortTitle2);
    s += eofRecord();
    return s;
}

void KelXLSWorkbook::CreateStore() {
    if (file_.isOpen()) CloseStore();
    std::string stream = globals(slotAt_);
    const std::uint64_t sheetAt = stream.size();
    std::string bs;
    record(bs, kBoundsheet, boundsheet(0, std::uint32_t(sheetAt)));
    stream.replace(slotAt_[0], bs.size(), bs);
    stream += sheetStart(0);
    const std::uint64_t eofAt = stream.size() - 4;
    if (stream.size() < kMinStream) stream.resize(kMinStream, '\0');
    file_.create(path(), "Workbook", stream);
    sheets_ = 1;
    rows_ = 1;
    eofAt_ = eofAt;
    dimensionsAt_ = sheetAt + 20 + 4;  // after the sheet's BOF record and DIMENSIONS header
}

void KelXLSWorkbook::AppendRecord() {
    if (!file_.isOpen()) throw StoreError(path() + ": workbook is not open");
    std::uint32_t sheets = sheets_, rows = rows_;
    std::uint64_t eofAt = eofAt_, dimensionsAt = dimensionsAt_;
    std::uint64_t newEofAt = 0;
    try {
        if (rows == kRowsPerSheet) {
            if (sheets == kMaxSheets) throw StoreError(path() + ": workbook is full");
            // The new sheet follows the last one's EOF; its entry in the
            // globals replaces a reserved record of the same size.
            const std::uint64_t sheetAt = eofAt + 4;
            const std::string sheet = sheetStart(sheets);
            file_.write(sheetAt, sheet);
            file_.commit(false);  // the sheet lies in the stream before anything points to it
            std::string bs;
            record(bs, kBoundsheet, boundsheet(sheets, std::uint32_t(sheetAt)));
            file_.write(slotAt_[sheets], bs);
            ++sheets;
            rows = 1;
            eofAt = sheetAt + sheet.size() - 4;
            dimensionsAt = sheetAt + 20 + 4;
        }
        // The old EOF stays until the row is whole in the stream: everything but
        // the row's first record header goes in first, and that 4-byte header,
        // written over the old EOF, makes the row visible in one step. A kill at
        // any point leaves the sheet with its old rows or with the new one whole.
        const std::string cells = label(rows, 0, PortText1) + label(rows, 1, PortText2) + eofRecord();
        file_.write(eofAt + 4, std::string_view(cells).substr(4));
        file_.commit(false);
        file_.write(eofAt, std::string_view(cells).substr(0, 4));
        newEofAt = eofAt + cells.size() - 4;
        ++rows;
        file_.write(dimensionsAt + 4, Bytes().u32(rows).s);
        file_.commit(SyncEachAppend);
    } catch (const StoreError&) {
        // Put back the old end of the sheet so the file stays as it was.
        try {
            if (sheets != sheets_) {
                std::string reserved;
                record(reserved, kReserved, std::string(boundsheet(sheets_, 0).size(), '\0'));
                file_.write(slotAt_[sheets_], reserved);
            }
            file_.write(eofAt_, eofRecord());
            file_.write(dimensionsAt_ + 4, Bytes().u32(rows_).s);
            file_.commit(SyncEachAppend);
        } catch (const StoreError&) {
        }
        throw;
    }
    sheets_ = sheets;
    rows_ = rows;
    eofAt_ = newEofAt;
    dimensionsAt_ = dimensionsAt;
}

void KelXLSWorkbook::CloseStore() { file_.close(); }

}  // namespace tvl
