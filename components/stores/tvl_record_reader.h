// Reads a .tvl capture from the start, one record at a time, holding no more
// than one record in memory: a capture of any size streams through it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>

#include "components/stores/tvl_format.h"

namespace tvl {

class TvlRecordReader {
public:
    struct Record {
        std::string text1, text2;
        std::optional<RecordTime> time;  // none for a record of a version 1 file
    };

    // Opens the file and reads its titles. Throws StoreError naming the file.
    explicit TvlRecordReader(const std::string& path);
    ~TvlRecordReader();
    TvlRecordReader(const TvlRecordReader&) = delete;
    TvlRecordReader& operator=(const TvlRecordReader&) = delete;

    const std::string& title1() const { return titles_.text1; }
    const std::string& title2() const { return titles_.text2; }

    // The next record; false at the end of the file and at an incomplete last
    // record (then torn() is true). A damaged record throws StoreError.
    bool next(Record& record);
    bool torn() const { return torn_; }

private:
    enum class Got { record, end, torn };
    Got read(Record& record);
    std::size_t take(char* into, std::size_t n);
    bool restIsZero(const std::string& head);

    std::string path_;
    std::FILE* file_ = nullptr;
    std::uint32_t version_ = 0;
    Record titles_;
    std::string buffer_;
    std::uint64_t count_ = 0;
    bool torn_ = false;
};

}  // namespace tvl
