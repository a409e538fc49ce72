#include "components/stores/capture_store.h"

#include <sys/stat.h>

#include <filesystem>

namespace tvl {

namespace {

bool endsInTvl(const std::string& name) {
    const auto n = name.size();
    return n >= 4 && name[n - 4] == '.' && (name[n - 3] | 0x20) == 't' &&
           (name[n - 2] | 0x20) == 'v' && (name[n - 1] | 0x20) == 'l';
}

bool exists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

}  // namespace

std::string KelTVL::FilePath() const {
    const std::string named = StoreFolder + StoreName;
    if (endsInTvl(StoreName)) return named;
    if (foundFor_ == named && exists(found_)) return found_;
    const std::string lower = named + ".tvl";
    if (exists(lower)) return lower;
    // Only the last four characters may differ from "<name>.tvl", by case.
    std::error_code error;
    std::string other;
    for (const auto& entry : std::filesystem::directory_iterator(
             StoreFolder.empty() ? "." : StoreFolder, error)) {
        const std::string name = entry.path().filename().string();
        if (name.size() == StoreName.size() + 4 && name.starts_with(StoreName) &&
            endsInTvl(name) && (other.empty() || name < other))
            other = name;
    }
    if (other.empty()) return lower;
    foundFor_ = named;
    found_ = StoreFolder + other;
    return found_;
}

}  // namespace tvl
