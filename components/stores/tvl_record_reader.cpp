#include "components/stores/tvl_record_reader.h"

#include <cerrno>
#include <cstring>

#include "components/stores/capture_store.h"

namespace tvl {

using namespace tvlfile;

TvlRecordReader::TvlRecordReader(const std::string& path) : path_(path) {
    file_ = std::fopen(path.c_str(), "rb");
    if (!file_) throw StoreError(path + ": cannot open: " + std::strerror(errno));
    try {
        char header[kFileHeader];
        version_ = checkFileHeader(std::string_view(header, take(header, kFileHeader)), path);
        if (read(titles_) != Got::record)
            throw StoreError(path + ": capture file header is cut short");
    } catch (const StoreError&) {
        std::fclose(file_);  // no destructor runs for a constructor that throws
        throw;
    }
}

TvlRecordReader::~TvlRecordReader() { std::fclose(file_); }

bool TvlRecordReader::next(Record& record) {
    if (torn_) return false;
    const Got got = read(record);
    torn_ = got == Got::torn;
    if (got == Got::record) ++count_;
    return got == Got::record;
}

// Reads one whole record (the titles are the first) and checks it.
TvlRecordReader::Got TvlRecordReader::read(Record& record) {
    const std::size_t head = headSize(version_);
    buffer_.resize(head);
    const std::size_t got = take(buffer_.data(), head);
    if (got == 0) return Got::end;
    if (got < head) return Got::torn;
    Head h;
    const std::string name =
        &record == &titles_ ? "the column titles" : "record " + std::to_string(count_ + 1);
    if (!decodeHead(buffer_, version_, h)) {
        if (restIsZero(buffer_)) return Got::torn;
        throw StoreError(path_ + ": " + name + " is damaged (check failed)");
    }
    if (h.length1 > kMaxColumn || h.length2 > kMaxColumn)
        throw StoreError(path_ + ": " + name + " has an impossible length");
    const std::size_t rest = std::size_t(h.length1) + h.length2 + kRecordTrail;
    buffer_.resize(head + rest);
    if (take(buffer_.data() + head, rest) < rest) return Got::torn;
    if (!checkRecordTrail(buffer_, head))
        throw StoreError(path_ + ": " + name + " is damaged (check failed)");
    record.text1.assign(buffer_, head, h.length1);
    record.text2.assign(buffer_, head + h.length1, h.length2);
    record.time = h.time;
    return Got::record;
}

std::size_t TvlRecordReader::take(char* into, std::size_t n) {
    const std::size_t got = std::fread(into, 1, n, file_);
    if (got < n && std::ferror(file_))
        throw StoreError(path_ + ": cannot read: " + std::strerror(errno));
    return got;
}

// A head that fails its check, followed by zero bytes only to the end: a file
// that grew while its data never reached the disk.
bool TvlRecordReader::restIsZero(const std::string& head) {
    if (head.find_first_not_of('\0') != std::string::npos) return false;
    char chunk[4096];
    while (const std::size_t got = take(chunk, sizeof chunk))
        for (std::size_t i = 0; i < got; ++i)
            if (chunk[i] != 0) return false;
    return true;
}

}  // namespace tvl
