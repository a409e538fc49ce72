// tarvoline-export: a .tvl capture as CSV or as text, on standard output.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>

#include "components/stores/capture_store.h"
#include "tools/export/capture_export.h"

namespace {

using tvl::exporting::Format;

constexpr const char* kUsage =
    "Usage: tarvoline-export [--format csv|text] FILE.tvl\n"
    "Writes the records of a Tarvoline capture to standard output:\n"
    "  csv   (the default) RFC 4180, UTF-8, a header row record,time,<title 1>,<title 2>\n"
    "  text  one block per record, for reading in a terminal\n"
    "Times are UTC, as YYYY-MM-DDTHH:MM:SS.ffffffZ; a record from a file written\n"
    "before captures kept times has none.\n"
    "Exit status: 0 when every record was exported, 1 when the file could not be\n"
    "read whole (the message names the file), 2 for a wrong command line.\n";

// Writes what has gathered to standard output; false when that fails.
bool flush(std::string& out) {
    const bool ok = std::fwrite(out.data(), 1, out.size(), stdout) == out.size();
    out.clear();
    return ok;
}

int exportCapture(const std::string& path, Format format) {
    std::string out;
    std::uint64_t number = 0;
    try {
        tvl::TvlRecordReader reader(path);
        tvl::exporting::writeHead(out, format, reader.title1(), reader.title2());
        tvl::TvlRecordReader::Record record;
        while (reader.next(record)) {
            tvl::exporting::writeRecord(out, format, ++number, record, reader.title1(),
                                        reader.title2());
            if (out.size() >= 1 << 16 && !flush(out)) break;
        }
        if (!flush(out) || std::fflush(stdout) != 0) {
            std::fprintf(stderr, "tarvoline-export: %s: cannot write to standard output: %s\n",
                         path.c_str(), std::strerror(errno));
            return 1;
        }
        if (reader.torn()) {
            std::fprintf(
                stderr,
                "tarvoline-export: %s: the last record is incomplete (the file was cut short while "
                "it was written); the %llu records before it were exported\n",
                path.c_str(), static_cast<unsigned long long>(number));
            return 1;
        }
        return 0;
    } catch (const tvl::StoreError& error) {
        flush(out);
        std::fflush(stdout);
        std::fprintf(stderr, "tarvoline-export: %s\n", error.what());
        return 1;
    }
}

}  // namespace

int main(int argc, char** argv) {
    Format format = Format::csv;
    std::string path;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            std::fputs(kUsage, stdout);
            return 0;
        }
        if (arg == "--version") {
            std::puts("tarvoline-export " TARVOLINE_VERSION);
            return 0;
        }
        std::string value;
        if (arg == "--format" && i + 1 < argc)
            value = argv[++i];
        else if (arg.rfind("--format=", 0) == 0)
            value = arg.substr(9);
        else if (arg.rfind("-", 0) != 0 && path.empty())
            path = arg;
        else
            value = "?";
        if (!value.empty() && value != "csv" && value != "text") {
            std::fprintf(stderr, "tarvoline-export: unknown option or format '%s'\n%s", argv[i],
                         kUsage);
            return 2;
        }
        if (!value.empty()) format = value == "text" ? Format::text : Format::csv;
    }
    if (path.empty()) {
        std::fprintf(stderr, "tarvoline-export: no capture file given\n%s", kUsage);
        return 2;
    }
    return exportCapture(path, format);
}
