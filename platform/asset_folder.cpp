#include "platform/asset_folder.h"

#include <filesystem>

namespace tvl {

std::string assetFolder(const std::string& executableFolder) {
    namespace fs = std::filesystem;
    const fs::path here(executableFolder);
    std::error_code ignored;
    if (fs::exists(here / "TARVOLINE.hlp", ignored)) return executableFolder;
    const fs::path installed = (here / ".." / "share" / "tarvoline").lexically_normal();
    if (fs::exists(installed / "TARVOLINE.hlp", ignored)) return installed.string();
    return executableFolder;
}

}  // namespace tvl
