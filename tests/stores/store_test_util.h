// Shared by the capture tests: file helpers, and a .tvl capture read as review reads it.
#pragma once

#include <sys/resource.h>

#include <csignal>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "components/stores/keltvl_file.h"
#include "tests/support/scratch_folder.h"
#include "tests/support/text_io.h"

namespace tvl::testing {

using Record = std::pair<std::string, std::string>;

// UTF-8 from the xls readers back to ISO-8859-1; anything beyond is "<not latin-1>".
inline std::string utf8ToLatin1(const char* s) {
    std::string out;
    for (const auto* p = reinterpret_cast<const unsigned char*>(s); *p; ++p) {
        if (*p < 0x80) {
            out.push_back(char(*p));
        } else if ((*p & 0xE0) == 0xC0 && (p[1] & 0xC0) == 0x80) {
            out.push_back(char(((*p & 0x1F) << 6) | (p[1] & 0x3F)));
            ++p;
        } else {
            out += "<not latin-1>";
        }
    }
    return out;
}

// While alive, a write past `bytes` fails as on a full disk (EFBIG, signal ignored).
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &old_);
        oldHandler_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit lim = old_;
        lim.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &lim);
    }
    ~FileSizeLimit() {
        ::setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, oldHandler_);
    }

private:
    rlimit old_{};
    void (*oldHandler_)(int) = nullptr;
};

// Points the store at the file `path`, under these titles.
template <class Store>
void place(Store& store, const std::string& path, const Record& titles = {}) {
    store.StoreFolder = path.substr(0, path.rfind('/') + 1);
    store.StoreName = path.substr(path.rfind('/') + 1);
    store.PortTitle1 = titles.first;
    store.PortTitle2 = titles.second;
}

// Runs `call`, which must throw StoreError naming `file` (and `what`, if given).
template <class Call>
void expectStoreError(Call&& call, const std::string& file, const std::string& what = {}) {
    try {
        call();
        ADD_FAILURE() << "no StoreError for " << file;
    } catch (const StoreError& e) {
        EXPECT_NE(std::string(e.what()).find(file), std::string::npos) << e.what();
        EXPECT_NE(std::string(e.what()).find(what), std::string::npos) << e.what();
    }
}

// A .tvl capture as review reads it: the titles, the head record, the rest.
struct TvlCapture {
    Record titles, head;
    std::vector<Record> records;
    bool torn = false;
    std::vector<std::optional<std::int64_t>> times;  // the head's, then each record's
};

inline TvlCapture readTvl(const std::string& path) {
    KelTVLFile f;
    place(f, path);
    f.CountRecords();
    const int n = int(f.RecordCount());
    f.OpenStore();
    f.ReadTitles();
    TvlCapture c{{f.PortTitle1, f.PortTitle2}, {}, {}, false, {}};
    f.ReadRecord(1);
    for (int i = 1; i < n; ++i) {
        f.ReadRecord(0);
        (i == 1 ? c.head : c.records.emplace_back()) = {f.PortText1, f.PortText2};
        c.times.push_back(f.PortTime);
    }
    c.torn = f.TornTail();
    f.CloseStore();
    return c;
}

}  // namespace tvl::testing
