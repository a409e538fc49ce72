#include "components/stores/kelxls_workbook.h"

#include <algorithm>
#include <tuple>

namespace tvl {
namespace {

// BIFF8 record types.
constexpr std::uint16_t kBof = 0x0809, kEof = 0x000A, kCodepage = 0x0042, kWindow1 = 0x003D,
                        kFont = 0x0031, kXf = 0x00E0, kStyle = 0x0293, kBoundsheet = 0x0085,
                        kDimensions = 0x0200, kWindow2 = 0x023E, kLabel = 0x0204, kBlank = 0x0201;
// Holds the place of a sheet entry not yet written; readers skip it as an
// unknown record. Four zero bytes, its header with length 0, are the end
// mark: FreeXL stops reading the stream there.
constexpr std::uint16_t kReserved = 0x0000;
// Fills space inside a sheet: a type no version of the format defines, so
// readers skip it (in a sheet xlrd takes type 0000 for an old DIMENSIONS).
constexpr std::uint16_t kFiller = 0x01FF;
constexpr std::uint16_t kCellXf = 15;  // the first cell format, after the 15 style formats
const std::string kEndMark(4, '\0');
// A kill cuts a write only where it crosses a page boundary of the file.
constexpr std::uint64_t kPage = 4096;

struct Bytes {
    std::string s;
    Bytes& u8(unsigned v) {
        s.push_back(char(v));
        return *this;
    }
    Bytes& u16(unsigned v) { return u8(v & 0xFF).u8((v >> 8) & 0xFF); }
    Bytes& u32(std::uint32_t v) { return u16(v & 0xFFFF).u16(v >> 16); }
    Bytes& raw(std::string_view v) {
        s.append(v);
        return *this;
    }
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

// A LABEL cell. Its text is BIFF8's 8-bit string (option flags 0), each byte
// its ISO-8859-1 character, unless it holds a byte 0x80-0x9F: Gnumeric reads
// 8-bit strings as Windows-1252, whose characters differ there, so such a
// text keeps the 16-bit form. An empty text is a BLANK cell (readers reject
// an empty LABEL).
std::string label(std::uint32_t row, unsigned col, std::string_view text) {
    text = text.substr(0, KelXLSWorkbook::kMaxCellText);
    Bytes b;
    if (text.empty()) return b.u16(kBlank).u16(6).u16(row).u16(col).u16(kCellXf).s;
    const bool wide = std::any_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) >= 0x80 && static_cast<unsigned char>(c) < 0xA0;
    });
    b.u16(kLabel).u16(unsigned(9 + (wide ? 2 : 1) * text.size()));
    b.u16(row).u16(col).u16(kCellXf).u16(unsigned(text.size())).u8(wide ? 1 : 0);
    if (!wide) return b.raw(text).s;
    for (char c : text) b.u8(static_cast<unsigned char>(c)).u8(0);
    return b.s;
}

std::string eofRecord() { return Bytes().u16(kEof).u16(0).s; }

// Whether the eight stream bytes at `at` lie in one page of the file, so that
// one write puts them there whole or not at all.
bool inOnePage(std::uint64_t at) { return (AppendCompoundFile::kSector + at) % kPage <= kPage - 8; }

// A sheet's EOF record for stream offset `at`, behind a 12-byte filler where
// the eight bytes that will one day reveal the next row would cross a page.
std::string sheetEnd(std::uint64_t at) {
    std::string s;
    if (!inOnePage(at)) record(s, kFiller, std::string(8, '\0'));
    return s + eofRecord();
}

std::string globals(std::vector<std::uint64_t>& slotAt) {
    std::string g;
    record(g, kBof, bof(0x0005));
    record(g, kCodepage, Bytes().u16(1200).s);
    record(g, kWindow1,
           Bytes()
               .u16(0)
               .u16(0)
               .u16(0x4000)
               .u16(0x2000)
               .u16(0x0038)
               .u16(0)
               .u16(0)
               .u16(1)
               .u16(0x0258)
               .s);
    const std::string font = Bytes()
                                 .u16(200)
                                 .u16(0)
                                 .u16(0x7FFF)
                                 .u16(400)
                                 .u16(0)
                                 .u8(0)
                                 .u8(0)
                                 .u8(0)
                                 .u8(0)
                                 .u8(5)
                                 .u8(0)
                                 .raw("Arial")
                                 .s;
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
        if (file_) file_->close();
    } catch (const StoreError&) {
    }
}

// BOF, a filler that puts the DIMENSIONS row count on a 4-byte boundary (so
// that its patch is never cut), DIMENSIONS (no rows yet), WINDOW2, EOF. The
// titles follow as the sheet's first row.
std::string KelXLSWorkbook::sheetStart(std::uint32_t index, std::uint64_t sheetAt) {
    std::string s;
    record(s, kBof, bof(0x0010));
    if (const auto off = (sheetAt + s.size() + 8) % 4; off != 0)
        record(s, kFiller, std::string(8 - off, '\0'));
    dimensionsAt_ = sheetAt + s.size() + 4;
    record(s, kDimensions, Bytes().u32(0).u32(0).u16(0).u16(2).u16(0).s);
    record(
        s, kWindow2,
        Bytes().u16(index == 0 ? 0x06B6 : 0x00B6).u16(0).u16(0).u32(0x40).u16(0).u16(0).u32(0).s);
    s += sheetEnd(sheetAt + s.size());
    eofAt_ = sheetAt + s.size() - 4;
    return s;
}

