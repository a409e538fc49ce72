#include "tools/export/capture_export.h"

#include <cstdio>

namespace tvl::exporting {
namespace {

void appendUtf8(std::string& out, unsigned char byte) {
    if (byte < 0x80) {
        out.push_back(char(byte));
    } else {
        out.push_back(char(0xC0 | byte >> 6));
        out.push_back(char(0x80 | (byte & 0x3F)));
    }
}

// A CSV field: quoted when it holds a quote, a comma or a line break, with its
// quotes doubled.
void appendField(std::string& out, std::string_view text) {
    if (text.find_first_of("\",\r\n") == std::string_view::npos) {
        out += latin1ToUtf8(text);
        return;
    }
    out.push_back('"');
    for (const char c : text) {
        if (c == '"') out.push_back('"');
        appendUtf8(out, static_cast<unsigned char>(c));
    }
    out.push_back('"');
}

// Text for a terminal: control characters (C0, DEL and C1) as \xHH, so that
// no byte of a capture can move the cursor or change the terminal.
void appendShown(std::string& out, std::string_view text) {
    for (const char c : text) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x20 || (b >= 0x7F && b < 0xA0)) {
            char hex[5];
            std::snprintf(hex, sizeof hex, "\\x%02X", b);
            out += hex;
        } else {
            appendUtf8(out, b);
        }
    }
}

// "Port1 (DTE1): " and "Port1 (DTE1)" both label a line as "Port1 (DTE1): ".
std::string label(std::string_view title) {
    while (!title.empty() && (title.back() == ' ' || title.back() == ':')) title.remove_suffix(1);
    std::string out;
    appendShown(out, title);
    return out + ": ";
}

std::string timeText(const TvlRecordReader::Record& record) {
    return record.time ? FormatRecordTime(*record.time) : std::string();
}

}  // namespace

std::string latin1ToUtf8(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (const char c : text) appendUtf8(out, static_cast<unsigned char>(c));
    return out;
}

void writeHead(std::string& out, Format format, const std::string& title1,
               const std::string& title2) {
    if (format == Format::text) return;
    out += "record,time,";
    appendField(out, title1);
    out.push_back(',');
    appendField(out, title2);
    out += "\r\n";
}

void writeRecord(std::string& out, Format format, std::uint64_t number,
                 const TvlRecordReader::Record& record, const std::string& title1,
                 const std::string& title2) {
    if (format == Format::csv) {
        out += std::to_string(number) + ',' + timeText(record) + ',';
        appendField(out, record.text1);
        out.push_back(',');
        appendField(out, record.text2);
        out += "\r\n";
        return;
    }
    const std::string time = timeText(record);
    out += "Record " + std::to_string(number) + "  " + (time.empty() ? "(no time)" : time) +
           "\n  " + label(title1);
    appendShown(out, record.text1);
    out += "\n  " + label(title2);
    appendShown(out, record.text2);
    out += "\n\n";
}

}  // namespace tvl::exporting
