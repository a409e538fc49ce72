// A folder of the test's own under the temporary folder, removed with
// everything in it when the test is done.
#pragma once

#include <stdlib.h>

#include <cstdlib>
#include <filesystem>
#include <string>

namespace tvl::testing {

class ScratchFolder {
public:
    ScratchFolder() {
        std::string templ = (std::filesystem::temp_directory_path() / "tvl-test-XXXXXX").string();
        if (!::mkdtemp(templ.data())) std::abort();
        path_ = templ;
    }
    ~ScratchFolder() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    const std::string& path() const { return path_; }
    // With its trailing "/", as a store's StoreFolder wants it.
    std::string folder() const { return path_ + "/"; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }
    std::string operator/(const std::string& name) const { return file(name); }

private:
    std::string path_;
};

}  // namespace tvl::testing