// The new workbook, titles included, is built whole beside an old file of
// the same name before it replaces it; until then the capture before this one
// goes on, its file and its state untouched.
void KelXLSWorkbook::CreateStore() {
    const auto kept = std::tuple(sheets_, rows_, eofAt_, dimensionsAt_);
    std::string stream = globals(slotAt_);
    const std::uint64_t sheetAt = stream.size();
    std::string bs;
    record(bs, kBoundsheet, boundsheet(0, std::uint32_t(sheetAt)));
    stream.replace(slotAt_[0], bs.size(), bs);
    stream += sheetStart(0, sheetAt);
    sheets_ = 1;
    rows_ = 0;
    const std::string titles = rowAtEof(PortTitle1, PortTitle2);
    stream.replace(eofAt_, std::string::npos, titles);
    stream.replace(dimensionsAt_ + 4, 4, Bytes().u32(1).s);
    auto file = std::make_unique<AppendCompoundFile>();
    file->beforeWrite = watch_;
    try {
        file->create(path(), "Workbook", stream);
    } catch (const StoreError&) {
        std::tie(sheets_, rows_, eofAt_, dimensionsAt_) = kept;
        throw;
    }
    rows_ = 1;
    eofAt_ += titles.size() - 8;
    // The capture before ends here. Its file is a whole workbook whatever its
    // close does (which gives back spare room and syncs what the background
    // sync has not yet).
    if (file_) try {
            file_->close();
        } catch (const StoreError&) {
        }
    file_ = std::move(file);
}

// Every change below follows one rule: bytes go first where no reader looks
// (behind the end mark, in the body of a reserved record), then one small
// write that cannot be cut (it lies in one page) makes them part of the
// workbook. A kill at any moment leaves a workbook FreeXL and xlrd both read.

// The next sheet, with no rows yet, goes in behind the last one's end mark;
// its BOF header over the end mark shows it to the readers that go through
// the stream; then its entry in the globals, body first and type last, to
// those that go by the entries. (With a row in it, FreeXL would refuse the
// file between the two; an empty sheet it takes either way.)
void KelXLSWorkbook::addSheet() {
    if (sheets_ == kMaxSheets) throw StoreError(path() + ": workbook is full");
    const std::uint64_t lastEof = eofAt_, lastDimensions = dimensionsAt_;
    const std::uint64_t sheetAt = lastEof + 4;
    const std::string sheet = sheetStart(sheets_, sheetAt) + kEndMark;
    bool shown = false;
    try {
        file_->write(sheetAt + 4, sheet.substr(4));
        file_->write(sheetAt, sheet.substr(0, 4));
        shown = true;
        std::string bs;
        record(bs, kBoundsheet, boundsheet(sheets_, std::uint32_t(sheetAt)));
        file_->write(slotAt_[sheets_] + 2, bs.substr(2));
        file_->write(slotAt_[sheets_], bs.substr(0, 2));  // "85 00" over "00 00": never half
    } catch (const StoreError&) {
        eofAt_ = lastEof;
        dimensionsAt_ = lastDimensions;
        try {
            if (shown) file_->write(sheetAt, kEndMark);
        } catch (const StoreError&) {
        }
        throw;
    }
    ++sheets_;
    rows_ = 0;
}

// Row rows_ of the current sheet as it lies from the sheet's EOF on: its
// cells, the EOF and a new end mark.
std::string KelXLSWorkbook::rowAtEof(const std::string& a, const std::string& b) const {
    std::string row = label(rows_, 0, a) + label(rows_, 1, b);
    return row + sheetEnd(eofAt_ + row.size()) + kEndMark;
}

// Row rows_ of the current sheet: cells, EOF and a new end mark go behind the
// end mark; DIMENSIONS makes room for the row (FreeXL refuses a cell outside
// it, and shows the room as an empty row until the row is there); then the
// first eight bytes, over the old EOF and end mark, reveal the row at once.

void KelXLSWorkbook::appendRow(const std::string& a, const std::string& b) {
    const std::string row = rowAtEof(a, b);
    try {
        file_->write(eofAt_ + 8, std::string_view(row).substr(8));
        file_->write(dimensionsAt_ + 4, Bytes().u32(rows_ + 1).s);
        file_->write(eofAt_, std::string_view(row).substr(0, 8));
        if (SyncEachAppend)
            file_->sync();
        else
            file_->syncSoon();
    } catch (const StoreError&) {
        // Put back the old end of the sheet so the file stays as it was.
        try {
            file_->write(eofAt_, eofRecord() + kEndMark);
            file_->write(dimensionsAt_ + 4, Bytes().u32(rows_).s);
            if (SyncEachAppend) file_->sync();
        } catch (const StoreError&) {
        }
        throw;
    }
    ++rows_;
    eofAt_ += row.size() - 8;
}

void KelXLSWorkbook::AppendRecord() {
    if (!file_ || !file_->isOpen()) throw StoreError(path() + ": workbook is not open");
    if (rows_ == kRowsPerSheet) addSheet();
    if (rows_ == 0) appendRow(PortTitle1, PortTitle2);  // a new sheet starts with the titles
    appendRow(PortText1, PortText2);
}

void KelXLSWorkbook::CloseStore() {
    if (file_) file_->close();
}

void KelXLSWorkbook::SyncStore() {
    if (file_ && file_->isOpen()) file_->sync();
}

}  // namespace tvl
